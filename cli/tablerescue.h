// Reading what is left of a damaged ID table.
#pragma once

#include <vector>

#include "cli/inspect.h"

namespace cli {

// The records of a table some of whose blocks are lost, in stored order. Records that lie wholly in intact
// blocks are found again behind a gap by what a record looks like: reserved words of 0, the ID of an item
// that the vault holds, and user data that ends where it says.
std::vector<Record> RescueRecords(const Image& image);

}  // namespace cli
