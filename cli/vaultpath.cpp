#include "cli/vaultpath.h"

#include <algorithm>
#include <filesystem>

#include "cli/failure.h"
#include "platform/platform.h"
#include "storage/names.h"

namespace cli {

namespace {

// The hidden file beside `path` whose name ends in `suffix`.
PmString Beside(const PmString& path, const std::string& suffix) {
  PmString beside = WithSuffix(path, suffix);
  beside.insert(storage::GetFileNameOffset(path.c_str()), 1, '.');
  return beside;
}

// The path of the file itself.
PmString RealPath(const PmString& path) {
  PmString real(platform::kMaxRealPath + 1, 0);
  if (!platform::FollowLinks(path.c_str(), real.data())) return path;
  real.resize(std::char_traits<PmChar>::length(real.c_str()));
  return real;
}

}  // namespace

PmString WithSuffix(const PmString& path, const std::string& suffix) {
  return path + PmString(suffix.begin(), suffix.end());
}

VaultPath::VaultPath(std::string typed) : shown(std::move(typed)) {
  if (shown.empty()) throw Failure(ExitCode::kUsage, "the vault's path is empty");
#if defined(_WIN32)
  std::replace(shown.begin(), shown.end(), '/', '\\');
#endif
  file = RequireUtf8(shown, "vault's path");
  backup = Beside(file, storage::kBackupSuffix);
  backupShown = ToUtf8(backup);
  real = RealPath(file);
  journal = Beside(real, storage::kJournalSuffix);
  journalShown = ToUtf8(journal);
  newJournal = Beside(real, storage::kNewJournalSuffix);
}

bool VaultPath::exists() const {
  return platform::Exists(file.c_str());
}

bool VaultPath::hasBackup() const {
  return platform::Exists(backup.c_str());
}

bool VaultPath::hasJournal() const {
  return platform::Exists(journal.c_str());
}

bool VaultPath::isLocked() const {
  platform::File locked;
  return locked.open(file.c_str(), platform::Access::kReadWrite) && !locked.lock();
}

namespace {

// The entries of the folder of `path` whose names are that of a file beside it, with a number behind or without.
std::vector<std::string> Numbered(const PmString& path, const std::vector<PmString>& files) {
  namespace fs = std::filesystem;
  std::vector<std::string> found;
  const std::string folder = ToUtf8(path.substr(0, storage::GetFileNameOffset(path.c_str())));
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(fs::u8path(folder.empty() ? "." : folder), error)) {
    const std::string name = folder + entry.path().filename().u8string();
    for (const PmString& file : files) {
      const std::string begin = ToUtf8(file);
      const std::string rest = name.compare(0, begin.size(), begin) == 0 ? name.substr(begin.size()) : "?";
      if (rest.find_first_not_of(".0123456789") == std::string::npos) found.push_back(name);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

}  // namespace

std::vector<std::string> VaultPath::setAside() const {
  return Numbered(
      real, {Beside(real, storage::kForeignJournalSuffix), Beside(real, storage::kForeignBackupSuffix)});
}

std::vector<std::string> VaultPath::unfinished() const {
  return Numbered(real, {WithSuffix(real, kUnfinishedSuffix)});
}

}  // namespace cli
