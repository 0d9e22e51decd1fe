// One sequential pass over a data file: the validity test, with every packet and free block reported on the
// way.
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "storage/format.h"

namespace storage {

// The header and the place of a block, handed out by the pass; false ends the pass.
using BlockVisitor = bool (*)(void* context, uint32_t block, const PacketHeader& header);

// Reads the file's blocks in large pieces through `buffer` (kBufferBlocks blocks). kBadData when the file's
// size or a block's header or trailer is not that of a data file; kIncomplete when it shrank meanwhile;
// kCannotOpen when the visitor ended the pass.
int32_t ScanBlocks(const platform::File& file, uint8_t* buffer, BlockVisitor visit, void* context);

}  // namespace storage
