import pmstore

with pmstore.Vault("hello.vault") as vault:
    item = vault.find(1, "greeting") or vault.add(1, "greeting", b"Hello, vault")  # kind 1, found again by its name
    print(f"item {item:08x}: {vault[item].decode()}")
