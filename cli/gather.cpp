#include "cli/gather.h"

#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "cli/filenames.h"
#include "cli/files.h"
#include "cli/host.h"
#include "cli/itemjson.h"
#include "cli/itemnames.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

// A file to store: where it is, and its path relative to what was named, with '/' between folders.
struct FoundFile {
  std::filesystem::path path;
  std::string name;
  uint64_t size = 0;
};

struct Walk {
  std::vector<FoundFile> files;      // in the order of their names, folder by folder
  std::vector<std::string> skipped;  // entries that are neither files nor folders
};

void AddFile(const fs::directory_entry& entry, const std::string& name, Walk& walk) {
  std::error_code error;
  if (entry.is_regular_file(error)) {
    walk.files.push_back({entry.path(), name, entry.file_size(error)});
  } else if (entry.is_symlink(error) || !entry.is_directory(error)) {
    walk.skipped.push_back(entry.path().u8string());
  }
}

// A file by itself, or every file in and under a folder. A link to a file counts as the file; a link to a
// folder is skipped. Fails when `typed` does not exist.
Walk FindFiles(const std::string& typed) {
  const fs::path root = fs::u8path(typed);
  Walk walk;
  std::error_code error;
  const fs::file_status status = fs::status(root, error);
  if (!fs::exists(status))
    throw Failure(ExitCode::kMissing, fmt::format("there is no file or folder {}", typed));
  if (!fs::is_directory(status)) {
    AddFile(fs::directory_entry(root), root.filename().u8string(), walk);
    return walk;
  }
  fs::recursive_directory_iterator it(root, error);
  while (!error && it != fs::recursive_directory_iterator()) {
    AddFile(*it, it->path().lexically_relative(root).generic_u8string(), walk);
    it.increment(error);
  }
  if (error)
    throw Failure(ExitCode::kIoError, fmt::format("cannot read folder {}: {}", typed, error.message()));
  std::sort(walk.files.begin(), walk.files.end(),
            [](const FoundFile& a, const FoundFile& b) { return a.name < b.name; });
  return walk;
}

// Keeps entries apart that would become one item.
class Uniqueness {
 public:
  void require(const Entry& entry, const std::string& what) {
    const Record& record = entry.record;
    const auto kindAndName = std::pair(record.kind, record.name.value_or(PmString()));
    const bool isNew = record.id != 0 ? ids_.insert(record.id).second
                                      : !record.name || names_.emplace(kindAndName, what).second;
    if (isNew) return;
    if (record.id != 0)
      throw Failure(ExitCode::kUsage, fmt::format("{} has the ID {} of one before", what, IdText(record.id)));
    throw Failure(ExitCode::kUsage,
                  fmt::format("{} and {} would both be named \"{}\"", names_[kindAndName], what,
                              Printable(*record.name)),
                  "Import them into different kinds, or the folder above them.");
  }

 private:
  std::set<uint32_t> ids_;
  std::map<std::pair<uint32_t, PmString>, std::string> names_;
};

// What an exported folder's list says, by file; nothing when the folder has none.
std::map<std::string, Record> ReadManifest(const std::string& folder) {
  std::map<std::string, Record> records;
  std::ifstream in(fs::u8path(folder) / kManifestName, std::ios::binary);
  std::string line;
  for (size_t number = 1; std::getline(in, line); ++number) records.insert(ParseManifestLine(line, number));
  return records;
}

void RequireFits(const FoundFile& file) {
  if (file.size <= storage::kMaxItemSize) return;
  throw Failure(ExitCode::kRefused, fmt::format("{} is larger than an item may be ({} bytes)",
                                                file.path.u8string(), storage::kMaxItemSize));
}

// The files of one word of the command line.
std::vector<Entry> GatherFolder(const std::string& typed, const fs::path& vault, uint32_t kind, bool newIds,
                                Console& console) {
  const Walk walk = FindFiles(typed);
  for (const std::string& skipped : walk.skipped)
    console.warn("skipped, neither a file nor a folder: {}", skipped);
  std::map<std::string, Record> manifest = ReadManifest(typed);
  std::vector<Entry> entries;
  for (const FoundFile& file : walk.files) {
    std::error_code absent;
    if (fs::equivalent(file.path, vault, absent)) {
      console.warn("skipped, the vault itself: {}", file.path.u8string());
      continue;
    }
    if (!manifest.empty() && file.name == kManifestName) continue;
    RequireFits(file);
    const PmString name = RequireUtf8(file.name, fmt::format("file name {}", file.path.u8string()).c_str());
    Entry& entry = entries.emplace_back();
    entry.record.kind = kind;
    entry.record.name = name;
    entry.file = file.path;
    entry.size = file.size;
    if (const auto known = manifest.find(file.name); known != manifest.end()) {
      entry.record = known->second;
      if (newIds) entry.record.id = 0;
      manifest.erase(known);
    }
  }
  for (const auto& [name, record] : manifest)
    console.warn("{} is in the list of {}, but not there", name, typed);
  return entries;
}

}  // namespace

std::vector<Entry> GatherFiles(const std::vector<std::string>& paths, const std::string& vault, uint32_t kind,
                               bool newIds, Console& console) {
  std::vector<Entry> entries;
  Uniqueness unique;
  for (const std::string& typed : paths) {
    for (Entry& entry : GatherFolder(typed, fs::u8path(vault), kind, newIds, console)) {
      unique.require(entry, entry.file.u8string());
      entries.push_back(std::move(entry));
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.record.name < b.record.name; });
  return entries;
}

std::vector<Entry> GatherLines(const std::string& path, bool newIds) {
  const SystemCall call;
  std::ifstream file;
  if (path != "-") {
    file.open(fs::u8path(path), std::ios::binary);
    if (!file) throw Failure(ExitCode::kMissing, fmt::format("cannot open {}{}", path, call.reason()));
  }
  std::istream& in = path == "-" ? std::cin : file;
  std::vector<Entry> entries;
  Uniqueness unique;
  std::string line;
  for (size_t number = 1; std::getline(in, line); ++number) {
    if (line.empty() || line == "\r") continue;
    ItemLine item = ParseItemLine(line, number);
    if (newIds) item.record.id = 0;
    if (item.record.id == 0 && !newIds)
      throw Failure(ExitCode::kUsage, fmt::format("line {} has no \"id\"", number),
                    "Nothing was stored. --new-ids draws new IDs for all lines.");
    Entry& entry = entries.emplace_back();
    entry.record = std::move(item.record);
    entry.size = item.bytes.size();
    entry.bytes = std::move(item.bytes);
    unique.require(entry, fmt::format("line {}", number));
  }
  if (in.bad()) throw Failure(ExitCode::kIoError, fmt::format("cannot read {}{}", path, call.reason()));
  return entries;
}

}  // namespace cli
