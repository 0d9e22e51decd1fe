// A vault open for writing, on the library's exports.
//
// Invariants:
//  1. All changes are made in one transaction. A Vault that goes out of scope without commit() is not closed
//     in the library: nothing that was begun reaches the disk, and the process is expected to end. A file that
//     the Vault has made is removed again.
#pragma once

#include <cstdint>
#include <optional>

#include "cli/console.h"
#include "cli/host.h"
#include "cli/image.h"
#include "pmstore.h"

namespace cli {

class Vault {
 public:
  enum class Opening { kExisting, kCreateIfMissing };

  Vault(const VaultPath& path, Opening opening);
  ~Vault();
  Vault(const Vault&) = delete;
  Vault& operator=(const Vault&) = delete;

  // The stored item of that kind and name, 0 when there is none.
  uint32_t find(uint32_t kind, const PmString& name) const;

  // Stores a new item under an ID that the library draws, or under `id`, which must be unused.
  uint32_t add(uint32_t kind, const std::optional<PmString>& name, const Bytes& bytes);
  void add(uint32_t id, uint32_t kind, const std::optional<PmString>& name, const Bytes& bytes);

  void replace(uint32_t id, const Bytes& bytes);
  void remove(uint32_t id);

  // Removes an item that has packets and no record: it is given a record, and goes with that.
  void removeUnlisted(uint32_t id);

  // Writes every change, closes the vault and brings the library down; says what that has set aside.
  void commit(Console& console);

 private:
  void store(uint32_t id, const Bytes& bytes);
  [[noreturn]] void refuse(int32_t result, const std::string& doing) const;

  VaultPath path_;
  bool isNew_;                         // made here, and not committed yet
  std::vector<std::string> setAside_;  // what had been set aside before
  DataBaseHandle* handle_ = nullptr;
  uint64_t toWrite_ = 0;  // bytes of blocks, about
  SystemCall call_;
};

// Why the library did not open or write a vault, to stand behind a sentence: what bars the place of one of its files,
// the system's reason, or what is left when there is none.
std::string WhyRefused(const VaultPath& path, const std::string& reason);

}  // namespace cli
