"""The Python interface: what it adds to the functions it calls."""

import ctypes
import os
import tempfile
import unittest

import pmstore


class WrapperTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "a.db")

    def test_numbers_that_do_not_fit_change_nothing(self):
        with pmstore.Vault(self.path) as vault:
            item = vault.add(1, "name", b"kept")
            for number in (item + (1 << 32), -1):
                for call in (lambda: vault[number], lambda: vault.__setitem__(number, b"lost"), lambda: vault.retain(number, 1),
                             lambda: vault.__delitem__(number), lambda: vault.write(number, 0, b"lost"),
                             lambda: vault.items(number), lambda: vault.write(item, 1 << 31, b"lost")):
                    self.assertRaises((OverflowError, ctypes.ArgumentError), call)
            self.assertEqual(vault[item], b"kept")

    def test_a_closed_vault_acts_on_no_other(self):
        closed = pmstore.Vault(self.path)
        closed.close()
        with pmstore.Vault(self.path) as vault, vault.transaction():
            vault.add(1, None, b"held back")
            self.assertRaises(pmstore.Error, closed.sync)
            self.assertRaises(pmstore.Error, lambda: closed.transaction().__enter__())
            self.assertEqual(os.path.getsize(self.path), 0)
        self.assertGreater(os.path.getsize(self.path), 0)


unittest.main()
