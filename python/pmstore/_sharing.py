"""Whether somebody has a vault open."""

from __future__ import annotations

import ctypes
import errno
import os
import signal
import sys
import time

_TRIES = 5  # a scanner or an indexer has a file open for a moment only


def is_open(path: str | bytes | os.PathLike[str] | os.PathLike[bytes]) -> bool:
    """Whether any program, this one included, has the file open. What cannot be found out counts as no: a file of
    another user, a file system without leases."""
    for left in reversed(range(_TRIES)):
        if not _is_open_now(os.fsdecode(path)):
            return False
        if left:
            time.sleep(0.04)
    return True


if sys.platform == "win32":
    _SHARING_VIOLATION = 32
    _kernel = ctypes.WinDLL("kernel32", use_last_error=True)
    _kernel.CreateFileW.restype = ctypes.c_void_p
    _kernel.CreateFileW.argtypes = (
        ctypes.c_wchar_p, ctypes.c_uint32, ctypes.c_uint32, ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint32,
        ctypes.c_void_p,
    )
    _kernel.CloseHandle.argtypes = (ctypes.c_void_p,)

    def _is_open_now(path: str) -> bool:
        read, shared_with_nobody, existing = 0x80000000, 0, 3
        file = _kernel.CreateFileW(path, read, shared_with_nobody, None, existing, 0, None)
        if file == ctypes.c_void_p(-1).value:
            return ctypes.get_last_error() == _SHARING_VIOLATION
        _kernel.CloseHandle(file)
        return False

elif sys.platform == "linux":
    import fcntl

    def _is_open_now(path: str) -> bool:
        try:
            file = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
        except OSError as error:
            return error.errno == errno.EWOULDBLOCK  # somebody has a lease of their own
        try:
            # A lease for writing is given only where nobody else has the file open. Who opens it now waits until it is
            # given up, and we are told, by a signal that is ignored unless the program says otherwise.
            fcntl.fcntl(file, fcntl.F_SETSIG, signal.SIGURG)
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
        except OSError as error:
            return error.errno == errno.EAGAIN
        finally:
            os.close(file)  # gives it up
        return False

else:

    def _is_open_now(path: str) -> bool:
        return False
