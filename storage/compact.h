// Compaction: live blocks from the end of a file move into its free blocks, and the end is cut off.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Run only while closing: fragments and blockNum are out of date afterwards. 0; kCannotOpen when the backup
// could not be made (nothing has changed then); kWriteFailed when the file was left torn.
//
// When a move fails, the file is not cut below the highest live block, and the blocks below the cut that were
// moved away are marked free, so that no packet stands twice.
int32_t CompactDataFile(FileInfo* file);

}  // namespace storage
