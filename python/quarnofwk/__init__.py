"""QuarnoFwk for Python: the library's classes, created by name and driven through their members.

    from quarnofwk import Dispatch
    log = Dispatch("CSuperLog")
    log.fileName = "events.txt"
    log.WriteLog("started")
"""

from ._library import library as _native
from ._objects import Collection, Dispatch, Object, classes
from ._values import ByRef, Missing, Null
from .errors import Error, ErrorRecord, ItemError, MemberError, current_error

__version__: str = _native.qf_version().decode()
__all__ = ["ByRef", "Collection", "Dispatch", "Error", "ErrorRecord", "ItemError", "MemberError", "Missing", "Null",
           "Object", "classes", "current_error"]
