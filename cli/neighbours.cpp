#include "cli/neighbours.h"

#include <fmt/format.h>

#include "cli/failure.h"
#include "cli/host.h"
#include "cli/kinship.h"
#include "cli/text.h"
#include "storage/names.h"

namespace cli {

namespace {

Warning WarnOfSetAside(const VaultPath& path, const std::string& file) {
  const std::string named = file.substr(0, file.find_last_not_of(".0123456789") + 1);  // without a number
  const std::string suffix = named.substr(named.rfind('.'));
  const std::string way =
      suffix == storage::kForeignJournalSuffix
          ? fmt::format("\"pmstore salvage {} NEW-VAULT\" saves what it holds", ForShell(file))
          : fmt::format(
                "\"pmstore diff {1} {0}\" shows what has changed since, \"pmstore restore {0} --from "
                "{1}\" brings its state back",
                ForShell(path.shown), ForShell(file));
  return {
      "set-aside",
      fmt::format(
          "{} was set aside: it belonged to another state of this file, or to another file. {}. Delete it "
          "when the vault lacks nothing.",
          file, way),
      true};
}

Warning WarnOfForeignJournal(const VaultPath& path, const Image& image) {
  const Image journal(VaultPath(path.journalShown), Source::kFile, Reading::kForRescue);
  const char* aside = "the next program that opens the vault sets it aside";
  if (journal.blocks().empty())
    return {"journal-foreign",
            fmt::format("{} is no journal, or damaged, and holds nothing that can be saved: {}.",
                        path.journalShown, aside)};
  if (IsForeign(image, journal)) {
    return {"journal-foreign",
            fmt::format("{} has no item in common with {}: it seems to be the journal of another "
                        "vault. Move it away from here, to the vault that it belongs to; {}.",
                        path.journalShown, image.fileShown(), aside)};
  }
  return {
      "journal-foreign",
      fmt::format("{} is the journal of another state of {}, or it is damaged: {}.", path.journalShown,
                  image.fileShown(), aside),
      false,
      fmt::format("Before a program opens the vault, \"pmstore salvage {} NEW-VAULT\" takes from it and the "
                  "journal together what can be proven.",
                  ForShell(path.shown))};
}

}  // namespace

std::vector<Warning> WarnOfNeighbours(const VaultPath& path, const Image& image) {
  std::vector<Warning> warnings;
  if (image.file().endsTorn() && image.file().journal() == JournalRole::kLaid) {
    warnings.push_back(
        {"journal-torn",
         fmt::format(
             "{} ends in a change that is not whole and holds packets of it: the change never happened, "
             "or the journal is damaged. Where there is no other change in it, \"pmstore salvage {} "
             "NEW-VAULT\" makes a vault of them.",
             path.journalShown, ForShell(path.journalShown)),
         true});
  } else if (image.file().endsTorn()) {
    warnings.push_back(
        {"journal-torn",
         fmt::format("{} ends in a change that is not whole: it never happened, or the journal was cut "
                     "and holds the state before it.",
                     image.fileShown())});
  }
  const std::string& journal = path.journalShown;
  if (image.file().journal() == JournalRole::kForeign) warnings.push_back(WarnOfForeignJournal(path, image));
  if (image.file().journal() == JournalRole::kUnreadable) {
    warnings.push_back(
        {"journal-unreadable",
         fmt::format("cannot read {}{}: the last changes may be missing from what is shown here.", journal,
                     image.file().whyUnreadable())});
  }
  for (const std::string& file : path.setAside()) warnings.push_back(WarnOfSetAside(path, file));
  for (const std::string& file : path.unfinished()) {
    warnings.push_back(
        {"unfinished",
         fmt::format("{} was being made by a command that was ended, or that still runs. Delete it "
                     "when none does; the same command removes it.",
                     file),
         true});
  }
  return warnings;
}

std::vector<Warning> WarnOfBackup(const Image& file, const Image& backup, bool differ) {
  if (IsForeign(file, backup))
    return {{"backup-foreign",
             fmt::format("{} has no item in common with {}: it seems to be the backup of another "
                         "vault. Do not restore it; move it away from here, to the vault that it belongs to.",
                         backup.fileShown(), file.fileShown())}};
  const int64_t fileTime = file.file().modified();
  const int64_t backupTime = backup.file().modified();
  if (!differ || backupTime >= fileTime) return {};
  return {{"backup-older",
           fmt::format("{} is older than {} ({} and {}): restoring it would undo what was done since.",
                       backup.fileShown(), file.fileShown(), UtcTime(backupTime), UtcTime(fileTime))}};
}

std::unique_ptr<Image> OpenBackup(const VaultPath& path, std::vector<Warning>& warnings) {
  try {
    return std::make_unique<Image>(path, Source::kBackup, Reading::kForRescue);
  } catch (const Failure& failure) {
    warnings.push_back({"backup-unreadable",
                        fmt::format("{}. Nothing of the backup is taken or compared.", failure.what())});
    return nullptr;
  }
}

}  // namespace cli
