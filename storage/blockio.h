// Every read and write of a data file's blocks.
//
// Invariant: a write goes through here and is noted in staleBlocks, so that bringing the backup up to date
// can copy just the blocks that changed.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Whether all `count` blocks from `block` on were read.
bool ReadBlocks(const FileInfo* file, uint32_t block, uint8_t* bytes, uint32_t count);

// Writes `count` blocks; the number of whole blocks that were written.
uint32_t WriteBlocks(FileInfo* file, uint32_t block, const uint8_t* bytes, uint32_t count);

// Marks a block free on disk: only its packetType changes. False when the write failed.
bool WriteFreeMark(FileInfo* file, uint32_t block);

// The header of a block of the file. False when it cannot be read.
bool ReadHeader(const FileInfo* file, uint32_t block, PacketHeader* header);

// Cuts the file to `blockNum` blocks; false when that failed.
bool CutBlocks(FileInfo* file, uint32_t blockNum);

}  // namespace storage
