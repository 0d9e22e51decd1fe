// The free blocks of a data file: given up in memory first, marked in the file later, taken again lowest first.
//
// States of a block:
//
//        AllocateBlock                  a change
//   end of file ----> taken ----------------------> in use
//                       ^                             |  an item goes or shrinks
//         AllocateBlock |                             v
//                       +------- free in the file <--- free in memory (unmarked) --> AllocateBlock
//                                  stageMarks
//
// Invariants:
//  1. A free mark changes one byte of the block. It is written where a caller asked for it, and nowhere else.
//  2. A block that is free in memory only is unlisted until a frame of the journal names it: from then on a recovery
//     marks it, so that what was deleted durably stays deleted.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Makes room for the blocks of a file of `blockNum` blocks in all records of blocks. False when there is no
// memory.
bool ReserveBlocks(FileInfo* file, uint32_t blockNum);

// Puts a block among the free ones, unmarked and unlisted. Needs ReserveBlocks.
void InsertFreeBlock(FileInfo* file, uint32_t block);

// Puts a block that carries the free mark in the file among the free ones. Needs ReserveBlocks.
void InsertMarkedBlock(FileInfo* file, uint32_t block);

// Takes the lowest free block, else the one behind the end of the file. Needs ReserveBlocks.
uint32_t AllocateBlock(FileInfo* file);

// Whether block `offset` / 1024 is free.
bool IsFreeBlock(const FileInfo* file, uint32_t offset);

// A durable frame names every block that is free in memory only.
void ForgetUnlisted(FileInfo* file);

}  // namespace storage
