"""Finds the native library and declares its C interface (include/quarnofwk/quarnofwk.h) for ctypes."""

from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, c_char_p, c_double, c_float, c_int16, c_int32, c_int64, c_uint8, c_uint16, c_uint32
from ctypes import c_uint64, c_void_p
from pathlib import Path

ABI_VERSION = 1
FILE_NAME = "CorvexFwk.dll" if os.name == "nt" else "CorvexFwk.so"

# Types of values.
EMPTY, NULL, INT16, INT32, SINGLE, DOUBLE, CURRENCY, DATE, TEXT, OBJECT, MISSING, BOOLEAN = range(12)
DECIMAL, BYTE, INT64 = 14, 17, 20
ARRAY, BYTES, BYREF = 0x2000 | 12, 0x2000 | 17, 0x4000
HEAP_TYPES = frozenset({TEXT, OBJECT, ARRAY, BYTES})
"""What qf_clear has something to free for."""

METHOD, PROPERTY, READ_ONLY, CONSTANT, UNKNOWN_KIND = range(5)
CALL, GET, PUT = range(3)


class _Buffer(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("size", c_uint64)]


class _As(ctypes.Union):
    _anonymous_ = ("buffer",)
    _fields_ = [
        ("byte", c_uint8), ("int16", c_int16), ("int32", c_int32), ("int64", c_int64), ("low", c_uint64),
        ("single", c_float), ("real", c_double), ("pointer", c_void_p),
        ("chars", c_char_p),  # `data` again: assigning bytes here keeps them alive as long as the value
        ("buffer", _Buffer),
    ]


class Value(ctypes.Structure):
    """qf_value. Text, byte arrays and arrays all show their address and length as `data` and `size`."""

    _anonymous_ = ("as_",)
    _fields_ = [("type", c_uint16), ("scale", c_uint8), ("negative", c_uint8), ("high", c_uint32), ("as_", _As)]


class Text(ctypes.Structure):
    """qf_text."""

    _fields_ = [("data", c_void_p), ("size", c_uint64)]

    def __str__(self) -> str:
        return ctypes.string_at(self.data, self.size).decode("utf-8", "replace") if self.size else ""


class Name(ctypes.Structure):
    """qf_text, as it is handed in."""

    _fields_ = [("data", c_char_p), ("size", c_uint64)]


HostGet = ctypes.CFUNCTYPE(c_int32, c_void_p, c_void_p, c_uint64, POINTER(Value))
HostCall = ctypes.CFUNCTYPE(c_int32, c_void_p, c_void_p, c_uint64, c_void_p, c_uint32, POINTER(Value))
HostRelease = ctypes.CFUNCTYPE(None, c_void_p)


class HostCallbacks(ctypes.Structure):
    """qf_host_callbacks."""

    _fields_ = [("get", HostGet), ("put", HostGet), ("call", HostCall), ("release", HostRelease)]


# Out parameters and arrays are c_void_p, which takes byref() and arrays without the cost of checking their type.
_PROTOTYPES = {
    "qf_abi_version": (c_uint32, []),
    "qf_version": (c_char_p, []),
    "qf_create": (c_int32, [c_char_p, c_uint64, c_void_p]),
    "qf_retain": (None, [c_void_p]),
    "qf_release": (None, [c_void_p]),
    "qf_class_name": (c_char_p, [c_void_p]),
    "qf_find": (c_int32, [c_void_p, c_char_p, c_uint64, c_void_p, c_void_p]),
    "qf_invoke": (c_int32, [c_void_p, c_int32, c_int32, c_void_p, c_uint32, c_void_p, c_uint32, c_void_p]),
    "qf_class_at": (c_int32, [c_uint32, c_void_p]),
    "qf_member_at": (c_int32, [c_void_p, c_uint32, c_void_p, c_void_p]),
    "qf_clear": (None, [c_void_p]),
    "qf_set_text": (c_int32, [c_void_p, c_char_p, c_uint64]),
    "qf_set_bytes": (c_int32, [c_void_p, c_char_p, c_uint64]),
    "qf_set_array": (c_int32, [c_void_p, c_uint64]),
    "qf_get_error": (None, [c_void_p, c_void_p, c_void_p]),
    "qf_set_error": (None, [c_int32, c_char_p, c_uint64, c_char_p, c_uint64]),
    "qf_host_object": (c_int32, [c_void_p, c_void_p, c_void_p]),
    "qf_host_context": (c_void_p, [c_void_p, c_void_p]),
}


def _candidates() -> list[str]:
    chosen = os.environ.get("QUARNOFWK_LIBRARY")
    if chosen:
        # A library that was asked for by name is never silently replaced by another one.
        return [os.path.join(chosen, FILE_NAME) if os.path.isdir(chosen) else chosen]
    package = Path(__file__).resolve().parent
    built = sorted(path.name for path in package.parent.parent.glob("build/*") if (path / "lib" / FILE_NAME).exists())
    builds = ["release", "dev"] + [name for name in built if name not in ("release", "dev")]
    beside = [package / FILE_NAME, package.parent / FILE_NAME]
    in_tree = [package.parent.parent / "build" / name / "lib" / FILE_NAME for name in builds]
    return [str(path) for path in beside + in_tree] + [FILE_NAME]


def _load() -> ctypes.CDLL:
    looked_at = []
    for path in _candidates():
        if os.path.dirname(path) and not os.path.exists(path):
            looked_at.append(f"  {path}: not there")
            continue
        try:
            loaded = ctypes.CDLL(path)
            for name, (result, arguments) in _PROTOTYPES.items():
                function = getattr(loaded, name)
                function.restype, function.argtypes = result, arguments
        except (OSError, AttributeError) as error:
            looked_at.append(f"  {path}: {error}")
            continue
        version = loaded.qf_abi_version()
        if version == ABI_VERSION:
            return loaded
        looked_at.append(f"  {path}: C interface {version}, this package needs {ABI_VERSION}")
    raise ImportError(f"{FILE_NAME} was not found; set QUARNOFWK_LIBRARY to its path. Looked at:\n"
                      + "\n".join(looked_at))


library = _load()
