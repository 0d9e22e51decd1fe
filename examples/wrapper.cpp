// Passwords by site, with the C++ interface.
#include <cstdio>

#include "pmstore.hpp"

constexpr uint32_t kPassword = 1;

static int Show() {
  pmstore::Vault vault("wrapper.vault");
  if (vault.restored()) std::puts("restored after a crash");

  pmstore::Transaction transaction(vault);
  for (const PmChar* site : {PM_TEXT("garden.example"), PM_TEXT("library.example")}) {
    const auto known = vault.find(kPassword, site);
    if (known) vault.remove(*known);
    vault.add(kPassword, site, "correct horse");
  }
  transaction.commit();  // both, or neither

  const uint32_t id = *vault.find(kPassword, PM_TEXT("library.example"));
  vault.modify(id, 8, "battery staple");
  for (const uint32_t each : vault.ids(kPassword)) {
    const std::string_view text = vault.get(each)->text();
    std::printf("item %08x: %.*s\n", each, static_cast<int>(text.size()), text.data());
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
