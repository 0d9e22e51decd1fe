// What a rescue reads of an ID table that is damaged; tablerecords.h reads one that is whole.
#pragma once

#include <vector>

#include "cli/image.h"

namespace cli {

// The records of a table some of whose blocks are lost, in stored order. Records that lie wholly in intact
// blocks are found again behind a gap by what a record looks like: reserved words of 0, the ID of an item
// that the vault holds, and user data that ends where it says.
std::vector<Record> RescueRecords(const Image& image);

}  // namespace cli
