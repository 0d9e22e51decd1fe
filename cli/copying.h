// Byte copies of vaults: complete and durable, or not there at all.
//
// Invariant: a file appears under its final name whole, flushed and in one step. Until then it stands beside it
// under a name that ends in ".unfinished", also when the power fails.
#pragma once

#include <string>

#include "cli/image.h"

namespace cli {

// Copies what an image reads to a name that is not in use.
void CopyToNewFile(const Image& from, const PmString& to, const std::string& toShown);

// Copies a file as it stands to a name that is not in use.
void CopyToNewFile(const PmString& from, const PmString& to, const std::string& toShown);

// Copies what an image reads over `to`, which is the old file or the whole new one at every instant.
void CopyOver(const Image& from, const PmString& to, const std::string& toShown);

// Fails when there is an entry of that name.
void RequireUnused(const PmString& path, const std::string& shown);

// Gives a finished file its final name.
void Finish(const PmString& unfinished, const PmString& to, const std::string& toShown);

// `path` with `suffix`, and with a number behind that when the name is in use.
PmString UnusedName(const PmString& path, const std::string& suffix);

// The name that a file to be called `path` has while it is made. What a command that was ended has left under it is
// removed.
PmString UnfinishedName(const PmString& path);

}  // namespace cli
