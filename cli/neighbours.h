// What stands beside a vault's file, its journal, its backup and what was set aside, and what is to be warned of there.
//
// Codes that stay the same:
//   backup-foreign      the backup has no item in common with the vault
//   backup-older        the backup holds something else and was written before the vault's file
//   left-aside          a rescue takes nothing from a journal or a backup, which has no item in common with the vault
//   backup-unreadable   the system does not give the backup
//   journal-foreign     a journal stands beside the vault that is not this file's, or is damaged
//   journal-torn        the last change of a journal that counts by itself is not whole
//   journal-unreadable  the system does not give the journal
//   and as notes, which are nothing to worry about:
//   set-aside           a journal or a backup that was not this file's stands beside it
//   unfinished          what a command that was ended left of a file that it was making
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/image.h"

namespace cli {

struct Warning {
  std::string code;
  std::string what;  // sentences
  bool isNote = false;
  std::string advice = "";  // what to do, where nothing else is
};

// Warns of what stands beside the vault. `image` is the vault's, read for a rescue.
std::vector<Warning> WarnOfNeighbours(const VaultPath& path, const Image& image);

// Warns of a backup that is not this vault's, or not its last one.
std::vector<Warning> WarnOfBackup(const Image& file, const Image& backup, bool differ);

// The backup beside a vault; null, and one warning more, when it cannot be read.
std::unique_ptr<Image> OpenBackup(const VaultPath& path, std::vector<Warning>& warnings);

}  // namespace cli
