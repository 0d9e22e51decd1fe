// Byte copies of vaults: complete and durable, or not there at all.
#pragma once

#include <string>

#include "cli/inspect.h"

namespace cli {

// Copies a file to a name that is not in use. On failure nothing of that name is left.
void CopyToNewFile(const PmString& from, const PmString& to, const std::string& toShown);

// Copies a file over `to` so that at every instant `to` is the old file or the whole new one.
void CopyOver(const PmString& from, const PmString& to, const std::string& toShown);

// `path` with `suffix`, and with a number behind that when the name is in use.
PmString UnusedName(const PmString& path, const std::string& suffix);

}  // namespace cli
