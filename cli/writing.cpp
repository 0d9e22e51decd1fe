#include "cli/writing.h"

#include <algorithm>
#include <filesystem>

#include "cli/itemnames.h"
#include "cli/kinship.h"
#include "cli/verdict.h"
#include "include/pmsharing.hpp"
#include "platform/platform.h"

namespace cli {

void DeclareWriting(CLI::App& command, WriteOptions& options, const char* vault, const char* dryRun) {
  command.add_option("VAULT", options.vault, vault)->required();
  command.add_flag("--dry-run,-n", options.dryRun, dryRun);
  command.add_flag(
      "--force", options.force,
      "Go on although another program has the vault open, unless it has changed it, or although the backup "
      "beside it would be lost");
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

namespace {

// Fails where the vault's file is gone or empty, and its backup or its journal is all that is left of it.
void RequireNotLost(const VaultPath& path) {
  const bool isEmpty = path.exists() && !path.hasJournal() && platform::SizeOf(path.file.c_str()) == 0;
  const bool hasBackup = platform::SizeOf(path.backup.c_str()) > 0;
  const bool hasJournal = platform::SizeOf(path.journal.c_str()) > 0;
  if ((path.exists() && !isEmpty) || (!hasBackup && !hasJournal)) return;
  throw Failure(
      ExitCode::kRefused,
      fmt::format("{} is {}, and its {} {} stands", path.shown, isEmpty ? "empty" : "gone",
                  hasBackup ? "backup" : "journal", hasBackup ? path.backupShown : path.journalShown),
      fmt::format("Nothing was changed. \"pmstore {} {}{}; to begin a new vault, move the {} away.",
                  hasBackup ? "restore" : "salvage", ForShell(path.shown),
                  hasBackup ? "\" makes the file anew" : " NEW-VAULT\" saves what that holds",
                  hasBackup ? "backup" : "journal"));
}

// "0x00000007 mail, 0x00000009 and 4 more"
std::string ListText(const std::vector<Record>& records) {
  constexpr size_t kMost = 3;
  std::string text;
  for (size_t i = 0; i < std::min(kMost, records.size()); ++i)
    text += (i == 0 ? "" : ", ") + IdAndName(records[i]);
  return records.size() > kMost ? fmt::format("{} and {} more", text, records.size() - kMost) : text;
}

// A journal of the vault's own accounts for all in which its backup differs.
void RequireNothingOnlyIn(const Image& backup, const Image& vault, const VaultPath& path) {
  const std::vector<Finding> findings = Examine(vault);
  const Verdict verdict = VerdictOf(findings);
  if (IsDamaged(verdict)) {
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} is {} ({}), and the change would destroy its backup {}, which may hold what is lost",
                    path.shown, VerdictText(verdict), findings[0].what, path.backupShown),
        fmt::format(
            "Nothing was changed. \"pmstore salvage {0} NEW-VAULT\" takes the best of both, \"pmstore "
            "restore {0}\" brings the backup back; --force gives it up.",
            ForShell(path.shown)));
  }
  if (vault.file().journal() == JournalRole::kLaid) return;
  const std::vector<Record> only = OnlyInBackup(vault, backup);
  if (only.empty()) return;
  throw Failure(
      ExitCode::kRefused,
      fmt::format("the backup {} holds {} that {} lacks, or has otherwise ({}), and the change would "
                  "destroy it",
                  path.backupShown, CountText(only.size(), "item"), path.shown, ListText(only)),
      fmt::format(
          "Nothing was changed. \"pmstore diff {0} {1}\" shows how they differ, \"pmstore restore {0}\" "
          "brings the backup back, \"pmstore salvage {1} NEW-VAULT\" makes a vault of its own of it; "
          "--force gives it up.",
          ForShell(path.shown), ForShell(path.backupShown)));
}

}  // namespace

void RequireBackupSpared(const VaultPath& path, const WriteOptions& options) {
  RequireNotLost(path);
  const bool hasBackup = platform::SizeOf(path.backup.c_str()) > 0;
  if (options.force || options.dryRun || !path.exists() || (!hasBackup && !path.hasJournal())) return;
  const Image vault(path, Source::kAuto, Reading::kForRescue);
  if (vault.file().journal() == JournalRole::kLaidOnRest) {
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} is not as its journal {} left it, and the change would set that aside", path.shown,
                    path.journalShown),
        fmt::format(
            "Nothing was changed. \"pmstore salvage {} NEW-VAULT\" takes all that is in both; --force "
            "goes on without the journal.",
            ForShell(path.shown)));
  }
  if (!hasBackup) return;
  const Image backup(path, Source::kBackup);
  if (IsForeign(vault, backup)) {
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} has no item in common with {}: it seems to be the backup of another vault, and the "
                    "change would destroy it",
                    path.backupShown, path.shown),
        "Nothing was changed. Move it away, or say --force.");
  }
  RequireNothingOnlyIn(backup, vault, path);
}

}  // namespace cli
