#include "cli/writing.h"

#include <filesystem>

#include "include/pmsharing.hpp"
#include "platform/platform.h"

namespace cli {

void DeclareWriting(CLI::App& command, WriteOptions& options, const char* vault, const char* dryRun) {
  command.add_option("VAULT", options.vault, vault)->required();
  command.add_flag("--dry-run,-n", options.dryRun, dryRun);
  command.add_flag("--force", options.force, "Go on although another program has the vault open");
}

void RequireAlone(const VaultPath& path, const WriteOptions& options) {
  if (options.dryRun || !path.exists()) return;
  if (path.isLocked()) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("another program has {} open and is changing it", path.shown),
                  "Nothing was changed. Close the vault there first.");
  }
  if (options.force || !pmstore::isOpen(std::filesystem::u8path(path.shown))) return;
  throw Failure(
      ExitCode::kRefused, fmt::format("another program has {} open", path.shown),
      "Nothing was changed. Close the vault there first, or say --force: then what the other program "
      "changes later is refused there.");
}

void RequireNoBackupAlone(const VaultPath& path) {
  if (!path.hasBackup() || platform::SizeOf(path.backup.c_str()) == 0) return;
  if (path.exists() && (path.hasJournal() || platform::SizeOf(path.file.c_str()) != 0)) return;
  throw Failure(
      ExitCode::kRefused,
      fmt::format("{} is {}, and its backup {} stands", path.shown, path.exists() ? "empty" : "gone",
                  path.backupShown),
      fmt::format("Nothing was changed. \"pmstore restore {}\" makes the file anew; to begin a new vault, "
                  "move the backup away.",
                  path.shown));
}

}  // namespace cli
