// What the files beside a vault say about it.
//
// Codes that stay the same:
//   backup-foreign    the backup has no item in common with the vault
//   backup-older      the backup holds something else and was written before the vault's file
//   journal-foreign   a journal stands beside the vault that is not this file's, or is damaged
//   set-aside         a journal or a backup that was not this file's stands beside it
#pragma once

#include <string>
#include <vector>

#include "cli/inspect.h"

namespace cli {

struct Warning {
  std::string code;
  std::string what;  // a sentence
};

// Whether both hold items and share none.
bool IsForeign(const Image& one, const Image& other);

// Warns of what stands beside the vault. `image` is the vault's, or null when its file is gone.
std::vector<Warning> WarnOf(const VaultPath& path, const Image* image);

// Warns of a backup that is not this vault's, or not its last one.
std::vector<Warning> WarnOfPair(const Image& file, const Image& backup, bool differ);

}  // namespace cli
