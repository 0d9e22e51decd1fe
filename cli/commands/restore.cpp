// restore: the vault as its backup, or a named copy, holds it.
//
// What is restored is verified before anything is touched, and the file that is replaced is kept beside the vault
// as ".damaged". Where a program ended without closing the vault, its journal comes before the backup: it holds the
// later state, and the library carries it out. A named copy takes the file's place in one step; the journal and the
// backup of the old file are set aside then.
#include "cli/contents.h"
#include "cli/copying.h"
#include "cli/host.h"
#include "cli/kinship.h"
#include "cli/neighbours.h"
#include "cli/reading.h"
#include "cli/vault.h"
#include "cli/verdict.h"
#include "cli/writing.h"
#include "storage/names.h"
#include "storage/result.h"

namespace cli {

namespace {

struct Options {
  WriteOptions write;
  std::string from;
};

void Declare(CLI::App& command, Options& options) {
  DeclareWriting(command, options.write, "The vault's file", "Only say which items would change");
  command.add_option("--from", options.from, "Restore from this copy instead of the backup beside the vault");
}

Image OpenSource(const VaultPath& path, const Options& options, const Image* present) {
  if (!options.from.empty()) return Image(VaultPath(options.from));
  if (present != nullptr && present->file().journal() == JournalRole::kLaid &&
      !present->file().isUndoneRestore())
    return Image(path);
  if (present == nullptr && path.hasBackup()) return Image(path, Source::kAuto, Reading::kForRescue);
  if (path.hasBackup()) return Image(path, Source::kBackup);
  if (present == nullptr && path.hasJournal()) return Image(path);  // fails, and says what can be done
  throw Failure(ExitCode::kMissing,
                path.exists() ? fmt::format("there is no {}", path.backupShown)
                              : fmt::format("there is neither a vault {} nor its backup {}", path.shown,
                                            path.backupShown),
                "A vault that was closed properly has no backup. Restore an older copy with --from.");
}

// Where the state comes from that the vault is to have again.
enum class Origin { kCopy, kBackup, kJournal, kBackupAndJournal };

Origin OriginOf(const Image& source, const Options& options) {
  if (!options.from.empty()) return Origin::kCopy;
  if (!source.isBackup()) return Origin::kJournal;
  return IsLaid(source.file().journal()) ? Origin::kBackupAndJournal : Origin::kBackup;
}

// What the source holds, when it is fit to be restored.
Contents Verify(const Image& source, const Image* present, const Options& options, Console& console) {
  source.requireVault();
  const std::vector<Finding> findings = Examine(source);
  if (IsDamaged(VerdictOf(findings))) {
    throw Failure(
        ExitCode::kRefused, fmt::format("{} is damaged itself: {}", source.fileShown(), findings[0].what),
        "Nothing was changed. \"pmstore salvage\" saves what is intact in the vault and its backup.");
  }
  if (VerdictOf(findings) != Verdict::kSound)
    console.warn("{} is {}: {}", source.fileShown(), VerdictText(VerdictOf(findings)), findings[0].what);
  if (present != nullptr && source.isBackup()) {
    if (!options.write.force && IsForeign(*present, source)) {
      throw Failure(
          ExitCode::kRefused,
          fmt::format("{} has no item in common with {}: it seems to be the backup of another vault",
                      source.fileShown(), present->fileShown()),
          "Nothing was changed. Move it away, to the vault that it belongs to, or say --force.");
    }
    for (const Warning& warning : WarnOfBackup(*present, source, true)) console.warn("{}", warning.what);
  }
  return ContentsOf(source, console);
}

// What the vault holds now, as far as it can be read. Items whose records are lost count as what `expected`
// says.
Contents ReadPresent(const Image* image, const Contents& expected, Console& console) {
  if (image == nullptr) return {};
  Contents present = ContentsOf(*image, console);
  if (image->fileProblems().empty() && image->tableProblem().empty()) return present;
  console.warn("the vault's file is damaged, so this list may be incomplete");
  for (auto& [id, content] : present) {
    const auto known = expected.find(id);
    if (known == expected.end() || image->findRecord(id) != nullptr) continue;
    content.kind = known->second.kind;
    content.name = known->second.name;
  }
  return present;
}

// Keeps a copy of what is to be replaced: the file, or, where its journal is set aside, both in one.
void Keep(const Image& present, const VaultPath& path, bool isReplaced, Console& console) {
  const PmString kept = UnusedName(path.file, kReplacedSuffix);
  if (isReplaced && present.file().journal() == JournalRole::kLaid) {
    CopyToNewFile(present, kept, ToUtf8(kept));
  } else {
    CopyToNewFile(path.file, kept, ToUtf8(kept));
  }
  console.note("the replaced file is kept as {}", ToUtf8(kept));
}

// Carries out the vault's own journal or, without one, copies its backup back.
void RestoreByLibrary(const VaultPath& path) {
  const SystemCall call;
  if (InitPmTotalDataController() == 0) throw Failure(ExitCode::kIoError, "not enough memory");
  if (PmRestoreBackupFile(path.file.c_str()) != storage::kOk) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot restore {}{}", path.shown, WhyRefused(path, call.reason())),
                  fmt::format("The backup {} is untouched.", path.backupShown));
  }
  ReleasePmTotalDataController();  // closes the vault, which deletes the backup
}

// Renames what stands beside a vault for another file, as the library would, but with the tool's kind of number where
// the name is taken: ".pmo.2", which for the library is ".pmo02".
void KeepAside(const PmString& file, const char* suffix, Console& console) {
  if (!platform::Exists(file.c_str())) return;
  constexpr size_t kSuffixLength = sizeof storage::kJournalSuffix - 1;
  const PmString aside = UnusedName(file.substr(0, file.size() - kSuffixLength), suffix);
  const SystemCall call;
  if (!platform::Rename(file.c_str(), aside.c_str()) || !platform::SyncFolder(aside.c_str())) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot rename {} to {}{}", ToUtf8(file), ToUtf8(aside), call.reason()));
  }
  console.note("{} is kept as {}", ToUtf8(file), ToUtf8(aside));
}

// Puts a copy in the vault's place.
void RestoreCopy(const VaultPath& path, std::optional<Image>& source, Console& console) {
  CopyOver(*source, path.real, path.shown);
  source.reset();  // it may be the backup that is set aside
  KeepAside(path.journal, storage::kForeignJournalSuffix, console);
  KeepAside(path.backup, storage::kForeignBackupSuffix, console);
}

// Makes the vault's file anew of its backup and the journal of both, which then are not needed any more.
void RestoreBoth(const VaultPath& path, std::optional<Image>& source, const Contents& expected,
                 Console& console) {
  CopyOver(*source, path.real, path.shown);
  source.reset();
  RequireSame(expected, ContentsOf(Image(path), console), path.shown);
  platform::Remove(path.backup.c_str());
  platform::SyncFolder(path.backup.c_str());
  platform::Remove(path.journal.c_str());
}

ExitCode Restore(const Options& options, Console& console) {
  const VaultPath path(options.write.vault);
  RequireAlone(path, options.write);
  std::optional<Image> present;
  if (path.exists()) present.emplace(path);
  const Image* now = present ? &*present : nullptr;
  std::optional<Image> source = OpenSource(path, options, now);
  const Contents expected = Verify(*source, now, options, console);
  const std::vector<Difference> differences = Compare(ReadPresent(now, expected, console), expected);
  const bool byJournal = source->file().journal() == JournalRole::kLaid && options.from.empty();
  if (byJournal) {
    console.note(
        "{}", Wrapped(fmt::format("{} {} carried out: it is later than any backup. An older state comes back "
                                  "with --from, which also takes the backup.",
                                  path.journalShown, options.write.dryRun ? "would be" : "is")));
  }
  if (options.write.dryRun) {
    Print(differences, console);
    console.note("{} would change", CountText(differences.size(), "item"));
    return ExitCode::kFine;
  }
  const Origin origin = OriginOf(*source, options);
  const std::string shown =
      origin == Origin::kJournal
          ? path.journalShown
          : source->fileShown() + (origin == Origin::kBackupAndJournal ? " and its journal" : "");
  if (present) Keep(*present, path, origin == Origin::kCopy, console);
  present.reset();  // not every system replaces or removes a file that is open
  switch (origin) {
    case Origin::kCopy:
      RestoreCopy(path, source, console);
      break;
    case Origin::kBackupAndJournal:
      RestoreBoth(path, source, expected, console);
      break;
    case Origin::kBackup:
      source.reset();
      KeepAside(path.journal, storage::kForeignJournalSuffix, console);  // the library would set both aside
      RestoreByLibrary(path);
      break;
    case Origin::kJournal:
      source.reset();
      RestoreByLibrary(path);
      break;
  }
  RequireSame(expected, ContentsOf(Image(path), console), path.shown);
  Print(differences, console);  // now, so that a reader who stops listening does not stop the work
  console.note("{} restored from {} and verified: {} changed, {} in all", path.shown, shown,
               CountText(differences.size(), "item"), expected.size());
  return ExitCode::kFine;
}

}  // namespace

void RegisterRestore(Tool& tool) {
  AddCommand<Options>(tool, "restore", "Bring back the state of the backup or of a copy", Declare, Restore);
}

}  // namespace cli
