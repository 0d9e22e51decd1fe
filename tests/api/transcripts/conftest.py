"""What the transcripts know (*.txt): the library's calls, and what happens to files meanwhile. Bytes go with the ID."""

import ctypes
import errno
import os
import pathlib
import resource
import shutil

import pmstore
import pytest
from pmstore._library import library, text

STATES = pathlib.Path("states")  # what keep has put aside


def bytes_of(item, size):
    return (b"%d " % item * (size // 2 + 1))[:size]


def beside(path):
    path = pathlib.Path(path)
    return [path, path.with_name(f".{path.name}.pmj"), path.with_name(f".{path.name}.bak")]


def opened(path):
    return library.OpenDataBaseFile(text(path))


def restore(path):
    return library.PmRestoreBackupFile(text(path))


def get(vault, item):
    """The item's size, when it is there."""
    word = ctypes.c_uint32(item)
    found = library.PmGetItemPtrByID(vault, word)
    if found is None:
        assert word.value == item, "a failed read left its mark"
        return None
    return word.value


def addons(vault, item):
    pending = ctypes.c_uint32(77)
    found = library.GetItemAddons(vault, item, pending)
    return {0: "stored", 1: "pending", 77: "untold"}[pending.value] + (", named" if found else "")


def insert(vault, item, size, sync=0):
    return library.InserItemToDataBase(vault, item, bytes_of(item, size), size, sync)


def modify(vault, item, offset, size, sync=0):
    return library.PmModifyItem(vault, item, bytes_of(item + 1, size), offset, size, sync)


def store(vault, item, size=1500):
    library.RetainID(vault, item, 1, None)
    return insert(vault, item, size, 1)


def keep(path, name):
    """Puts the vault aside as it stands, with its journal and its backup."""
    for file, kind in zip(beside(path), ("data", "journal", "backup")):
        if file.exists():
            STATES.mkdir(exist_ok=True)
            shutil.copy(file, STATES / f"{name}.{kind}")


def lay(path, data=None, journal=None, backup=None):
    """Makes a vault of parts that were put aside, with nothing else beside it."""
    for file in [*pathlib.Path().glob("*.db"), *pathlib.Path().glob(".*")]:
        if not (data and file.name == path):
            file.unlink()
    for file, name, kind in zip(beside(path), (data, journal, backup), ("data", "journal", "backup")):
        if name:
            shutil.copyfile(STATES / f"{name}.{kind}", file)


def state(path):
    """The names of the states that the data file equals, whatever stands in free blocks."""
    def blank(file):
        data = pathlib.Path(file).read_bytes()
        return [block if block[1] != 2 else 2 for block in (data[at:at + 1024] for at in range(0, len(data), 1024))]
    return sorted(file.stem for file in STATES.glob("*.data") if blank(file) == blank(path))


def opens(path, opened_before=False):
    """The state that an open gives."""
    vault = opened(path)
    if vault is not None:
        found = state(path)
        library.CloseDataBaseFile(vault), opened_before and library.CloseDataBaseFile(vault)
        return found


def restores(path):
    """The state that a restore gives, or why there is none."""
    return restore(path) or opens(path, opened_before=True)


def damage(path, offset):
    """Changes a bit and, like a medium, leaves the file's time alone."""
    data, times = bytearray(pathlib.Path(path).read_bytes()), os.stat(path)
    data[offset] ^= 1
    pathlib.Path(path).write_bytes(data)
    os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))


def packet(path, at):
    return pathlib.Path(path).read_bytes()[at:at + 1024]


def within(limit, most, call):
    """What a call answers while the process may have no more of something: RLIMIT_FSIZE is a full disk."""
    before = resource.getrlimit(limit)
    resource.setrlimit(limit, (most, before[1]))
    try:
        return call()
    finally:
        resource.setrlimit(limit, before)


def here():
    return sorted(file.name for file in pathlib.Path().iterdir() if file != STATES)


@pytest.fixture(autouse=True)
def prompt(doctest_namespace, monkeypatch, tmp_path):
    monkeypatch.chdir(tmp_path)
    doctest_namespace.update(globals())
    library.InitPmTotalDataController()
    yield
    library.ReleasePmTotalDataController()
