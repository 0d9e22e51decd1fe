// A vault's place, and what may stand beside it.
//
//   folder/NAME              the vault's file
//   folder/.NAME.pmj         its journal: what the program that has it open, or did not close it, changed last
//   folder/.NAME.pmt         a journal that is being made
//   folder/.NAME.bak         its backup: a copy for "pmstore restore"
//   folder/.NAME.pmo         a journal that was not this file's, set aside; with a number when there are several
//   folder/.NAME.bko         the backup that stood beside it
//   folder/NAME.unfinished   a file that a command is making, to bear the name; with a number when there are several
//   folder/NAME.damaged      the file that a restore has replaced; with a number when there are several
//
// The library makes all but the last two; storage/names.h has their suffixes.
//
// The journal stands beside the file itself, also when the path goes through a symbolic link.
#pragma once

#include <string>
#include <vector>

#include "cli/unicode.h"

namespace cli {

constexpr char kUnfinishedSuffix[] = ".unfinished";
constexpr char kReplacedSuffix[] = ".damaged";

// The path with a suffix of plain characters behind it.
PmString WithSuffix(const PmString& path, const std::string& suffix);

struct VaultPath {
  explicit VaultPath(std::string typed);

  std::string shown;  // as typed
  PmString file;      // as the library takes it
  PmString real;      // the file itself, where the path goes through a symbolic link
  PmString backup;
  std::string backupShown;
  PmString journal;
  PmString newJournal;  // while it is being made
  std::string journalShown;

  bool exists() const;
  bool hasBackup() const;
  bool hasJournal() const;

  // Whether another program holds the lock that the library takes from its first change until it closes the vault.
  bool isLocked() const;

  // Journals and backups that were set aside, as they are shown, in the order of their names.
  std::vector<std::string> setAside() const;

  // Files that were being made beside the vault, to have its name.
  std::vector<std::string> unfinished() const;
};

}  // namespace cli
