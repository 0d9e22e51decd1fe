// Reading, writing and flushing the blocks of an open data file.
//
// Invariant: a write goes through here and is noted in staleBlocks, so that bringing the backup up to date
// can copy just the blocks that changed.
#pragma once

#include <cstdint>

#include "storage/blockwindow.h"
#include "storage/controller.h"
#include "storage/largebuffer.h"

namespace storage {

// Whether all `count` blocks from `block` on were read; as another program's journal has them, where it lies over
// the file.
bool ReadBlocks(const FileInfo* file, uint32_t block, uint8_t* bytes, uint32_t count);

// Whether all `count` blocks were written.
bool WriteBlocks(FileInfo* file, uint32_t block, const uint8_t* bytes, uint32_t count);

// Marks blocks free in the file: only their packetType changes. A block that is none any more becomes a whole free
// one. They are read through a window of the file. False when a read or a write failed.
bool WriteFreeMarks(FileInfo* file, uint32_t block, uint32_t count, BlockWindow* window);

// Copies bytes to the same place of another file. False when they could not be read or written.
bool CopyBytes(const platform::File& from, platform::File* to, uint64_t position, uint64_t size,
               const LargeBuffer& buffer);

// The header of a block of the file. False when it cannot be read.
bool ReadHeader(const FileInfo* file, uint32_t block, PacketHeader* header);

// Cuts the file to `blockNum` blocks; false when that failed.
bool CutBlocks(FileInfo* file, uint32_t blockNum);

// Carries everything in the data file to the medium. A failure is never taken back: the journal is poisoned.
bool FlushDataFile(FileInfo* file);

// The sum of BlockPart over the file's blocks, as they stand. False when one cannot be read.
bool SumBlocks(const platform::File& file, uint32_t blockNum, uint64_t* sum);

}  // namespace storage
