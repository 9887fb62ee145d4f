"""The library's objects: members as attributes, collections, and the one call that drives them all."""

from __future__ import annotations

from ctypes import addressof, byref, c_int32, c_void_p
from typing import Any, Iterator
from weakref import WeakValueDictionary

from . import _host, _values, errors
from . import _library as c
from ._library import Name, Text, Value, library
from ._values import ByRef, encoded, read, readers, write
from .errors import NOT_IN_COLLECTION, Error, ItemError, failure


def invoke(handle: int, member: int, access: int, arguments: tuple, named: dict[str, Any] | None = None) -> Any:
    """Calls, reads or writes a member. By-reference arguments are written back even when the member fails."""
    count = len(arguments)
    names, name_count = None, 0
    if named:
        arguments += tuple(named.values())
        name_count = len(named)
        count += name_count
        texts = [encoded(name) for name in named]
        names = (Name * name_count)(*((text, len(text)) for text in texts))
    slots = (Value * count)() if count else None
    result = Value()
    owned: list[Value] = []
    references: list[tuple[ByRef, Value]] = []
    try:
        for i, argument in enumerate(arguments):
            slot = slots[i]
            kind = argument.__class__
            if kind is str:
                data = encoded(argument)
                slot.type = c.TEXT
                slot.chars = data
                slot.size = len(data)
            elif kind is ByRef:
                target = Value()
                write(target, argument.value)
                owned.append(target)
                references.append((argument, target))
                slot.type = c.BYREF
                slot.pointer = addressof(target)
            else:
                write(slot, argument)
                if slot.type in c.HEAP_TYPES:
                    owned.append(slot)
        error = None
        if library.qf_invoke(handle, member, access, slots, count, names, name_count, byref(result)):
            error = failure()
        elif errors.raised_by_host:
            errors.settle()
        for reference, target in references:
            reference.value = read(target)
        if error is not None:
            raise error
        return readers[result.type](result)
    finally:
        for value in owned:
            library.qf_clear(byref(value))
        if result.type in c.HEAP_TYPES:
            library.qf_clear(byref(result))


class _Handle(int):
    """The address of a C object, and the one reference that its Python object owns. As an integer it is out of the
    garbage collector's sight, so the reference is given back only after every __del__ of a dying cycle has run:
    until then those may still use the object."""

    __slots__ = ()

    def __del__(self, release: Any = library.qf_release) -> None:
        release(self)


class Method:
    """A method of one object, ready to be called. Arguments are passed by position or by name."""

    __slots__ = ("_owner", "_member", "__name__")

    def __init__(self, owner: Object, member: int, name: str) -> None:
        self._owner = owner
        self._member = member
        self.__name__ = name

    def __call__(self, *arguments: Any, **named: Any) -> Any:
        return invoke(self._owner._handle, self._member, c.CALL, arguments, named)

    def __repr__(self) -> str:
        return f"<method {self.__name__} of {self._owner!r}>"


class _Class:
    """What is known of a class: its members' names, and the numbers and kinds of those that were used."""

    def __init__(self, handle: int, name: str) -> None:
        self.name = name
        self.found: dict[str, tuple[int, int]] = {}
        self.member_names = []
        text, kind = Text(), c_int32()
        while not library.qf_member_at(handle, len(self.member_names), byref(text), byref(kind)):
            self.member_names.append(str(text))
        folded = {name.lower() for name in self.member_names}
        self.python_class = Collection if {"item", "count"} <= folded else Object


class Object:
    """An object of the library. Its members are attributes, in any letter case: properties and constants are values,
    methods are callable. `obj["name"]` reaches a member whose name Python cannot spell. It is used on the thread that
    created it."""

    __slots__ = ("_handle", "_class", "__weakref__")
    _handle: _Handle
    _class: _Class

    def __new__(cls) -> Object:
        raise TypeError("objects are created with Dispatch(class_name)")

    def __reduce_ex__(self, protocol: Any) -> Any:
        raise TypeError("an automation object cannot be copied or pickled")

    def _find(self, name: str) -> tuple[int, int]:
        member, kind = c_int32(), c_int32()
        data = encoded(name)
        if library.qf_find(self._handle, data, len(data), byref(member), byref(kind)):
            raise failure()
        found = member.value, kind.value
        if kind.value != c.UNKNOWN_KIND:  # the members of another host's object are numbered per object
            self._class.found[name] = found
        return found

    def __getattr__(self, name: str) -> Any:
        if name[:2] == "__":  # Python's own protocols ask for these; they are never members
            raise AttributeError(name)
        member, kind = self._class.found.get(name) or self._find(name)
        if kind == c.METHOD:
            return Method(self, member, name)
        if kind != c.UNKNOWN_KIND:
            return invoke(self._handle, member, c.GET, ())
        try:
            return invoke(self._handle, member, c.GET, ())
        except Error:  # only that host knows which of its members are methods
            return Method(self, member, name)

    def __setattr__(self, name: str, value: Any) -> None:
        member, _ = self._class.found.get(name) or self._find(name)
        invoke(self._handle, member, c.PUT, (value,))

    def __getitem__(self, name: Any) -> Any:
        return self.__getattr__(_member_name(name))

    def __setitem__(self, name: Any, value: Any) -> None:
        self.__setattr__(_member_name(name), value)

    __iter__: Any = None  # else Python would try obj[0], obj[1], ...

    def __dir__(self) -> list[str]:
        return sorted({*object.__dir__(self), *self._class.member_names})

    def __repr__(self) -> str:
        return f"<{self._class.name} object at 0x{self._handle:x}>"


class Collection(Object):
    """An object with `Item` and `Count`: called or indexed by position or name, counted and iterated. Its other
    members are attributes."""

    __slots__ = ()

    def __call__(self, *arguments: Any, **named: Any) -> Any:
        member, _ = self._class.found.get("Item") or self._find("Item")
        try:
            return invoke(self._handle, member, c.CALL, arguments, named)
        except Error as error:
            if error.number not in NOT_IN_COLLECTION:
                raise
            raise ItemError(*error.args) from error.__cause__

    def __getitem__(self, index: Any) -> Any:
        if isinstance(index, slice):
            return [self(i) for i in range(*index.indices(len(self)))]
        if isinstance(index, int) and index < 0:
            index += len(self)
        return self(index)

    def __setitem__(self, index: Any, value: Any) -> None:
        self[index].Value = value

    def __len__(self) -> int:
        return self.__getattr__("Count")

    def __iter__(self) -> Iterator[Any]:
        position = 0
        while position < len(self):
            yield self(position)
            position += 1

    def __contains__(self, item: Any) -> bool:
        if not isinstance(item, str):
            return any(item is member for member in self)
        try:
            self(item)
            return True
        except ItemError:
            return False


def _member_name(name: Any) -> str:
    if not isinstance(name, str):
        raise TypeError("this object is no collection: its members are reached by name")
    return name


_classes: dict[bytes, _Class] = {}
_live: WeakValueDictionary[int, Object] = WeakValueDictionary()
"""By address. An object that is in here is alive, so nothing else can have its address."""


def wrap(handle: int) -> Any:
    """The Python object for a C object, with a reference of its own: always the same one while it is in use."""
    known = _live.get(handle)
    if known is not None:
        return known
    context = _host.context_of(handle)
    if context:
        return _host.target_of(context)
    name = library.qf_class_name(handle)
    kind = _classes.get(name)
    if kind is None:
        kind = _classes[name] = _Class(handle, name.decode())
    wrapped = object.__new__(kind.python_class)
    library.qf_retain(handle)
    object.__setattr__(wrapped, "_handle", _Handle(handle))
    object.__setattr__(wrapped, "_class", kind)
    _live[handle] = wrapped
    return wrapped


def _write_object(target: Value, value: Object) -> None:
    library.qf_retain(value._handle)
    target.type = c.OBJECT
    target.pointer = value._handle


_values.writers[Object] = _write_object
_values.writers[Collection] = _write_object
_values.readers[c.OBJECT] = lambda value: wrap(value.pointer) if value.pointer else None


def Dispatch(class_name: str) -> Any:
    """Creates an object of a class by its name, such as "CData" or "QuarnoFwk.CData". Error 429 when there is no
    such class."""
    handle, name = c_void_p(), encoded(class_name)
    if library.qf_create(name, len(name), byref(handle)):
        raise failure()
    try:
        return wrap(handle.value or 0)
    finally:
        library.qf_release(handle)


def classes() -> list[str]:
    """The names of the classes that Dispatch makes."""
    names: list[str] = []
    text = Text()
    while not library.qf_class_at(len(names), byref(text)):
        names.append(str(text))
    return names
