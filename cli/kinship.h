// Whether two files can be of one vault, and what the one holds that is nowhere in the other.
#pragma once

#include <vector>

#include "cli/image.h"

namespace cli {

// Whether both hold items and share none.
bool IsForeign(const Image& one, const Image& other);

// The items of which the backup holds an intact packet that stands nowhere in the vault, or a record that is not the
// vault's: what goes with the backup. Nothing of a copy of the vault, whole or half, is among them.
std::vector<Record> OnlyInBackup(const Image& vault, const Image& backup);

}  // namespace cli
