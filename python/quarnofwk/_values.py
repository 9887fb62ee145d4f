"""Python values to automation values and back. Objects are added to both tables by the modules that know them."""

from __future__ import annotations

import datetime
import math
import numbers
from ctypes import byref, string_at
from decimal import ROUND_HALF_EVEN, Context, Decimal
from typing import Any, Callable

from . import _library as c
from ._library import Value, library
from .errors import OVERFLOW, TYPE_MISMATCH, failure, run_time_error


class _Marker:
    """A value that Python has no word for; false, and a copy of it is the same object."""

    def __init__(self, name: str, code: int) -> None:
        self._name = name
        self.code = code

    def __bool__(self) -> bool:
        return False

    def __repr__(self) -> str:
        return self._name

    def __reduce__(self) -> str:
        return self._name


Null = _Marker("Null", c.NULL)
"""A database value that is not there."""
Missing = _Marker("Missing", c.MISSING)
"""An optional argument that is left out."""


class ByRef:
    """A by-reference argument: `value` goes in, and what the member wrote is in `value` afterwards."""

    __slots__ = ("value",)

    def __init__(self, value: Any = None) -> None:
        self.value = value

    def __repr__(self) -> str:
        return f"ByRef({self.value!r})"


# --- Dates: days since 30 December 1899. Before that day the whole part is negative and the fraction still counts
# forward from midnight.

_DAY = 86_400_000_000  # in microseconds
_EPOCH = datetime.date(1899, 12, 30).toordinal()
_FIRST_DAY, _LAST_DAY = -657434.0, 2958466.0  # 1 January 100; 1 January 10000, which is too late
_LAST_MOMENT = math.nextafter(_LAST_DAY, 0.0)


def days_from_datetime(moment: datetime.datetime) -> float:
    if moment.tzinfo is not None:
        raise run_time_error(TYPE_MISMATCH, "automation dates have no time zone; pass a naive datetime")
    if moment.year < 100:
        raise run_time_error(OVERFLOW, "automation dates begin in the year 100")
    seconds = (moment.hour * 60 + moment.minute) * 60 + moment.second
    day = moment.toordinal() - _EPOCH
    fraction = (seconds * 1_000_000 + moment.microsecond) / _DAY
    # The last microseconds of year 9999 would be rounded to the day behind it.
    return min(day - fraction if day < 0 else day + fraction, _LAST_MOMENT)


def datetime_from_days(days: float) -> datetime.datetime:
    """The roundest time the number cannot be told apart from: a whole second where the double's precision allows it,
    else a millisecond, else a microsecond."""
    if not _FIRST_DAY - 1 < days < _LAST_DAY:
        raise run_time_error(OVERFLOW, f"{days!r} is no date of the years 100 to 9999")
    whole = math.trunc(days)
    microseconds = abs(days - whole) * _DAY
    blur = math.ulp(abs(days)) * _DAY
    for unit in (1_000_000, 1000, 1):
        time = math.floor(microseconds / unit + 0.5) * unit
        if abs(time - microseconds) <= blur:
            break
    try:
        return datetime.datetime.fromordinal(whole + _EPOCH) + datetime.timedelta(microseconds=time)
    except OverflowError:
        raise run_time_error(OVERFLOW, f"{days!r} is no date of the years 100 to 9999") from None


# --- Writing: a value is overwritten without being cleared, and what it then holds on the heap is the library's kind
# of memory, for qf_clear.

def _write_bool(target: Value, value: bool) -> None:
    target.type = c.BOOLEAN
    target.int16 = -1 if value else 0


def _write_int(target: Value, value: int) -> None:
    if -0x80000000 <= value <= 0x7FFFFFFF:
        target.type = c.INT32
        target.int32 = value
    elif -0x8000000000000000 <= value <= 0x7FFFFFFFFFFFFFFF:
        target.type = c.INT64
        target.int64 = value
    else:
        raise run_time_error(OVERFLOW, "an integer has at most 64 bits")


def _write_float(target: Value, value: float) -> None:
    target.type = c.DOUBLE
    target.real = value


_WIDE = Context(prec=100, rounding=ROUND_HALF_EVEN, traps=[])


def _write_decimal(target: Value, value: Decimal) -> None:
    """Exact. Only decimals beyond 28 places or 96 bits are rounded away, half to even."""
    if value.is_nan():
        raise run_time_error(TYPE_MISMATCH, "a decimal is a number")
    if value.is_infinite() or value.adjusted() > 28:
        raise run_time_error(OVERFLOW, "a decimal has at most 96 bits")
    sign, _, exponent = value.as_tuple()
    for scale in range(min(max(-int(exponent), 0), 28), -1, -1):
        mantissa = int(_WIDE.scaleb(value.copy_abs(), scale).to_integral_value(ROUND_HALF_EVEN))
        if mantissa < 1 << 96:
            break
    else:
        raise run_time_error(OVERFLOW, "a decimal has at most 96 bits")
    target.type = c.DECIMAL
    target.scale = scale
    target.negative = 1 if sign and mantissa else 0
    target.high = mantissa >> 64
    target.low = mantissa & 0xFFFFFFFFFFFFFFFF


def _write_datetime(target: Value, value: datetime.datetime) -> None:
    target.type = c.DATE
    target.real = days_from_datetime(value)


def _write_date(target: Value, value: datetime.date) -> None:
    _write_datetime(target, datetime.datetime(value.year, value.month, value.day))


def encoded(text: str) -> bytes:
    try:
        return text.encode()
    except UnicodeEncodeError:
        raise run_time_error(TYPE_MISMATCH, "the text holds half of a surrogate pair") from None


def _write_text(target: Value, value: str) -> None:
    data = encoded(value)
    if library.qf_set_text(byref(target), data, len(data)):
        raise failure()


def _write_bytes(target: Value, value: Any) -> None:
    data = bytes(value)
    if library.qf_set_bytes(byref(target), data, len(data)):
        raise failure()


def _write_array(target: Value, items: Any) -> None:
    if library.qf_set_array(byref(target), len(items)):
        raise failure()
    try:
        for slot, item in zip((Value * len(items)).from_address(target.data), items):
            write(slot, item)
    except BaseException:
        library.qf_clear(byref(target))
        raise


def _write_empty(target: Value, value: None) -> None:
    target.type = c.EMPTY


def _write_marker(target: Value, value: _Marker) -> None:
    target.type = value.code


writers: dict[type, Callable[[Value, Any], None]] = {
    type(None): _write_empty, _Marker: _write_marker,
    bool: _write_bool, int: _write_int, float: _write_float, Decimal: _write_decimal,
    datetime.datetime: _write_datetime, datetime.date: _write_date,
    str: _write_text, bytes: _write_bytes, bytearray: _write_bytes, memoryview: _write_bytes,
    list: _write_array, tuple: _write_array,
}
"""By exact type. Subclasses are found by their bases, then other numbers, then `write_other`."""


def write_other(target: Value, value: Any) -> None:
    """A Python object that is no value: the host module puts its own in this place."""
    raise run_time_error(TYPE_MISMATCH, type(value).__name__)


def write(target: Value, value: Any) -> None:
    writer = writers.get(value.__class__)
    if writer is None:
        bases = type(value).__mro__
        writer = next((writers[base] for base in bases if base in writers), None)
        if writer is None and isinstance(value, numbers.Integral):
            writer, value = _write_int, int(value)
        elif writer is None and isinstance(value, numbers.Real):
            writer, value = _write_float, float(value)
    (writer or write_other)(target, value)


# --- Reading: always a copy, so that whoever owns the value still clears it.

def _read_decimal(value: Value) -> Decimal:
    mantissa = value.high << 64 | value.low
    return Decimal(f"{'-' if value.negative else ''}{mantissa}E-{value.scale}")


readers: dict[int, Callable[[Value], Any]] = {
    c.EMPTY: lambda value: None,
    c.NULL: lambda value: Null,
    c.INT16: lambda value: value.int16,
    c.INT32: lambda value: value.int32,
    c.SINGLE: lambda value: value.single,
    c.DOUBLE: lambda value: value.real,
    c.CURRENCY: lambda value: Decimal(f"{value.int64}E-4"),
    c.DATE: lambda value: datetime_from_days(value.real),
    c.TEXT: lambda value: string_at(value.data, value.size).decode("utf-8", "replace"),
    c.MISSING: lambda value: Missing,
    c.BOOLEAN: lambda value: value.int16 != 0,
    c.DECIMAL: _read_decimal,
    c.BYTE: lambda value: value.byte,
    c.INT64: lambda value: value.int64,
    c.ARRAY: lambda value: read_many(value.data, value.size),
    c.BYTES: lambda value: string_at(value.data, value.size),
}


def read(value: Value) -> Any:
    return readers[value.type](value)


def read_many(address: int, count: int) -> list[Any]:
    return [read(value) for value in (Value * count).from_address(address)] if count else []
