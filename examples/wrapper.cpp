// Passwords by site, with the C++ interface.
#include <cstdio>

#include "pmstore.hpp"

constexpr uint32_t kPassword = 1;

static int Show() {
  pmstore::Vault vault("wrapper.vault");

  pmstore::Transaction transaction(vault);
  uint32_t last = 0;
  for (const char* site : {"garden.example", "library.example"}) {
    if (const auto known = vault.find(kPassword, site)) vault.remove(*known);
    last = vault.add(kPassword, site, "correct horse");
  }
  transaction.commit();  // both, or neither

  vault.modify(last, 8, "battery staple");
  for (const auto& [id, bytes] : vault.items(kPassword)) {
    const std::string_view text = bytes ? bytes->text() : "damaged";
    std::printf("item %08x: %.*s for %s\n", id, static_cast<int>(text.size()), text.data(),
                vault.nameOf(id)->c_str());
  }

  std::error_code error;
  vault.put(0, "item 0 is the library's own", pmstore::Sync::kNow, error);
  std::printf("put: %s\n", error.message().c_str());
  vault.close();
  return 0;
}

int main() {
  try {
    return Show();
  } catch (const pmstore::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
