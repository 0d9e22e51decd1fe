"""What is raised when a call of the library fails."""

from __future__ import annotations

import errno
import os

_MEANINGS = {
    -1: "no such item, an argument out of range, or no memory",
    -2: "the data file or its backup cannot be opened, or another program has changed or locked it",
    -3: "the ID is 0",
    -4: "a write failed",
    -5: "the ID is unknown",
}

# What the system may say about a file that cannot be opened or written. Other numbers are left over from calls that
# the library makes to look for something, or to try what a file system may not have.
_REASONS = frozenset(
    (errno.EACCES, errno.EPERM, errno.ENOSPC, errno.EDQUOT, errno.EFBIG, errno.EIO, errno.EROFS, errno.EMFILE,
     errno.ENFILE, errno.ENOMEM, errno.ENAMETOOLONG, errno.EISDIR, errno.ENOTDIR, errno.ELOOP)
)


class Error(Exception):
    """A call failed.

    `code` is the library's, or 0 where it gave none; `path` is the vault's; `errno` is the system's number where the
    system gave a reason, else None.
    """

    def __init__(self, what: str, path: str, code: int = 0, number: int | None = None) -> None:
        self.code = code
        self.path = path
        self.errno = number if number in _REASONS else None
        parts = [path, what]
        if code != 0:
            parts.append(_MEANINGS.get(code, "failed"))
        if self.errno is not None:
            parts.append(os.strerror(self.errno))
        super().__init__(": ".join(parts))


class DamagedItem(Error):
    """An ID is stored, but its bytes cannot be read: they are damaged, or there are none, as of an item that was stored
    with no bytes and whose vault has been closed since. `item` is the ID."""

    def __init__(self, path: str, item: int) -> None:
        self.item = item
        super().__init__(f"item {item:#010x} is damaged, or was stored with no bytes", path)


class VaultInUse(Error):
    """The vault was to be opened alone, and a program has it open."""

    def __init__(self, path: str) -> None:
        super().__init__("a program has the vault open", path)


class ClosedVault(Error, ValueError):
    """The vault is closed."""

    def __init__(self, path: str) -> None:
        super().__init__("the vault is closed", path)
