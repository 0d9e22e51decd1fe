// Whole files, as items come from them and go into them: read, written, and when they were changed.
#pragma once

#include <filesystem>

#include "cli/bytes.h"

namespace cli {

// When a file was last changed, in seconds since 1970; 0 when nobody says.
int64_t ModifiedTime(const std::filesystem::path& path);

Bytes ReadWholeFile(const std::filesystem::path& path);
Bytes ReadStandardInput();

// Makes a new file, for its owner alone, and reads it again to see that it is what was written. An existing one
// is never overwritten unless `overwrite`. A new file that cannot be written whole is removed again.
void WriteWholeFile(const std::filesystem::path& path, const Bytes& bytes, bool overwrite = false);

}  // namespace cli
