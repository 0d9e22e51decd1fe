"""Vaults, and the items of one kind."""

from __future__ import annotations

import ctypes
import errno
import os
import threading
import warnings
from collections.abc import ItemsView, Iterator, Mapping, ValuesView
from contextlib import contextmanager
from types import TracebackType
from typing import Union

from ._errors import ClosedVault, DamagedItem, Error, VaultInUse
from ._library import WINDOWS, library, string_at, text, word
from ._sharing import is_open

Data = Union[bytes, bytearray, memoryview]

_REFUSED = -1
_LONGEST_PATH = 255  # UTF-16 units


class _File:
    """What the Vaults of one path share, as the library has it: one handle."""

    def __init__(self, handle: int) -> None:
        self.handle = handle
        self.users = 0
        self.transactions = 0  # begun, one in the other

    def select(self) -> None:
        """Makes the file current: a change that is always refused, but only once the file is current."""
        library.PmModifyItem(self.handle, 1, None, -2, 0, 0)
        ctypes.set_errno(0)


_files: dict[int, _File] = {}  # by handle
_one_at_a_time = threading.RLock()


class Vault:
    """An open vault, closed by close() or at the end of a with statement. A missing file is made.

    The first program to change a vault has it for itself until it closes it: what others change is refused. With
    `alone`, a vault that any program has open, this one included, is not opened: VaultInUse.

    An item is a run of bytes under an ID. IDs, kinds and sizes are numbers of 32 bits; others raise OverflowError. By
    ID a vault is used as a mapping: `vault[item]`, `vault[item] = data`, `del vault[item]`, `item in vault`. The
    library lists items by kind: kind() gives those of one.
    """

    __iter__ = None  # list(vault) is refused: which kind?

    def __init__(self, path: str | bytes | os.PathLike[str] | os.PathLike[bytes], *, alone: bool = False) -> None:
        self._handle: int | None = None
        self.path = os.fsdecode(path)
        name = self.path.replace("/", "\\") if WINDOWS else self.path
        if not WINDOWS:
            name.encode()  # what is not UTF-8 on disk has no name in the library
        with _one_at_a_time:
            if alone and is_open(self.path):
                raise VaultInUse(self.path)
            if library.InitPmTotalDataController() != 1:
                raise MemoryError("the library could not be brought up")
            try:
                handle: int | None = library.OpenDataBaseFile(text(name))
                if handle is None:
                    raise _refusal(self.path)
            except BaseException:
                library.ReleasePmTotalDataController()
                raise
            self._handle = handle
            self._file = _files.setdefault(handle, _File(handle))
            self._file.users += 1

    def __enter__(self) -> Vault:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            warnings.warn(f"unclosed vault {self.path!r}", ResourceWarning, source=self)
            self.close()

    def __repr__(self) -> str:
        return f"<pmstore.Vault {self.path!r}{' closed' if self.closed else ''}>"

    @property
    def closed(self) -> bool:
        """Whether the vault is closed."""
        return self._handle is None

    def close(self) -> None:
        """Writes all changes, those of a transaction that is open too, and closes. The vault is closed whatever the
        error. Once closed, nothing happens."""
        if self._handle is None:
            return
        with self._using() as handle:
            try:
                if self._file.users == 1 and self._file.transactions > 0:
                    self._check("close", library.PmStopTransaction())
                self._check("close", library.PmSyncDirtyData())
            finally:
                self._handle = None
                self._file.users -= 1
                if self._file.users == 0:
                    del _files[handle]
                library.CloseDataBaseFile(handle)
                library.ReleasePmTotalDataController()

    def add(self, kind: int, name: str | None, data: Data) -> int:
        """Stores bytes under a new random ID with a kind and a name (or None); the ID.

        When the disk refuses them, the Error's code is -2 or -4: the item is stored in memory then, among those of its
        kind, and waits there for the next sync.
        """
        content = _bytes(data)
        with self._using() as handle:
            item: int = library.CreateNewItemID(handle, word(kind), text(name))
            if item == 0:
                known = self.find(kind, name) if name is not None else None
                why = f"{name!r} is stored already, as item {known:#010x}" if known else "no memory, or too long a name"
                raise Error(f"no ID of kind {kind}: {why}", self.path)
            self[item] = content
            return item

    def retain(self, item: int, kind: int, name: str | None = None) -> None:
        """Makes an ID of one's own choice ready for its first store."""
        with self._using() as handle:
            if library.RetainID(handle, word(item), word(kind), text(name)) != 1:
                raise Error(f"item {item:#010x} is there already, or has too long a name", self.path)

    def __setitem__(self, item: int, data: Data) -> None:
        """Stores bytes as the whole item, on the disk at return."""
        content = _bytes(data)
        with self._using() as handle:
            stored = library.InserItemToDataBase(handle, word(item), content, len(content), 0)
            self._check(f"store item {item:#010x}", stored)
            self._check(f"write item {item:#010x}", library.PmSyncDirtyData())

    def __getitem__(self, item: int) -> bytes:
        """A copy of the item's bytes. KeyError when there is no such item, DamagedItem when it cannot be read."""
        with self._using() as handle:
            inout = ctypes.c_uint32(word(item))
            address: int | None = library.PmGetItemPtrByID(handle, ctypes.byref(inout))
            if address:
                return ctypes.string_at(address, inout.value)
            if item in self:
                raise DamagedItem(self.path, item)
            raise KeyError(item)

    def get(self, item: int, default: bytes | None = None) -> bytes | None:
        """A copy of the item's bytes, or `default` when there is no such item."""
        try:
            return self[item]
        except KeyError:
            return default

    def __contains__(self, item: object) -> bool:
        """Whether an item is stored under the ID."""
        if not isinstance(item, int) or not 0 < item < 1 << 32:
            return False
        with self._using() as handle:
            # No bytes of size 1 are refused, but only once the ID has been found.
            if library.InserItemToDataBase(handle, item, None, 1, 0) != _REFUSED:
                return False
            pending = ctypes.c_uint32()
            library.GetItemAddons(handle, item, ctypes.byref(pending))
            return pending.value == 0

    def __delitem__(self, item: int) -> None:
        """Removes the item and its ID, and marks its blocks free on the disk. KeyError when there is no such item."""
        with self._using() as handle:
            if word(item) not in self:
                raise KeyError(item)
            self._check(f"delete item {item:#010x}", library.DeleteItemFromDataBase(handle, item, 1))
            self._check(f"write the deletion of item {item:#010x}", library.PmSyncDirtyData())

    def write(self, item: int, offset: int, data: Data) -> None:
        """Writes bytes into an item, lengthening it when they reach past its end, which `offset` may not."""
        content = _bytes(data)
        with self._using() as handle:
            size = len(self[item])  # and an item grows only in memory
            if not 0 <= offset <= size:
                raise OverflowError(f"{offset} is no offset in the {size} bytes of the item")
            changed = library.PmModifyItem(handle, item, content, offset, len(content), 1)
            self._check(f"write into item {item:#010x}", changed)

    def find(self, kind: int, name: str) -> int | None:
        """The stored ID of a kind and a name, or None."""
        with self._using() as handle:
            return library.GetItemIDByUserdata(handle, word(kind), text(name)) or None

    def name(self, item: int) -> str | None:
        """An ID's name, or None."""
        with self._using() as handle:
            pending = ctypes.c_uint32()
            address: int | None = library.GetItemAddons(handle, word(item), ctypes.byref(pending))
            return string_at(address) if address else None

    def count(self, kind: int) -> int:
        """The number of stored items of a kind."""
        with self._using() as handle:
            return int(library.GetItemCount(handle, word(kind)))

    def ids(self, kind: int) -> list[int]:
        """The stored IDs of a kind, in their order."""
        with self._using() as handle:
            found = []
            item: int = library.FirstGetItemID(handle, word(kind))
            while item:
                found.append(item)
                item = library.NextGetItemID(handle, kind)
            return found

    def kind(self, kind: int) -> Kind:
        """The stored items of a kind, as a mapping from IDs to bytes."""
        return Kind(self, word(kind))

    def sync(self) -> None:
        """Writes all changes. Inside a transaction it writes nothing."""
        with self._using():
            self._check("sync", library.PmSyncDirtyData())

    @contextmanager
    def transaction(self) -> Iterator[Vault]:
        """Writes what is done in it at its end, all or nothing. It cannot be undone: an exception writes as well. One
        inside another is part of it: what is done is written at the outer end."""
        with self._using():
            if self._file.transactions == 0:
                self._check("transaction", library.PmStartTransaction())
            self._file.transactions += 1
        try:
            yield self
        finally:
            with _one_at_a_time:
                if self._file.users > 0:  # else the close has ended it
                    self._file.transactions -= 1
                    if self._file.transactions == 0:
                        self._file.select()
                        self._check("transaction", library.PmStopTransaction())

    @contextmanager
    def _using(self) -> Iterator[int]:
        """The handle, its file the current one, while no other thread is in the library."""
        with _one_at_a_time:
            if self._handle is None:
                raise ClosedVault(self.path)
            self._file.select()
            yield self._handle

    def _check(self, what: str, code: int) -> None:
        if code != 0:
            raise Error(what, self.path, code, ctypes.get_errno())


class Kind(Mapping[int, bytes]):
    """The stored items of one kind, as they are at each use: a mapping from IDs to bytes, in the order of ids()."""

    def __init__(self, vault: Vault, kind: int) -> None:
        self._vault = vault
        self._kind = kind

    def __repr__(self) -> str:
        return f"<kind {self._kind} of {self._vault!r}>"

    def __len__(self) -> int:
        return self._vault.count(self._kind)

    def __iter__(self) -> Iterator[int]:
        return iter(self._vault.ids(self._kind))

    def __contains__(self, item: object) -> bool:
        """Goes through the IDs of the kind."""
        return item in self._vault and item in self._vault.ids(self._kind)

    def __getitem__(self, item: int) -> bytes:
        if item not in self:
            raise KeyError(item)
        return self._vault[item]

    def items(self) -> _Items:
        """Pairs of an ID and its bytes."""
        return _Items(self)

    def values(self) -> _Values:
        """The bytes of each item."""
        return _Values(self)

    def _read(self, item: int) -> bytes:
        return self._vault[item]


class _Items(ItemsView[int, bytes]):
    """Without looking each ID up among those of the kind once more."""

    _mapping: Kind

    def __iter__(self) -> Iterator[tuple[int, bytes]]:
        return ((item, self._mapping._read(item)) for item in self._mapping)


class _Values(ValuesView[bytes]):
    _mapping: Kind

    def __iter__(self) -> Iterator[bytes]:
        return (self._mapping._read(item) for item in self._mapping)


def _bytes(data: Data) -> bytes:
    if not isinstance(data, (bytes, bytearray, memoryview)):
        raise TypeError(f"an item is bytes, not {type(data).__name__}")
    return bytes(data)


def _refusal(path: str) -> Error:
    """Why a vault was not opened. The library gives no reason; what it does is tried once more, for the system's."""
    what = "cannot be opened as a vault"
    try:
        obstacle = _obstacle(path)
    except OSError as error:
        return Error(what, path, number=error.errno)
    return Error(f"{what}: {obstacle}" if obstacle else what, path)


def _obstacle(path: str) -> str | None:
    """What keeps a vault from being opened or made, in words; an OSError where the system has a word for it."""
    if len(path.encode("utf-16-le", "surrogatepass")) // 2 > _LONGEST_PATH:
        return f"more than {_LONGEST_PATH} characters"
    folder, name = os.path.split(path)
    folder = folder or os.curdir
    if not os.path.isdir(folder):
        return f"there is no folder {folder}"
    if not os.path.exists(path) and not os.access(folder, os.W_OK):
        raise PermissionError(errno.EACCES, os.strerror(errno.EACCES))
    if not os.path.lexists(path):
        os.lstat(os.path.join(folder, f".{name}.bak"))  # fails where so long a name is not possible
        return None
    os.close(os.open(path, os.O_RDWR))
    place, file = os.path.split(os.path.realpath(path))
    if os.path.lexists(os.path.join(place, f".{file}.pmj")):
        return "a crash left its journal, and the recovery cannot be written, for want of room perhaps"
    return "it is none, it is damaged, or there is no memory"
