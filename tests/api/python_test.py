"""The Python package: what it adds to the functions it calls."""

import errno
import os
import threading

import pmstore
import pytest


@pytest.fixture
def path(tmp_path):
    return tmp_path / "a.db"


def test_what_does_not_fit_is_refused_and_changes_nothing(path):
    with pmstore.Vault(path) as vault:
        item = vault.add(1, "näme\U0001f511", bytearray(b"kept"))
        for number in (item + (1 << 32), -1):
            for call in (lambda: vault[number], lambda: vault.__setitem__(number, b"lost"), lambda: vault.retain(number, 1),
                         lambda: vault.__delitem__(number), lambda: vault.write(number, 0, b"lost"),
                         lambda: vault.ids(number), lambda: vault.write(item, number, b"lost")):
                pytest.raises(OverflowError, call)
        for data in (5, "text", None, [1]):
            for call in (lambda: vault.add(1, None, data), lambda: vault.__setitem__(item, data),
                         lambda: vault.write(item, 0, data)):
                pytest.raises(TypeError, call)
        pytest.raises(pmstore.Error, vault.add, 1, "näme\U0001f511", b"twice").match("stored already")
        pytest.raises(TypeError, lambda: list(vault))
        assert (vault[item], vault.ids(1), vault.name(item)) == (b"kept", [item], "näme\U0001f511")


def test_a_kind_is_a_mapping(path):
    with pmstore.Vault(path) as vault:
        stored = {vault.add(7, name, data): data for name, data in (("a", b"one"), (None, b"two"), ("c", b""))}
        other = vault.add(8, "a", b"other")
        kind, first = vault.kind(7), next(iter(stored))
        assert dict(kind) == stored == kind and list(kind.values()) == list(stored.values())
        assert len(kind) == 3 and first in kind and other not in kind and other in vault and "a" not in vault
        assert kind.get(other, b"default") == b"default" and vault.get(123) is None
        del vault[first]
        assert first not in vault and list(kind) == list(stored)[1:]
        for call in (lambda: vault[first], lambda: vault.__delitem__(first), lambda: vault.write(first, 0, b""), lambda: kind[other]):
            pytest.raises(KeyError, call)
        vault.retain(first, 7)
        assert first not in vault and vault.get(first) is None, "an ID is no item before its first store"


def test_damage_is_no_absence(path):
    with pmstore.Vault(path) as vault:
        damaged, empty, sound = vault.add(1, None, b"damage me"), vault.add(1, None, b""), vault.add(1, None, b"sound")
    path.write_bytes(path.read_bytes().replace(b"damage me", b"damaged!!", 1))
    with pmstore.Vault(path) as vault:
        for item in (damaged, empty):
            assert item in vault
            assert pytest.raises(pmstore.DamagedItem, vault.get, item).value.item == item
        assert vault[sound] == b"sound"


def test_a_closed_vault_says_so_and_acts_on_no_other(path):
    closed = pmstore.Vault(path)
    closed.close()
    with pmstore.Vault(path) as vault, vault.transaction():
        vault.add(1, None, b"held back")
        for call in (closed.sync, lambda: closed[1], lambda: closed.__setitem__(1, b""), lambda: closed.__delitem__(1),
                     lambda: 1 in closed, lambda: closed.add(1, None, b""), lambda: closed.retain(1, 1), lambda: closed.get(1),
                     lambda: closed.find(1, "a"), lambda: closed.name(1), lambda: closed.count(1), lambda: closed.ids(1),
                     lambda: closed.write(1, 0, b""), lambda: len(closed.kind(1)), lambda: closed.transaction().__enter__()):
            pytest.raises(pmstore.ClosedVault, call)
        closed.close()
        assert (closed.closed, vault.closed, path.stat().st_size) == (True, False, 0)
    assert path.stat().st_size > 0


def test_transactions_nest_and_a_close_ends_them(path):
    vault, same = pmstore.Vault(path), pmstore.Vault(path)
    with vault.transaction():
        with same.transaction():
            vault.add(1, None, b"one")
        same.close()
        assert path.stat().st_size == 0, "the inner end and the close of another user ended the outer one"
    size = path.stat().st_size
    with vault.transaction():
        vault.add(1, None, b"two")
        vault.close()
    assert path.stat().st_size > size > 0


@pytest.mark.parametrize("prepare, number", [
    (lambda path: path.mkdir(), errno.EISDIR),
    (lambda path: path.write_bytes(b"no vault"), None),
    (lambda path: path.symlink_to("/no/such/folder/file"), None),
])
def test_errors_name_the_path_and_the_reason(path, prepare, number):
    prepare(path)
    error = pytest.raises(pmstore.Error, pmstore.Vault, path).value
    assert (error.path, error.errno) == (str(path), number) and str(path) in str(error)
    assert number is None or os.strerror(number) in str(error)
    assert "no folder" in str(pytest.raises(pmstore.Error, pmstore.Vault, path / "b" / "c").value)


def test_who_wants_a_vault_alone_gets_none_that_is_open(path):
    with pmstore.Vault(path, alone=True), pmstore.Vault(path):
        pytest.raises(pmstore.VaultInUse, pmstore.Vault, path, alone=True).match(str(path))
    assert not pmstore.is_open(path)


def test_threads_take_turns(path):
    with pmstore.Vault(path) as vault, pmstore.Vault(path.with_name("b.db")) as other:
        def add(to):
            with to.transaction():
                for number in range(50):
                    to.add(1, str(number), b"%d" % number)
        threads = [threading.Thread(target=add, args=[each]) for each in (vault, other)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        assert list(vault.kind(1).values()) == list(other.kind(1).values()) == [b"%d" % number for number in range(50)]
