"""Passwords by site, with the Python module."""

import pmstore

PASSWORD = 1

with pmstore.Vault("wrapper.vault") as vault:
    with vault.transaction():
        for site in ("garden.example", "library.example"):
            known = vault.find(PASSWORD, site)
            if known:
                del vault[known]
            item = vault.add(PASSWORD, site, b"correct horse")

    vault.write(item, 8, b"battery staple")
    for item, password in vault.kind(PASSWORD).items():
        print(f"item {item:08x}: {password.decode()} for {vault.name(item)}")

    try:
        vault[0] = b"item 0 is the library's own"
    except pmstore.Error as error:
        print(error)
