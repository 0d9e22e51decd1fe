// restore: the vault as its backup, or a named copy, holds it.
//
// What is restored is verified before anything is touched. The file that is replaced is kept beside the vault
// as
// ".damaged". A named copy is first made the vault's backup, so that from then on there is one road only, and
// an interruption at any point leaves a backup that counts.
#include "cli/copying.h"
#include "cli/examine.h"
#include "cli/reading.h"
#include "pmstore.h"

namespace cli {

namespace {

struct Options {
  std::string vault;
  std::string from;
  bool dryRun = false;
};

void Declare(CLI::App& command, Options& options) {
  command.add_option("VAULT", options.vault, "The vault's file")->required();
  command.add_option("--from", options.from, "Restore from this copy instead of the backup beside the vault");
  command.add_flag("--dry-run,-n", options.dryRun, "Only say which items would change");
}

Contents ReadSource(const VaultPath& path, const VaultPath& source, Console& console) {
  if (!platform::Exists(source.file.c_str())) {
    const bool neither = source.file == path.backup && !platform::Exists(path.file.c_str());
    throw Failure(ExitCode::kMissing,
                  neither
                      ? fmt::format("there is neither a vault {} nor its backup {}", path.shown, source.shown)
                      : fmt::format("there is no {}", source.shown),
                  "A vault that was closed properly has no backup. Restore an older copy with --from.");
  }
  const Image image(source);
  const std::vector<Finding> findings = Examine(image, console);
  if (!findings.empty()) {
    throw Failure(
        ExitCode::kRefused, fmt::format("{} is damaged itself: {}", source.shown, findings[0].what),
        "Nothing was changed. \"pmstore salvage\" saves what is intact in the vault and its backup.");
  }
  return ContentsOf(image, console);
}

// What the vault holds now, as far as it can be read. Items whose records are lost count as what `expected`
// says.
Contents ReadPresent(const VaultPath& path, const Contents& expected, Console& console) {
  if (!platform::Exists(path.file.c_str())) return {};
  const Image image(path);
  Contents present = ContentsOf(image, console);
  if (image.fileProblems().empty() && image.tableProblem().empty()) return present;
  console.warn("the vault's file is damaged, so this list may be incomplete");
  for (auto& [id, content] : present) {
    const auto known = expected.find(id);
    if (known == expected.end() || image.findRecord(id) != nullptr) continue;
    content.kind = known->second.kind;
    content.name = known->second.name;
  }
  return present;
}

void Restore(const VaultPath& path) {
  if (InitPmTotalDataController() != 1) throw Failure(ExitCode::kIoError, "not enough memory");
  if (PmRestoreBackupFile(path.file.c_str()) != 0) {
    throw Failure(
        ExitCode::kIoError, fmt::format("cannot restore {}", path.shown),
        fmt::format(
            "The backup {} is untouched. Check that the disk is not full and that you may write there.",
            path.backupShown));
  }
  ReleasePmTotalDataController();  // closes the vault, which deletes the backup
}

ExitCode Run(const Options& options, Console& console) {
  const VaultPath path(options.vault);
  const bool named = !options.from.empty();
  const VaultPath source(named ? options.from : path.backupShown);
  if (named && platform::Exists(source.backup.c_str())) {
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} has a backup, which is what counts while it stands", source.shown),
        fmt::format("Name the backup, {}, or restore {} itself first.", source.backupShown, source.shown));
  }
  const Contents expected = ReadSource(path, source, console);
  const std::vector<Difference> differences = Compare(ReadPresent(path, expected, console), expected);
  if (options.dryRun) {
    Print(differences, console);
    console.note("{} would change", CountText(differences.size(), "item"));
    return ExitCode::kFine;
  }
  if (platform::Exists(path.file.c_str())) {
    const PmString kept = UnusedName(path.file, ".damaged");
    CopyToNewFile(path.file, kept, ToUtf8(kept));
    console.note("the replaced file is kept as {}", ToUtf8(kept));
  }
  if (named) {
    if (platform::Exists(path.backup.c_str())) {
      const PmString kept = UnusedName(path.file, ".damaged-backup");
      CopyToNewFile(path.backup, kept, ToUtf8(kept));
      console.note("the backup that stood beside the vault is kept as {}", ToUtf8(kept));
    }
    CopyOver(source.file, path.backup, path.backupShown);
  }
  Restore(path);
  RequireSame(expected, ContentsOf(Image(path), console), path.shown);
  Print(differences, console);  // now, so that a reader who stops listening does not stop the work
  console.note("{} restored from {} and verified: {} changed, {} in all", path.shown, source.shown,
               CountText(differences.size(), "item"), expected.size());
  return ExitCode::kFine;
}

}  // namespace

void RegisterRestore(Tool& tool) {
  AddCommand<Options>(tool, "restore", "Bring back the state of the backup or of a copy", Declare, Run);
}

}  // namespace cli
