// What every command that changes a vault shares: its options, and what must hold before it begins.
#pragma once

#include <string>

#include "cli/command.h"
#include "cli/vaultpath.h"

namespace cli {

struct WriteOptions {
  std::string vault;
  bool dryRun = false;
  bool force = false;
};

void DeclareWriting(CLI::App& command, WriteOptions& options, const char* vault, const char* dryRun);

// Fails when another program is changing the vault, or has it open and that is not forced; a rehearsal goes on. To be
// called before the tool opens the vault itself. What cannot be found out counts as no.
void RequireAlone(const VaultPath& path, const WriteOptions& options);

// Fails when a change would cost a backup, or set a journal aside, that may hold what is lost: the vault's file is gone
// or empty, or damaged, or the backup is another vault's or holds what the vault lacks. All but the first can be
// forced.
void RequireBackupSpared(const VaultPath& path, const WriteOptions& options);

}  // namespace cli
