"""Vaults of pmstore, the storage base library of a desktop password manager.

    with pmstore.Vault("passwords.vault") as vault:
        item = vault.add(1, "garden.example", b"correct horse")
        print(vault[item])

What the library promises is said in its C header, pmstore.h, and holds here. It is used by one thread at a time. The shared
library is found by the loader, or named by the environment variable PMSTORE_LIBRARY.
"""

import ctypes
import os
import sys
from contextlib import contextmanager

__all__ = ["Error", "Vault"]


class _Word(ctypes.c_uint32):
    """A number of 32 bits as an argument; ctypes itself would cut a larger one."""

    @classmethod
    def from_param(cls, value):
        if not 0 <= value < 1 << 32:
            raise OverflowError(f"{value} is no number of 32 bits")
        return cls(value)


class _Offset(ctypes.c_int32):
    @classmethod
    def from_param(cls, value):
        if not -(1 << 31) <= value < 1 << 31:
            raise OverflowError(f"{value} is no offset")
        return cls(value)


def _load():
    default = "pmstore.dll" if sys.platform == "win32" else "libpmstore.so.1"
    library = ctypes.CDLL(os.environ.get("PMSTORE_LIBRARY", default))
    handle, text, word, flag = ctypes.c_void_p, ctypes.c_char_p, _Word, ctypes.c_int32
    code, number, word_out = ctypes.c_int32, ctypes.c_uint32, ctypes.POINTER(ctypes.c_uint32)
    for name, result, *arguments in (
        ("InitPmTotalDataController", code),
        ("ReleasePmTotalDataController", None),
        ("FExists", code, text),
        ("OpenDataBaseFile", handle, text),
        ("CloseDataBaseFile", code, handle),
        ("PmRestoreBackupFile", code, text),
        ("CreateNewItemID", number, handle, word, text),
        ("RetainID", code, handle, word, word, text),
        ("GetItemIDByUserdata", number, handle, word, text),
        ("GetItemAddons", ctypes.c_void_p, handle, word, word_out),
        ("FirstGetItemID", number, handle, word),
        ("NextGetItemID", number, handle, word),
        ("GetItemCount", number, handle, word),
        ("InserItemToDataBase", code, handle, word, text, word, flag),
        ("DeleteItemFromDataBase", code, handle, word, flag),
        ("PmModifyItem", code, handle, word, text, _Offset, word, flag),
        ("PmGetItemPtrByID", ctypes.c_void_p, handle, word_out),
        ("PmSyncDirtyData", code),
        ("PmStartTransaction", code),
        ("PmStopTransaction", code),
    ):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


_library = _load()

_MESSAGES = {
    -1: "no such item, an argument out of range, or no memory",
    -2: "the data file or its backup cannot be opened",
    -3: "the ID is 0",
    -4: "a write failed",
    -5: "the ID is unknown",
}


class Error(Exception):
    """A call failed; `code` is the library's, or 0 where it gave none."""

    def __init__(self, what, code=0):
        self.code = code
        super().__init__(f"{what}: {_MESSAGES.get(code, 'failed')}" if code else what)


def _check(what, code):
    if code != 0:
        raise Error(what, code)


def _text(string):
    """The library's strings are UTF-16 units up to a zero one."""
    if string is None:
        return None
    if "\0" in string:
        raise ValueError("a zero character ends a string")
    return string.encode("utf-16-le", "surrogatepass") + b"\0\0"


def _backup_of(path):
    separators = "\\" if sys.platform == "win32" else "/\\"
    name = max(path.rfind(separator) for separator in separators) + 1
    return f"{path[:name]}.{path[name:]}.bak"


class Vault:
    """An open vault, closed by close() or at the end of a with statement.

    IDs, kinds and sizes are numbers of 32 bits; others are refused with an OverflowError or a ctypes.ArgumentError. A
    missing file is made. A backup that a crash left beside the file is restored first; `restored` says so.
    """

    _handle = None

    def __init__(self, path):
        path = os.fspath(path)
        if sys.platform == "win32":
            path = path.replace("/", "\\")
        if _library.InitPmTotalDataController() != 1:
            raise Error("the library could not be brought up")
        try:
            self.restored = _library.FExists(_text(_backup_of(path))) == 0
            if self.restored and _library.PmRestoreBackupFile(_text(path)) != 0:
                raise Error(f"the backup of {path} cannot be restored")
            self._handle = _library.OpenDataBaseFile(_text(path))
            if self._handle is None:
                raise Error(f"{path} cannot be opened as a vault")
            if self.restored:
                _library.CloseDataBaseFile(self._handle)  # the restore counted as an open of its own
        except Exception:
            _library.ReleasePmTotalDataController()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def __del__(self):
        if self._handle is not None:
            self.close()

    def close(self):
        """Writes all changes and closes. The vault is closed whatever the error."""
        if self._handle is None:
            return
        try:
            self.sync()
        finally:
            _library.CloseDataBaseFile(self._handle)
            _library.ReleasePmTotalDataController()
            self._handle = None

    def add(self, kind, name, data):
        """Stores bytes under a new random ID with a kind and a name (or None); the ID.

        When the disk refuses them, the Error's code is -2 or -4: the item is stored in memory then, among items(kind),
        and waits there for the next sync.
        """
        item = _library.CreateNewItemID(self._handle, kind, _text(name))
        if item == 0:
            raise Error(f"no ID was made: kind {kind} and name {name!r} may be in use")
        self[item] = data
        return item

    def retain(self, item, kind, name=None):
        """Makes an ID of one's own choice ready for its first store."""
        if _library.RetainID(self._handle, item, kind, _text(name)) != 1:
            raise Error(f"the ID {item} is in use")

    def __setitem__(self, item, data):
        """Stores bytes as the whole item, on the disk at return."""
        data = bytes(data)
        _check("store", _library.InserItemToDataBase(self._handle, item, data, len(data), 0))
        _check("write what was stored", _library.PmSyncDirtyData())

    def __getitem__(self, item):
        """A copy of the item's bytes. KeyError when there is no such item or when it is damaged."""
        word = _Word.from_param(item)
        address = _library.PmGetItemPtrByID(self._handle, ctypes.byref(word))
        if not address:
            raise KeyError(item)
        return ctypes.string_at(address, word.value)

    def __delitem__(self, item):
        """Removes the item and its ID, and marks its blocks free on the disk."""
        _check("delete", _library.DeleteItemFromDataBase(self._handle, item, 1))
        _check("delete", _library.PmSyncDirtyData())

    def write(self, item, offset, data):
        """Writes bytes into an item, lengthening it when they reach past its end."""
        self[item]  # an item grows only in memory
        data = bytes(data)
        _check("write", _library.PmModifyItem(self._handle, item, data, offset, len(data), 1))

    def find(self, kind, name):
        """The stored ID of a kind and a name, or None."""
        return _library.GetItemIDByUserdata(self._handle, kind, _text(name)) or None

    def name(self, item):
        """An ID's name, or None."""
        pending = ctypes.c_uint32()
        address = _library.GetItemAddons(self._handle, item, ctypes.byref(pending))
        if not address:
            return None
        units = ctypes.cast(address, ctypes.POINTER(ctypes.c_uint16))
        length = next(i for i in range(sys.maxsize) if units[i] == 0)
        return ctypes.string_at(address, 2 * length).decode("utf-16-le", "surrogatepass")

    def count(self, kind):
        """The number of stored items of a kind."""
        return _library.GetItemCount(self._handle, kind)

    def items(self, kind):
        """The stored IDs of a kind, in their order."""
        found = []
        item = _library.FirstGetItemID(self._handle, kind)
        while item:
            found.append(item)
            item = _library.NextGetItemID(self._handle, kind)
        return found

    def _select(self):
        """Makes the file current: a change that is always refused, but only once the file is current."""
        if self._handle is None:
            raise Error("the vault is closed")
        _library.PmModifyItem(self._handle, 1, None, -2, 0, 0)

    def sync(self):
        """Writes all changes. Inside a transaction it writes nothing."""
        self._select()
        _check("sync", _library.PmSyncDirtyData())

    @contextmanager
    def transaction(self):
        """Writes what is done in it at its end, all or nothing. It cannot be undone: an exception writes as well."""
        self._select()
        _check("transaction", _library.PmStartTransaction())
        try:
            yield self
        finally:
            self._select()
            _check("transaction", _library.PmStopTransaction())
