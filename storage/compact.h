// Compaction: live blocks from the end of a file move into its free blocks, and the end is cut off. All of it happens,
// or nothing.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Run only while closing: fragments and free blocks are out of date afterwards. 0, or the code of what failed, with
// nothing changed.
int32_t CompactDataFile(FileInfo* file);

}  // namespace storage
