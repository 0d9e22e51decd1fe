// The journal that stands beside a vault's file, and what it is to the file.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/blockplaces.h"
#include "cli/unicode.h"
#include "platform/platform.h"
#include "storage/overlay.h"

namespace cli {

enum class JournalRole {
  kNone,        // there is none
  kLaid,        // it is the file's own, and laid over it
  kLaidOnRest,  // for a rescue: laid over what is left of its file, for which a program would set it aside
  kForeign,     // it is not the file's own, or damaged: a program that opens the vault sets it aside
  kUnreadable,  // for a rescue: the system does not give it
};

inline bool IsLaid(JournalRole journal) {
  return journal == JournalRole::kLaid || journal == JournalRole::kLaidOnRest;
}

// As a program would find the file; or with everything that can be found, for whoever rescues it.
enum class Reading { kAsPrograms, kForRescue };

struct JournalBeside {
  PmString path;  // empty for none
  JournalRole state = JournalRole::kNone;
  std::string whyUnreadable;                  // ": Permission denied"
  std::unique_ptr<storage::Overlay> overlay;  // when it is laid
  std::optional<BlockPlaces> places;          // when it is laid on the rest of the file
  platform::File file;                        // only for a rescue
  bool endsTorn = false;  // it is laid, and ends in a frame that is not whole; only for a rescue

  // Lays the journal over a file of `size` bytes. Fails when it cannot be read, but not for a rescue.
  void lay(const platform::File& data, uint64_t size, Reading reading);

 private:
  void layOnRest(const platform::File& data, uint64_t size);
};

}  // namespace cli
