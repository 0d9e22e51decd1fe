#include "cli/pair.h"

#include <fmt/format.h>

#include <set>

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

std::vector<Warning> WarnOf(const VaultPath& path, const Image* image) {
  std::vector<Warning> warnings;
  const bool isStray =
      image == nullptr ? path.hasJournal() : image->file().journal() == JournalState::kForeign;
  if (isStray) {
    warnings.push_back(
        {"journal-foreign",
         fmt::format("{} is not the journal of this file, or it is damaged: the next program that "
                     "opens the vault sets it aside.",
                     path.journalShown)});
  }
  for (const std::string& file : path.setAside()) {
    warnings.push_back(
        {"set-aside", fmt::format("{} was set aside: it belonged to another state of this file, or to "
                                  "another file.",
                                  file)});
  }
  return warnings;
}

std::vector<Warning> WarnOfPair(const Image& file, const Image& backup, bool differ) {
  if (IsForeign(file, backup))
    return {{"backup-foreign",
             fmt::format("{} has no item in common with {}: it seems to be the backup of another "
                         "vault. Do not restore it.",
                         backup.fileShown(), file.fileShown())}};
  const int64_t fileTime = file.file().modified();
  const int64_t backupTime = backup.file().modified();
  if (!differ || backupTime >= fileTime) return {};
  return {{"backup-older",
           fmt::format("{} is older than {} ({} and {}): restoring it would undo what was done since.",
                       backup.fileShown(), file.fileShown(), UtcTime(backupTime), UtcTime(fileTime))}};
}

}  // namespace cli
