#include "cli/pair.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/findings.h"
#include "cli/host.h"

namespace cli {

namespace {

std::set<uint32_t> IdsOf(const Image& image) {
  std::set<uint32_t> ids;
  for (const Record& record : image.records()) ids.insert(record.id);
  for (const auto& [id, item] : image.items()) {
    if (image.hasSoundPacket(id)) ids.insert(id);
  }
  ids.erase(0);
  return ids;
}

// What an intact packet says, wherever it stands: the block without its filler.
uint64_t PacketFingerprint(const Image& image, uint32_t number) {
  Bytes packet = image.readBlock(number);
  packet.resize(storage::kHeaderSize + image.blocks()[number].header.dataLength);
  return Fingerprint(packet);
}

bool IsPacket(const Block& block) {
  return block.sound && (block.state == BlockState::kUsed || block.state == BlockState::kLeftOver);
}

std::set<uint64_t> PacketsOf(const Image& image) {
  std::set<uint64_t> packets;
  for (uint32_t number = 0; number < image.blocks().size(); ++number) {
    if (IsPacket(image.blocks()[number])) packets.insert(PacketFingerprint(image, number));
  }
  return packets;
}

}  // namespace

bool IsForeign(const Image& one, const Image& other) {
  const std::set<uint32_t> ids = IdsOf(one);
  const std::set<uint32_t> others = IdsOf(other);
  if (ids.empty() || others.empty()) return false;
  for (uint32_t id : ids) {
    if (others.count(id) != 0) return false;
  }
  return true;
}

std::vector<Record> OnlyInBackup(const Image& vault, const Image& backup) {
  std::map<uint32_t, Record> only;
  for (const Record& record : backup.records()) {
    const Record* own = vault.findRecord(record.id);
    if (own == nullptr || own->kind != record.kind || own->name != record.name)
      only.emplace(record.id, record);
  }
  const bool namesAll = NamesEveryItem(backup, UnlistedItems(backup));
  const std::set<uint64_t> packets = PacketsOf(vault);
  for (const auto& [id, item] : backup.items()) {
    const Record* record = backup.findRecord(id);
    const bool wasDeleted = namesAll && record == nullptr;
    if (id == 0 || wasDeleted || only.count(id) != 0) continue;
    const bool isThere = std::all_of(item.blocks.begin(), item.blocks.end(), [&](uint32_t number) {
      return !IsPacket(backup.blocks()[number]) || packets.count(PacketFingerprint(backup, number)) != 0;
    });
    if (!isThere) only.emplace(id, record != nullptr ? *record : Record{id, 0, std::nullopt});
  }
  std::vector<Record> records;
  for (auto& [id, record] : only) records.push_back(std::move(record));
  return records;
}

namespace {

Warning WarnOfSetAside(const VaultPath& path, const std::string& file) {
  const size_t end = file.find_last_not_of(".0123456789");
  const bool isJournal = file.compare(end - 3, 4, ".pmo") == 0;
  const std::string way =
      isJournal ? fmt::format("\"pmstore salvage {} NEW-VAULT\" saves what it holds", ForShell(file))
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

std::vector<Warning> WarnOf(const VaultPath& path, const Image& image) {
  std::vector<Warning> warnings;
  if (image.file().endsTorn() && image.file().journal() == JournalState::kLaid) {
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
  if (image.file().journal() == JournalState::kForeign) warnings.push_back(WarnOfForeignJournal(path, image));
  if (image.file().journal() == JournalState::kUnreadable) {
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

std::vector<Warning> WarnOfPair(const Image& file, const Image& backup, bool differ) {
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

std::vector<std::unique_ptr<Image>> OpenForRescue(const VaultPath& path, Source source,
                                                  std::vector<Warning>& warnings) {
  std::vector<std::unique_ptr<Image>> files;
  files.push_back(std::make_unique<Image>(path, source, Reading::kForRescue));
  if (source != Source::kAuto) return files;
  const Image& vault = *files[0];
  warnings = WarnOf(path, vault);
  const auto take = [&](std::unique_ptr<Image> image) {
    if (image == nullptr) return;
    if (!IsForeign(vault, *image)) return files.push_back(std::move(image));
    warnings.push_back(
        {"left-aside",
         fmt::format("{} has no item in common with the vault and is left aside.", image->fileShown())});
  };
  if (vault.file().journal() == JournalState::kForeign)
    take(std::make_unique<Image>(VaultPath(path.journalShown), Source::kFile, Reading::kForRescue));
  if (path.hasBackup() && !vault.isBackup()) take(OpenBackup(path, warnings));
  return files;
}

}  // namespace cli
