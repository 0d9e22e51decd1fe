// Files and folders on their way into and out of a vault.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/text.h"

namespace cli {

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

// A file by itself, or every file in and under a folder. A link to a file counts as the file; a link to a
// folder is skipped. Fails when `typed` does not exist.
Walk FindFiles(const std::string& typed);

// When a file was last changed, in seconds since 1970; 0 when nobody says.
int64_t ModifiedTime(const std::filesystem::path& path);

Bytes ReadWholeFile(const std::filesystem::path& path);
Bytes ReadStandardInput();

// Makes a new file, for its owner alone, and reads it again to see that it is what was written. An existing one
// is never overwritten unless `overwrite`. A new file that cannot be written whole is removed again.
void WriteWholeFile(const std::filesystem::path& path, const Bytes& bytes, bool overwrite = false);

// A fingerprint to tell whether bytes are still the same, not against an adversary.
uint64_t Fingerprint(const Bytes& bytes);

}  // namespace cli
