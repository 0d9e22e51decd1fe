// What is to become items: files and folders, exported folders, JSON Lines.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/image.h"

namespace cli {

// What is to become one item.
struct Entry {
  Record record;               // the ID is 0 where the library is to draw one
  std::filesystem::path file;  // to be read when its turn comes
  Bytes bytes;                 // of an entry without a file
  uint64_t size = 0;
};

// All files to store in the order of their names, checked before the vault is touched. A folder that "export" wrote
// gives back what its list says of each file: ID (but for `newIds`), kind and name.
std::vector<Entry> GatherFiles(const std::vector<std::string>& paths, const std::string& vault, uint32_t kind,
                               bool newIds, Console& console);

// The lines of a file, or of standard input for "-".
std::vector<Entry> GatherLines(const std::string& path, bool newIds);

}  // namespace cli
