// One sequential pass over a data file: the validity test, with every packet and free block reported on the
// way, and the sum over its blocks.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// The headers of `count` blocks from `first` on, handed out by the pass; false ends the pass.
using BlockVisitor = bool (*)(void* context, uint32_t first, const PacketHeader* headers, uint32_t count);

// Reads the file's blocks in large pieces, and leaves their sum in file->blockSum. kBadData when the file's size or a
// block's header or trailer is not that of a data file; kIncomplete when it shrank meanwhile; kCannotOpen when the
// visitor ended the pass.
int32_t ScanBlocks(FileInfo* file, BlockVisitor visit, void* context);

}  // namespace storage
