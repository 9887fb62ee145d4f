"""Python objects that are handed to the library, which reads, writes and calls their attributes by name."""

from __future__ import annotations

import atexit
import itertools
from ctypes import byref, c_void_p, py_object, pythonapi, string_at
from threading import get_ident
from types import BuiltinFunctionType, FunctionType, MethodType
from typing import Any, Callable

from . import _library as c
from . import _values
from ._library import Value, library
from .errors import AUTOMATION_ERROR, UNKNOWN_MEMBER, Error, current_error, failure, raised_by_host, run_time_error
from .errors import set_error

_handed_in: dict[int, Any] = {}
"""Keeps each object alive until the library lets go of it. The number is the context of the C object."""
_contexts = itertools.count(1)
_handles: dict[tuple[int, int], int] = {}
"""The C object of each that is handed in, by thread and identity: the library is to know a control again."""
_keys: dict[int, tuple[int, int]] = {}
"""Of each context, what its C object is found by."""


def _other_spelling(target: Any, name: str) -> str | None:
    folded = name.lower()
    return next((known for known in dir(target) if known.lower() == folded and known != name), None)


def _attribute(target: Any, name: str) -> Any:
    try:
        return getattr(target, name)
    except AttributeError:
        other = _other_spelling(target, name)
        if other is None:
            raise
        return getattr(target, other)


def _get(target: Any, name: str, result: Any) -> None:
    value = _attribute(target, name)
    if isinstance(value, (MethodType, FunctionType, BuiltinFunctionType)):
        value = value()  # the value of a method is what it returns without arguments
    _values.write(result.contents, value)


def _put(target: Any, name: str, value: Any) -> None:
    # A control without the attribute has to say so, hence no attribute is made up here.
    if not hasattr(type(target), name) and not hasattr(target, name):
        name = _other_spelling(target, name) or name
        getattr(target, name)
    setattr(target, name, _values.read(value.contents))


def _call(target: Any, name: str, arguments: int, count: int, result: Any) -> None:
    values = _values.read_many(arguments, count)
    value = _attribute(target, name)
    if callable(value):
        value = value(*values)
    elif values:
        value = value[values[0] if count == 1 else tuple(values)]  # Fields("NOX") of a mapping
    _values.write(result.contents, value)


def _fail(target: Any, name: str, error: BaseException) -> None:
    source = type(target).__name__
    if isinstance(error, Error):
        set_error(error.number, error.source, error.description)
    elif isinstance(error, AttributeError):
        run_time_error(UNKNOWN_MEMBER, f"{source}.{name}: {error}")
    else:
        set_error(AUTOMATION_ERROR, source, f"{type(error).__name__}: {error}")
    raised_by_host[get_ident()] = (current_error(), error)


def _guarded(body: Callable[..., None]) -> Callable[..., int]:
    # Nothing may leave a callback: ctypes would print it and go on as if all were well.
    def callback(context: int, name: int, size: int, *rest: Any) -> int:
        target, text = None, ""
        try:
            target, text = _handed_in[context], string_at(name, size).decode()
            body(target, text, *rest)
            return 0
        except BaseException as error:
            _fail(target, text, error)
            return 1

    return callback


def _release(context: int, forget: Callable[..., Any] = _handed_in.pop, key_of: Callable[..., Any] = _keys.pop,
             forget_handle: Callable[..., Any] = _handles.pop) -> None:
    forget_handle(key_of(context, None), None)
    forget(context, None)


_callbacks = c.HostCallbacks(c.HostGet(_guarded(_get)), c.HostGet(_guarded(_put)), c.HostCall(_guarded(_call)),
                             c.HostRelease(_release))
_callbacks_pointer = byref(_callbacks)
# The library may let go of an object while the interpreter shuts down, so the callbacks outlive this module. Python's
# own objects must not live on with them: the library's hold on them ends where the program does.
pythonapi.Py_IncRef(py_object(_callbacks))
atexit.register(_handed_in.clear)


def new_handle(target: Any) -> int:
    """One reference to the C object that stands for `target` on this thread; a new one the first time."""
    key = (get_ident(), id(target))
    known = _handles.get(key)
    if known is not None:
        library.qf_retain(known)
        return known
    context, handle = next(_contexts), c_void_p()
    _handed_in[context] = target
    if library.qf_host_object(_callbacks_pointer, context, byref(handle)):
        del _handed_in[context]
        raise failure()
    _handles[key], _keys[context] = handle.value or 0, key
    return handle.value or 0


def context_of(handle: int) -> int | None:
    """Of a C object that stands for a Python object; else None."""
    return library.qf_host_context(handle, _callbacks_pointer)


def target_of(context: int) -> Any:
    return _handed_in[context]


def _write_host_object(target: Value, value: Any) -> None:
    handle = new_handle(value)
    target.type = c.OBJECT
    target.pointer = handle


_values.write_other = _write_host_object
