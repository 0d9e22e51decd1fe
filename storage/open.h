// Opening: the index of a data file and its free blocks, rebuilt from the block headers in one pass.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Fills a new record from its open `file`: 0, kBadData when it is not a valid data file, kIncomplete when it
// shrank meanwhile, kCannotOpen when there is no memory.
int32_t ReadDataFile(FileInfo* file);

// A record for an item of the file, all zeros but for its ID; null when there is no memory.
ItemInfo* NewItemInfo(FileInfo* file, uint32_t id);

}  // namespace storage
