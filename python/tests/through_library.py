"""What the tests share: ways to send values and calls through the library and back, and a look at its memory."""

import ctypes
import unittest

from quarnofwk import Error, _host, _library, _objects, _values


class Raw:
    """A value of an exact automation type, which no Python type is written as."""

    def __init__(self, code, field, content, **more):
        self.parts = {"type": code, field: content, **more}


_values.writers[Raw] = lambda target, raw: [setattr(target, field, part) for field, part in raw.parts.items()]


class HostView:
    """A Python object as the library sees it: an access goes through the C interface and comes back as a callback."""

    def __init__(self, target):
        self.handle = _objects._Handle(_host.new_handle(target))

    def __call__(self, access, name, *arguments):
        member, data = ctypes.c_int32(), name.encode()
        assert _library.library.qf_find(self.handle, data, len(data), ctypes.byref(member), None) == 0
        return _objects.invoke(self.handle, member.value, access, arguments)

    def as_foreign(self):
        """The same object as if another host in the process had handed it in."""
        wrapped = object.__new__(_objects.Object)
        object.__setattr__(wrapped, "_handle", self.handle)
        object.__setattr__(wrapped, "_class", _objects._Class(self.handle, "HostObject"))
        return wrapped


class Echo:
    def echo(self, value):
        return value


def echoed(value):
    return HostView(Echo())(_library.CALL, "echo", value)


class MemoryUse(ctypes.Structure):
    _fields_ = [("before", ctypes.c_size_t * 7), ("uordblks", ctypes.c_size_t), ("after", ctypes.c_size_t * 2)]


class Case(unittest.TestCase):
    def assert_error(self, number, action, *arguments, kind=Error):
        with self.assertRaises(kind) as caught:
            action(*arguments)
        self.assertIsInstance(caught.exception, Error)
        self.assertEqual(caught.exception.number, number, caught.exception)
        return caught.exception

    def assert_no_growth(self, action, times):
        """Of what the native heap has handed out; Python's own small objects live elsewhere. A sanitizer's heap always
        says 0, and counts for itself."""
        measure = ctypes.CDLL(None).mallinfo2
        measure.restype = MemoryUse
        for _ in range(500):
            action()
        before = measure().uordblks
        for _ in range(times):
            action()
        self.assertLess(measure().uordblks - before, 20 * times)
