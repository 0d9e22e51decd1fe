// What the files beside a vault say about it, and which of them a rescue can draw from.
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

#include "cli/inspect.h"

namespace cli {

struct Warning {
  std::string code;
  std::string what;  // sentences
  bool isNote = false;
  std::string advice = "";  // what to do, where nothing else is
};

// Whether both hold items and share none.
bool IsForeign(const Image& one, const Image& other);

// The items of which the backup holds an intact packet that stands nowhere in the vault, or a record that is not the vault's:
// what goes with the backup. Nothing of a copy of the vault, whole or half, is among them.
std::vector<Record> OnlyInBackup(const Image& vault, const Image& backup);

// Warns of what stands beside the vault. `image` is the vault's, read for a rescue.
std::vector<Warning> WarnOf(const VaultPath& path, const Image& image);

// Warns of a backup that is not this vault's, or not its last one.
std::vector<Warning> WarnOfPair(const Image& file, const Image& backup, bool differ);

// The backup beside a vault; null, and one warning more, when it cannot be read.
std::unique_ptr<Image> OpenBackup(const VaultPath& path, std::vector<Warning>& warnings);

// The vault, then what else stands beside it and is of the same vault, read for a rescue: its journal, where that cannot be
// laid over it, and its backup. What is left aside is warned of.
std::vector<std::unique_ptr<Image>> OpenForRescue(const VaultPath& path, Source source,
                                                  std::vector<Warning>& warnings);

}  // namespace cli
