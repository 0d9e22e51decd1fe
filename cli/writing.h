// What every command that changes a vault shares: the vault, the rehearsal, and whether somebody else has it.
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

// Fails when the vault's file is gone or empty and its backup stands: what is stored in a new file would cost the backup,
// which may be all that is left.
void RequireNoBackupAlone(const VaultPath& path);

}  // namespace cli
