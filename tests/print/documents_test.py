#!/usr/bin/env python3
"""Opens documents with a program of its own, registered in private folders, and prints them on a private CUPS server
whose printer keeps what it gets. This process is the host. QUARNOFWK_LIBRARY names the library."""
import contextlib
import faulthandler
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import unittest.mock

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(REPOSITORY / "tests/support"), str(REPOSITORY / "python")]
import report  # noqa: E402, it lies in a folder beside this one
from quarnofwk import Dispatch  # noqa: E402

CUPSD = shutil.which("cupsd", path="/usr/sbin")
AT_ONCE, PATIENCE = 5, 60  # seconds; a program's start takes 0.1
# "\\" cannot be part of a name, it parts folders.
NAMES = ["plain.txt", "-d.txt", "--help", "-", "a b .txt ", "$(touch PWN).txt", "`touch PWN`;touch PWN&|>PWN", "~",
         "'q\".txt", "a\nb.txt", "a\nfile:", "a\r\tb\x01.txt", "%f %u%41#x?y=z&.txt", "è€ж😀.txt", "*[a]?.txt",
         "x" * 251 + ".txt"]
CONTENTS = [b"a text\n", b"\r\n\f\x1a last", bytes(range(256)), os.urandom(5_000_000), b"\x7fELF\2\1\1" + bytes(99),
            b"%PDF-1.4\n%%EOF\n", b"%!PS\nshowpage\n", b"#!/bin/sh\ntouch PWN\n", b"RaS2" + bytes(5000)]
RECORDER = f"""#!{sys.executable}
import json, os, signal, sys, time
here = os.path.dirname(os.path.realpath(__file__))
files = {{os.path.realpath("/proc/self/fd/" + fd) for fd in os.listdir("/proc/self/fd")}}
seen = dict(argv=sys.argv[1:], pid=os.getpid(), got=[
    os.getcwd(), sorted(name for name in files if not name.startswith("/proc/")),
    len(signal.pthread_sigmask(signal.SIG_BLOCK, [])), signal.getsignal(signal.SIGHUP) == signal.SIG_IGN])
name = "%s/seen/%d" % (here, os.getpid())
json.dump(seen, open(name + ".new", "w"))
os.rename(name + ".new", name)
time.sleep(600 if sys.argv[-1].endswith("endless.txt") else 0)
"""
DESKTOP = "[Desktop Entry]\nType=Application\nName=Recorder\nExec={}/recorder %f\nMimeType=text/plain;\n"
# What runs as the printer: without arguments it lists itself, else its sixth is the file.
BACKEND = """#!/bin/sh
[ $# = 0 ] && echo 'direct capture "Capture" "Capture"' && exit 0
cp "$6" "${DEVICE_URI#capture:}/$1.new" && mv "${DEVICE_URI#capture:}/$1.new" "${DEVICE_URI#capture:}/$1"
"""
CUPSD_CONF = """Listen 127.0.0.1:{port}
LogLevel warn
Browsing No
WebInterface No
DefaultAuthType None
<Location />
  Order allow,deny
  Allow from 127.0.0.1
</Location>
<Policy default>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
"""
CUPS_FILES_CONF = """ServerRoot {root}
CacheDir {root}/cache
StateDir {root}/state
RequestRoot {root}/spool
TempDir {root}/temp
ServerBin {root}/bin
DataDir {root}/data
AccessLog {root}/access_log
ErrorLog {root}/error_log
PageLog {root}/page_log
"""


def eventually(condition):
    end = time.monotonic() + PATIENCE
    while not condition() and time.monotonic() < end:
        time.sleep(0.02)
    return condition()


def children():
    return {int(pid) for task in pathlib.Path("/proc/self/task").glob("*/children") for pid in task.read_text().split()}


def signal_state():
    lines = pathlib.Path("/proc/self/status").read_text().splitlines()
    return [line for line in lines if line.startswith(("SigBlk", "SigIgn", "SigCgt"))]


class DocumentsTest(unittest.TestCase):
    def setUp(self):
        faulthandler.dump_traceback_later(3 * PATIENCE, exit=True)
        self.addCleanup(faulthandler.cancel_dump_traceback_later)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()
        for name in ("documents", "home", "data", "config"):
            (self.folder / name).mkdir()
        self.documents = self.folder / "documents"
        own = dict(HOME="home", XDG_CACHE_HOME="home", XDG_RUNTIME_DIR="home", XDG_DATA_HOME="data",
                   XDG_DATA_DIRS="data", XDG_CONFIG_HOME="config", XDG_CONFIG_DIRS="config",
                   QUARNOFWK_DRIVE_C="documents")
        environment = unittest.mock.patch.dict(os.environ, {name: f"{folder.name}/{at}" for name, at in own.items()})
        environment.start()
        self.addCleanup(environment.stop)
        # LD_PRELOAD: a sanitizer of ours is not for other programs.
        for name in ("LD_PRELOAD", "DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PRINTER", "LPDEST"):
            os.environ.pop(name, None)
        self.utilities = Dispatch("CSysUtils")

    def put(self, name, content="a text\n"):
        path = self.documents / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def ask(self, member, name):
        """Calls the member as a host does that has files open, ignores signals and is watched for what it says."""
        own_children, own_signals, start = children(), signal_state(), time.monotonic()
        with self.silence():
            self.assertEqual(getattr(self.utilities, member)("C:\\" + name), 0)
        self.assertLess(time.monotonic() - start, AT_ONCE)
        self.assertEqual((children(), signal_state()), (own_children, own_signals))

    @contextlib.contextmanager
    def silence(self):
        """Fails when something is written to standard output or error."""
        sys.stdout.flush()
        with tempfile.TemporaryFile() as said, contextlib.ExitStack() as undo:
            for standard in (1, 2):
                kept = os.dup(standard)
                undo.callback(os.close, kept)
                undo.callback(os.dup2, kept, standard)
                os.dup2(said.fileno(), standard)
            yield
            said.seek(0)
            self.assertEqual(said.read(), b"")

    # Opening

    def register_program(self):
        if not shutil.which("gio"):
            self.skipTest("there is no gio (package libglib2.0-bin)")
        (self.folder / "seen").mkdir()
        (self.folder / "data/applications").mkdir()
        (self.folder / "data/applications/recorder.desktop").write_text(DESKTOP.format(self.folder))
        (self.folder / "config/mimeapps.list").write_text("[Default Applications]\ntext/plain=recorder.desktop\n")
        program = self.folder / "recorder"
        program.write_text(RECORDER)
        program.chmod(0o700)
        (self.folder / "bin").mkdir()
        (self.folder / "bin/lp").symlink_to(program)

    def seen(self):
        return [json.loads(path.read_text()) for path in (self.folder / "seen").iterdir() if path.suffix != ".new"]

    def seen_after(self, count):
        eventually(lambda: len(self.seen()) >= count)
        return self.seen()

    def test_opens_exactly_that_file(self):
        self.register_program()
        inherited = os.open(self.put("held"), os.O_RDONLY)
        self.addCleanup(os.close, inherited)
        os.set_inheritable(inherited, True)
        held_back = signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
        self.addCleanup(signal.pthread_sigmask, signal.SIG_SETMASK, held_back)
        self.addCleanup(signal.signal, signal.SIGHUP, signal.signal(signal.SIGHUP, signal.SIG_IGN))
        for name in NAMES:
            self.put(name)
            self.ask("StartDoc", name)
        # gio tidies up behind a host; a program that is started directly shows what it gets.
        os.environ["PATH"] = f"{self.folder}/bin:{os.environ['PATH']}"
        self.ask("PrintDoc", NAMES[0])
        expected = [[str(self.documents / name)] for name in NAMES] + [["--", str(self.documents / NAMES[0])]]
        seen = self.seen_after(len(expected))
        self.assertEqual(sorted(one["argv"] for one in seen), sorted(expected))
        for one in seen:
            self.assertEqual(one["got"], [str(self.documents), ["/dev/null"], 0, False])
        self.assertEqual(set(os.listdir(self.documents)), {*NAMES, "held"})

    def test_opens_through_links_and_from_the_current_folder(self):
        self.register_program()
        (self.folder / "elsewhere/inner").mkdir(parents=True)
        (self.documents / "link").symlink_to(self.folder / "elsewhere/inner")
        (self.folder / "elsewhere/a.txt").write_text("beyond the link\n")
        self.put("a.txt")
        (self.documents / "named.txt").symlink_to("a.txt")
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.documents)
        self.ask("StartDoc", "link\\..\\a.txt")
        self.ask("StartDoc", "NAMED.TXT")
        self.assertEqual(self.utilities.StartDoc("-e.txt"), 0)
        self.put("-e.txt")
        self.assertEqual(self.utilities.StartDoc("-e.txt"), 0)
        expected = [self.documents / "-e.txt", self.documents / "named.txt", self.folder / "elsewhere/a.txt"]
        self.assertEqual(sorted(one["argv"] for one in self.seen_after(3)), [[str(path)] for path in expected])

    def test_nothing_to_open_it_with(self):
        self.register_program()
        self.put("a.txt")
        self.put("binary", bytes(range(256)))
        program = self.put("program", b"#!/bin/sh\ntouch PWN\n")
        program.chmod(0o700)
        for name in ("binary", "*.txt", "?.txt", "none"):
            self.ask("StartDoc", name)
        with unittest.mock.patch.dict(os.environ, PATH=str(self.folder / "home")):  # where no programs are
            self.ask("StartDoc", "a.txt")
            self.ask("PrintDoc", "a.txt")
        self.ask("StartDoc", "program")  # its text is shown, it is not run
        self.assertEqual([one["argv"] for one in self.seen_after(1)], [[str(program)]])
        self.assertEqual(set(os.listdir(self.documents)), {"a.txt", "binary", "program"})

    def test_does_not_wait_and_serves_many_threads(self):
        self.register_program()
        self.put("endless.txt")
        self.ask("StartDoc", "endless.txt")
        endless = self.seen_after(1)[0]["pid"]
        self.addCleanup(os.kill, endless, signal.SIGKILL)
        names = [f"{thread}.{number}.txt" for thread in range(4) for number in range(5)]
        for name in names:
            self.put(name)

        def work(thread):
            utilities = Dispatch("CSysUtils")
            for name in names[thread::4]:
                utilities.StartDoc("C:\\" + name)

        own_children = children()
        # A host that ignores its children's ends leaves nothing to wait for.
        self.addCleanup(signal.signal, signal.SIGCHLD, signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        threads = [threading.Thread(target=work, args=(thread,)) for thread in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(PATIENCE)
        seen = self.seen_after(1 + len(names))
        self.assertEqual(sorted(pathlib.Path(one["argv"][0]).name for one in seen), sorted([*names, "endless.txt"]))
        self.assertEqual(children(), own_children)
        os.kill(endless, 0)  # it is still there

    # Printing

    def start_printer(self):
        if os.geteuid() != 0 or not CUPSD or not shutil.which("lpadmin"):
            self.skipTest("a CUPS server of its own needs root and the packages cups and cups-client")
        root, self.printed_folder = self.folder / "cups", self.folder / "printed"
        for name in ("cache", "state", "spool", "temp", "data/mime", "bin/backend"):
            (root / name).mkdir(parents=True)
        self.printed_folder.mkdir()
        self.folder.chmod(0o755)
        (root / "temp").chmod(0o1777)
        # The kinds of files, without the filters of this machine, and what starts a printer's program.
        (root / "data/mime/mime.types").symlink_to("/usr/share/cups/mime/mime.types")
        (root / "bin/daemon").symlink_to("/usr/lib/cups/daemon")
        backend = root / "bin/backend/capture"
        backend.write_text(BACKEND)
        backend.chmod(0o700)  # run as root, who may write to the folder
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        (root / "cupsd.conf").write_text(CUPSD_CONF.format(port=port))
        (root / "cups-files.conf").write_text(CUPS_FILES_CONF.format(root=root))
        server = subprocess.Popen([CUPSD, "-f", "-c", root / "cupsd.conf", "-s", root / "cups-files.conf"],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(lambda: (server.kill(), server.wait(PATIENCE)))
        os.environ["CUPS_SERVER"] = f"127.0.0.1:{port}"
        asked = dict(capture_output=True, timeout=PATIENCE)
        eventually(lambda: server.poll() is not None or
                   b"is running" in subprocess.run(["lpstat", "-r"], **asked).stdout)
        if server.poll() is not None:
            self.skipTest("cupsd cannot run here: " + (root / "error_log").read_text())
        for words in (["-p", "Capture", "-E", "-v", f"capture:{self.printed_folder}"], ["-d", "Capture"]):
            subprocess.run(["lpadmin", *words], check=True, **asked)

    def printed(self):
        return [path.read_bytes() for path in self.printed_folder.iterdir() if path.suffix != ".new"]

    def test_prints_byte_for_byte(self):
        self.start_printer()
        names = {name.encode(): name for name in NAMES}
        names |= {content: f"content {number}" for number, content in enumerate(CONTENTS)}
        for content, name in names.items():
            self.put(name, content)
        self.put("empty", b"")
        for name in ("empty", "none", "content *", *names.values()):
            self.ask("PrintDoc", name)
        eventually(lambda: len(self.printed()) >= len(names))
        self.assertEqual(sorted(names.get(content, str(content[:80])) for content in self.printed()),
                         sorted(names.values()))
        self.assertEqual(set(os.listdir(self.documents)), {"empty", *names.values()})

    def test_a_server_that_is_silent_or_not_there(self):
        if not shutil.which("lp"):
            self.skipTest("there is no lp (package cups-client)")
        self.put("a.txt")
        with socket.create_server(("127.0.0.1", 0)) as silent:
            silent.settimeout(PATIENCE)
            os.environ["CUPS_SERVER"] = f"127.0.0.1:{silent.getsockname()[1]}"
            self.ask("PrintDoc", "a.txt")
            silent.accept()[0].close()  # it was asked
        self.ask("PrintDoc", "a.txt")


if __name__ == "__main__":
    report.main()
