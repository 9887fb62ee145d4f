"""Objects, their members and their lifetime; Python objects as the library reads, writes and calls them."""

import copy
import gc
import os
import subprocess
import sys
import tempfile
import textwrap
import threading
import weakref

import quarnofwk
from quarnofwk import Dispatch, Error, MemberError, Missing, Null, Object, _library
from quarnofwk._library import CALL, GET, PUT
from through_library import Case, HostView, echoed


def python(script, **environment):
    path = os.path.dirname(os.path.dirname(quarnofwk.__file__))
    return subprocess.run([sys.executable, "-W", "error", "-c", textwrap.dedent(script)], timeout=120, text=True,
                          capture_output=True, env={**os.environ, "PYTHONPATH": path, **environment})


class Members(Case):
    def test_in_any_letter_case_and_by_exact_name(self):
        log = Dispatch("quarnoFWK.csuperLOG")
        log.FILENAME = "a.log"
        log["openMODE"] = 2
        self.assertEqual((log.filename, log["fileName"], getattr(log, "OpenMode")), ("a.log", "a.log", 2))
        self.assertEqual((log["closelog"](), Dispatch("CFileReader").comadelimited), (False, 1))
        self.assertIn("CSuperLog", repr(log.CloseLog))
        self.assertTrue({"fileName", "WriteLog"} <= set(dir(log)) and {"Corvex", "CData"} <= set(quarnofwk.classes()))

    def test_unknown_or_misused(self):
        reader = Dispatch("CFileReader")
        for row in ((429, Dispatch, "CNowhere"), (438, getattr, reader, "Get£"), (438, setattr, reader, "Nowhere", 1),
                    (438, setattr, reader, "CloseFile", 1), (449, reader.SetDataMode, Missing),
                    (13, reader.SetDataMode, Null), (448, lambda: reader.SetDataMode(mode=0, other=1))):
            with self.subTest(row=row[:3]):
                error = self.assert_error(*row)
                self.assertEqual(quarnofwk.current_error(), error.args)
                self.assertIsInstance(error, MemberError if row[0] == 438 else Error)
        self.assertFalse(hasattr(reader, "Nowhere") or hasattr(reader, "__len__"))
        self.assertIn("Nowhere", quarnofwk.current_error().description)  # Python's own names never reach the library
        for misuse in (lambda: reader[0], lambda: list(reader), lambda: 1 in reader, lambda: len(reader), Object,
                       lambda: copy.copy(reader), lambda: reader()):
            self.assertRaises(TypeError, misuse)

    def test_arguments_by_name(self):
        reader = Dispatch("CFileReader")
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "columns.txt")
            with open(path, "wb") as file:
                file.write(b"a;b,c\r\n")
            for positional, named, last in (((2,), {}, "b,c"), ((1, Missing), {}, "c"), ((), {"MODE": 2}, "b,c"),
                                            ((), {"Delimiter": "", "mode": 1}, "c")):
                reader.SetDataMode(*positional, **named)
                self.assertTrue(reader.OpenFile(fileName=path) and reader.ReadLine())
                self.assertEqual(reader.GetColumnValue(reader.ColumnCount), last)
                reader.CloseFile()


class Control:
    Value, _text = 1, ""
    Fields = {"NOX": 12.5, ("a", 1): "pair"}
    Text = property(lambda self: self._text, lambda self, value: setattr(self, "_text", value.upper()))
    Broken = property(lambda self: self.nothing_here)

    def Me(self):
        return self

    def Divide(self, by):
        return 1 / by

    def Stop(self):
        raise KeyboardInterrupt

    def Own(self):
        raise Error(1004, "Control", "mine")


class HostObjects(Case):
    def setUp(self):
        self.control = Control()
        self.view = HostView(self.control)

    def test_attributes_in_any_letter_case(self):
        for access, name, arguments, expected in (
                (PUT, "VALUE", [5], None), (PUT, "Text", ["abc"], None), (GET, "value", [], 5),
                (GET, "TEXT", [], "ABC"), (CALL, "Value", [], 5), (GET, "Me", [], self.control),
                (CALL, "ME", [], self.control),
                (CALL, "fields", ["NOX"], 12.5), (CALL, "Fields", ["a", 1], "pair"), (CALL, "Divide", [4], 0.25)):
            self.assertEqual(self.view(access, name, *arguments), expected)
        foreign = self.view.as_foreign()  # seen by Python as another host's
        foreign.Value = "new"
        self.assertEqual((foreign["VALUE"], foreign.Divide(2)), ("new", 0.5))

    def test_failures_reach_the_caller(self):
        for number, text, cause, *row in (
                (438, "Control.Nowhere", AttributeError, GET, "Nowhere"),
                (438, "Control.Nowhere", AttributeError, PUT, "Nowhere", 1),
                (438, "Control.Nowhere", AttributeError, CALL, "Nowhere"),
                (438, "nothing_here", AttributeError, GET, "Broken"), (438, "Broken", AttributeError, PUT, "Broken", 1),
                (440, "ZeroDivisionError: division by zero", ZeroDivisionError, CALL, "Divide", 0),
                (1004, "mine", Error, CALL, "Own")):
            with self.subTest(text=text, row=row):
                error = self.assert_error(number, self.view, *row)
                self.assertEqual((error.source, quarnofwk.current_error().number),
                                 ("CorvexFwk" if number == 438 else "Control", number))
                self.assertIn(text, error.description)
                self.assertIsInstance(error.__cause__, cause)
        self.assertRaises(KeyboardInterrupt, self.view, CALL, "Stop")
        self.assertEqual((self.view(GET, "Value"), hasattr(self.control, "Nowhere")), (1, False))

    def test_held_exactly_as_long_as_the_library_holds_it(self):
        gone = weakref.ref(self.control)
        del self.control
        gc.collect()
        self.assertIsNotNone(gone())
        thread = threading.Thread(target=self.__dict__.pop, args=("view",))  # the last release on another thread
        thread.start()
        thread.join(60)
        Dispatch("CError")  # the object's own thread gives the reference back when it calls next
        self.assertIsNone(gone())


class Lifetime(Case):
    def test_one_python_object_for_one_library_object(self):
        log, other = Dispatch("CSuperLog"), Dispatch("CSuperLog")
        log.fileName = other.fileName = "/dev/null"
        gone, method = weakref.ref(log), log.CloseLog
        self.assertTrue(log.OpenLog() and echoed([log])[0] is log)
        del log
        for kept, number in ((True, 2), (False, 1)):  # the number of the next open log
            self.assertTrue(other.OpenLog() and (gone() is not None) is kept)
            self.assertEqual((other.FileNumber, other.CloseLog()), (number, False))
            method = None  # a method keeps its object

    def test_usable_until_the_last_finalizer_even_at_shutdown(self):
        ended = python("""
            import gc, os, sys, quarnofwk
            from quarnofwk import _host, _library
            class Control:
                def Me(self): return self
            class Holder:
                def __init__(self): self.reader, self.itself = quarnofwk.Dispatch("CFileReader"), self
                def __del__(self): os.write(1, b"columns %d\\n" % self.reader.ColumnCount)
            Holder()
            gc.collect()
            holder = Holder()
            names = {"release": _library.library.qf_release, "handle": _host.new_handle(Control()), "write": os.write}
            exec('''class Last:
                def __del__(self): release(handle), write(1, b"released")
            ''', names)
            sys.last = names["Last"]()  # what sys holds goes when every module is gone
        """)
        self.assertEqual((ended.returncode, ended.stdout.splitlines(), ended.stderr),
                         (0, ["columns 0", "columns 0", "released"], ""))

    def test_the_library_is_where_the_environment_says(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, _library.FILE_NAME)
            os.symlink(os.path.abspath(_library.library._name), path)
            for place in (path, folder):
                found = python("import quarnofwk._library as l; print(l.library._name)", QUARNOFWK_LIBRARY=place)
                self.assertEqual(found.stdout.strip(), path, found.stderr)
        for wrong in (path + ".none", __file__):
            failed = python("import quarnofwk", QUARNOFWK_LIBRARY=wrong)
            self.assertIn("ImportError", failed.stderr)
            self.assertIn(wrong, failed.stderr)
