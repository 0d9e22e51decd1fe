#include <cstdio>

#include "pmstore.hpp"

int main() {
  try {
    pmstore::Vault vault("hello.vault");
    auto id = vault.find(1, "greeting");  // kind 1, found again by its name
    if (!id) id = vault.add(1, "greeting", "Hello, vault");
    const auto bytes = vault.get(*id);  // lent: valid until the item changes
    if (bytes) std::printf("item %08x: %s\n", *id, std::string(bytes->text()).c_str());
    vault.close();  // says whether everything is on disk; the destructor would not
  } catch (const pmstore::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
