"""Passwords by site, with the Python module."""

import pmstore

PASSWORD = 1

with pmstore.Vault("wrapper.vault") as vault:
    if vault.restored:
        print("restored after a crash")

    with vault.transaction():
        for site in ("garden.example", "library.example"):
            known = vault.find(PASSWORD, site)
            if known:
                del vault[known]
            vault.add(PASSWORD, site, b"correct horse")

    vault.write(vault.find(PASSWORD, "library.example"), 8, b"battery staple")
    for item in vault.items(PASSWORD):
        print(f"item {item:08x}: {vault[item].decode()} for {vault.name(item)}")

    try:
        vault[0] = b"item 0 is the library's own"
    except pmstore.Error as error:
        print(error)
