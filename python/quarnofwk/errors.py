"""Errors: what the library raises, and the calling thread's current error record."""

from __future__ import annotations

from ctypes import byref, c_int32
from threading import get_ident
from typing import NamedTuple

from ._library import Text, library

OVERFLOW, TYPE_MISMATCH, UNKNOWN_MEMBER, AUTOMATION_ERROR = 6, 13, 438, 440
NOT_IN_COLLECTION = frozenset({9, 3265, -2146825023})  # subscript out of range; the object model's number, and in full
_TEXTS = {OVERFLOW: "Overflow", TYPE_MISMATCH: "Type mismatch",
          UNKNOWN_MEMBER: "Object doesn't support this property or method"}


class ErrorRecord(NamedTuple):
    """The calling thread's last error; number 0 and empty texts before the first."""

    number: int
    source: str
    description: str


class Error(Exception):
    """An error the library raised. A method of a host's own object raises one to choose number and texts."""

    def __init__(self, number: int, source: str = "", description: str = "") -> None:
        super().__init__(number, source, description)
        self.number = number
        self.source = source
        self.description = description

    def __str__(self) -> str:
        return f"{self.description} (error {self.number}{', ' + self.source if self.source else ''})"


class MemberError(Error, AttributeError):
    """Error 438: the object has no such member, or it cannot be used that way."""


class ItemError(Error, IndexError, KeyError):
    """A collection has nothing at that position or under that name."""


def current_error() -> ErrorRecord:
    """The calling thread's current error record."""
    number, source, description = c_int32(), Text(), Text()
    library.qf_get_error(byref(number), byref(source), byref(description))
    return ErrorRecord(number.value, str(source), str(description))


def set_error(number: int, source: str, description: str) -> None:
    """Makes it the calling thread's current error record."""
    texts = [text.encode("utf-8", "replace") for text in (source, description)]
    library.qf_set_error(number, texts[0], len(texts[0]), texts[1], len(texts[1]))


def run_time_error(number: int, detail: str) -> Error:
    """An error found on this side of the boundary, recorded like any other."""
    set_error(number, "CorvexFwk", f"{_TEXTS[number]}: {detail}")
    return failure()


def failure() -> Error:
    """The error to raise after a call that failed."""
    record = current_error()
    error = (MemberError if record.number == UNKNOWN_MEMBER else Error)(*record)
    raised = raised_by_host.pop(get_ident(), None)
    if raised is not None:
        if not isinstance(raised[1], Exception):
            raise raised[1]  # an interrupt goes on as what it is
        if raised[0] == record:
            error.__cause__ = raised[1]
    return error


raised_by_host: dict[int, tuple[ErrorRecord, BaseException]] = {}
"""By thread: what a host's object raised last, until the call that was under way returns. It becomes the cause of
the error which that call raises."""


def settle() -> None:
    """After a call that succeeded although a host's object raised: only an interrupt still counts."""
    raised = raised_by_host.pop(get_ident(), None)
    if raised is not None and not isinstance(raised[1], Exception):
        raise raised[1]
