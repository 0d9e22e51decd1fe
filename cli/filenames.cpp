#include "cli/filenames.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace cli {

namespace {

constexpr size_t kLongestPart = 200;  // bytes: every file system takes so many
constexpr size_t kLongestPath = 1000;

std::string Escaped(char c) {
  return fmt::format("%{:02X}", static_cast<uint8_t>(c));
}

std::string Lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c;
  return text;
}

bool IsDeviceName(const std::string& part) {
  const std::string stem = Lower(part.substr(0, part.find('.')));
  if (stem == "con" || stem == "prn" || stem == "aux" || stem == "nul") return true;
  const std::string begin = stem.substr(0, 3);
  return stem.size() == 4 && (begin == "com" || begin == "lpt") && stem[3] >= '0' && stem[3] <= '9';
}

// One folder's or file's name.
std::string EncodePart(const std::string& part) {
  std::string out;
  for (size_t i = 0; i < part.size(); ++i) {
    const char c = part[i];
    const bool isControl = static_cast<uint8_t>(c) < 0x20 || c == 0x7F;
    const bool isForbidden = isControl || std::string("%<>:\"|?*\\").find(c) != std::string::npos;
    const bool endsBadly = i + 1 == part.size() && (c == '.' || c == ' ');
    const bool isDevice = i == 0 && IsDeviceName(part);
    out += isForbidden || endsBadly || isDevice ? Escaped(c) : std::string(1, c);
  }
  return out;
}

std::string EncodeParts(const PmString& name) {
  const std::string text = ToUtf8(name);
  std::string out;
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find('/', begin), text.size());
    const bool isFolder = end < text.size();
    const bool makesFolder = isFolder && end > begin && end + 1 < text.size();
    out += EncodePart(text.substr(begin, end - begin));
    if (isFolder) out += makesFolder ? "/" : Escaped('/');
    begin = end + 1;
  }
  return out;
}

std::string EncodeSurrogates(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&text](size_t at) { return static_cast<uint8_t>(text[at]); };
    if (byte(i) == 0xED && i + 2 < text.size() && byte(i + 1) >= 0xA0) {
      out += fmt::format("%uD{:03X}", 0x800 | (byte(i + 1) & 0x1F) << 6 | (byte(i + 2) & 0x3F));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string Encode(const PmString& name) {
  return EncodeSurrogates(EncodeParts(name));
}

bool IsLong(const std::string& path) {
  for (size_t begin = 0; begin <= path.size();) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end - begin > kLongestPart) return true;
    begin = end + 1;
  }
  return path.size() > kLongestPath;
}

class TakenNames {
 public:
  std::string take(const Record& record) {
    std::string path = record.name ? Encode(*record.name) : "";
    if (IsLong(path)) path.clear();
    if (path.empty() || !isFree(path)) path += fmt::format("%~{:08X}", record.id);
    taken_.insert(Lower(path));
    return path;
  }

  // Makes the path's folders known before any file is named.
  void addFolders(const Record& record) {
    if (!record.name) return;
    const std::string path = Lower(Encode(*record.name));
    if (IsLong(path)) return;
    for (size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1))
      folders_.insert(path.substr(0, at));
  }

 private:
  bool isFree(const std::string& path) const {
    return taken_.count(Lower(path)) == 0 && folders_.count(Lower(path)) == 0;
  }

  std::set<std::string> taken_;  // in lower case
  std::set<std::string> folders_;
};

}  // namespace

std::vector<std::string> FileNames(const std::vector<const Record*>& records) {
  TakenNames names;
  for (const Record* record : records) names.addFolders(*record);
  std::vector<std::string> paths;
  paths.reserve(records.size());
  for (const Record* record : records) paths.push_back(names.take(*record));
  return paths;
}

}  // namespace cli
