#include "cli/vaultpath.h"

#include <algorithm>
#include <filesystem>

#include "cli/failure.h"
#include "platform/platform.h"

namespace cli {

namespace {

size_t NameBegin(const PmString& path) {
  size_t name = path.size();
  while (name > 0 && !platform::IsFolderSeparator(path[name - 1])) --name;
  return name;
}

// The hidden file beside `path` whose name ends in `suffix`.
PmString Beside(const PmString& path, const std::string& suffix) {
  const size_t name = NameBegin(path);
  return path.substr(0, name) + static_cast<PmChar>('.') + path.substr(name) +
         PmString(suffix.begin(), suffix.end());
}

// The path of the file itself.
PmString RealPath(const PmString& path) {
  PmString real(platform::kMaxRealPath + 1, 0);
  if (!platform::FollowLinks(path.c_str(), real.data())) return path;
  real.resize(std::char_traits<PmChar>::length(real.c_str()));
  return real;
}

}  // namespace

VaultPath::VaultPath(std::string typed) : shown(std::move(typed)) {
  if (shown.empty()) throw Failure(ExitCode::kUsage, "the vault's path is empty");
#if defined(_WIN32)
  std::replace(shown.begin(), shown.end(), '/', '\\');
#endif
  file = RequireUtf8(shown, "vault's path");
  backup = Beside(file, ".bak");
  backupShown = ToUtf8(backup);
  real = RealPath(file);
  journal = Beside(real, ".pmj");
  journalShown = ToUtf8(journal);
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
  const std::string folder = ToUtf8(path.substr(0, NameBegin(path)));
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
  return Numbered(real, {Beside(real, ".pmo"), Beside(real, ".bko")});
}

std::vector<std::string> VaultPath::unfinished() const {
  return Numbered(real, {real + RequireUtf8(".unfinished", "suffix")});
}

}  // namespace cli
