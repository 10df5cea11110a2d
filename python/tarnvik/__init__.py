"""Tarnvik: OTDR traces in Python.

Read a trace from an SR-4731 (.sor) file or the library's own format, inspect and edit
its parameters, cursors and events, analyse it, and write it back; read any SR-4731
file, version 1 or 2, through a read-only reader; samples, levels and distances come
as NumPy arrays. Every failure raises tarnvik.Error with the library's number, source
and description.

    >>> import tarnvik
    >>> trace = tarnvik.CFileOperations().read_trace("sample.sor")
    >>> trace.events[0]
"""

from ._error import Error
from ._tarnvik import *  # noqa: F401,F403  (the classes, enumerations and functions)
from ._tarnvik import __version__  # noqa: F401
