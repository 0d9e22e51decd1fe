"""Vaults of pmstore, the storage base library of a desktop password manager.

    with pmstore.Vault("passwords.vault") as vault:
        item = vault.add(1, "garden.example", b"correct horse")
        print(vault[item])

What the library promises is said in its C header, pmstore.h, and holds here. The library itself knows one thread at a
time; this module lets one call in at a time.
"""

from ._errors import ClosedVault, DamagedItem, Error, VaultInUse
from ._sharing import is_open
from ._vault import Kind, Vault

__all__ = ["ClosedVault", "DamagedItem", "Error", "Kind", "Vault", "VaultInUse", "__version__", "is_open"]

__version__ = "1.1.0"
