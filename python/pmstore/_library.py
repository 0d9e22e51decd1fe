"""The shared library, and the functions of it that this package calls.

It is the one that the environment variable PMSTORE_LIBRARY names, or the one inside this package (wheels bring it), or
the one that the system's loader finds.
"""

from __future__ import annotations

import ctypes
import operator
import os
import sys
from pathlib import Path
from typing import Any

WINDOWS = sys.platform == "win32"


def _load() -> ctypes.CDLL:
    name = "pmstore.dll" if WINDOWS else "libpmstore.so.1"
    inside = Path(__file__).with_name(name)
    file = os.environ.get("PMSTORE_LIBRARY") or (str(inside) if inside.exists() else name)
    try:
        return ctypes.CDLL(file, use_errno=True)
    except OSError as error:
        raise ImportError(
            f"{error}: the library is not installed, or the loader was not told of it (ldconfig does that); "
            "PMSTORE_LIBRARY may name it"
        ) from error


def _declare(library: ctypes.CDLL) -> None:
    handle, text, code, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int32, ctypes.c_uint32
    word = ctypes.POINTER(ctypes.c_uint32)
    signatures: dict[str, tuple[Any, ...]] = {  # the result, then the arguments
        "InitPmTotalDataController": (code,),
        "ReleasePmTotalDataController": (None,),
        "OpenDataBaseFile": (handle, text),
        "CloseDataBaseFile": (code, handle),
        "CreateNewItemID": (number, handle, number, text),
        "RetainID": (code, handle, number, number, text),
        "GetItemIDByUserdata": (number, handle, number, text),
        "GetItemAddons": (ctypes.c_void_p, handle, number, word),
        "FirstGetItemID": (number, handle, number),
        "NextGetItemID": (number, handle, number),
        "GetItemCount": (number, handle, number),
        "InserItemToDataBase": (code, handle, number, text, number, code),
        "DeleteItemFromDataBase": (code, handle, number, code),
        "PmModifyItem": (code, handle, number, text, code, number, code),
        "PmGetItemPtrByID": (ctypes.c_void_p, handle, word),
        "PmSyncDirtyData": (code,),
        "PmStartTransaction": (code,),
        "PmStopTransaction": (code,),
    }
    for name, (result, *arguments) in signatures.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments


library = _load()
_declare(library)


def word(number: int) -> int:
    """A number of 32 bits as an argument; ctypes itself would cut a larger one."""
    if not 0 <= operator.index(number) < 1 << 32:
        raise OverflowError(f"{number} is no number of 32 bits")
    return number


def text(string: str | None) -> bytes | None:
    """A string as an argument: UTF-16 units up to a zero one."""
    if string is None:
        return None
    if "\0" in string:
        raise ValueError("a zero character ends a string")
    return string.encode("utf-16-le", "surrogatepass") + b"\0\0"


def string_at(address: int) -> str:
    """A string that the library lends."""
    units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
    length = 0
    while units[length] != 0:
        length += 1
    return ctypes.string_at(address, 2 * length).decode("utf-16-le", "surrogatepass")
