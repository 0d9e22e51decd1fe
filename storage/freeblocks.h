// The free blocks of a data file: given up in memory first, marked on disk later, taken again lowest first.
//
// States of a block:
//
//        AllocateBlock                 ItemWriter
//   end of file ----> taken ----------------------> in use
//                       ^                             |  DeleteItem, or the item shrank
//         AllocateBlock |                             v
//                       +------- free on disk <--- free in memory (unmarked) --> AllocateBlock
//                       SyncFreeBlock writes the mark
//
// Invariants:
//  1. A free mark changes one byte of the block and is idempotent; a block whose mark is on disk for sure is not
//     marked again. Marks of neighbouring blocks are written at once.
//  2. No free mark is written but in a pass (save.h), behind a whole backup.
//  3. An unmarked free block whose old packet could pass for a part of its former item is marked in the same
//     pass that writes the item (MarkConfusableBlocks): what a later open finds is then the item as saved.
//  4. Nobody but a mark writes to a free block, so one whose bytes a failed flush may have lost is written whole
//     by the next pass: a block of zeros would make the file no data file.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Makes room for the blocks of a file of `blockNum` blocks in all records of blocks. False when there is no
// memory.
bool ReserveBlocks(FileInfo* file, uint32_t blockNum);

// Puts a block among the free ones; `owner` is the item whose packet it still holds, kUnknownOwner when its
// header has to be asked. Needs ReserveBlocks.
constexpr uint32_t kUnknownOwner = UINT32_MAX;
void InsertFreeBlock(FileInfo* file, uint32_t block, uint32_t owner);

// Puts a block that carries the free mark on disk among the free ones. Needs ReserveBlocks.
void InsertMarkedBlock(FileInfo* file, uint32_t block);

// Takes the lowest free block, else the one behind the end of the file. Needs ReserveBlocks.
uint32_t AllocateBlock(FileInfo* file);

// Whether block `offset` / 1024 is free.
bool IsFreeBlock(const FileInfo* file, uint32_t offset);

// Writes the free mark into every block that lacks it, in a pass that is left open: the next SyncDirtyData
// completes it, and writes the marks that this one could not. 0 inside a transaction and when there is nothing
// to mark; the backup's code when it could not be made; kWriteFailed when a mark could not be written.
int32_t SyncFreeBlock(FileInfo* file);

// The marks of SyncFreeBlock, in a pass: 0 or kWriteFailed.
int32_t WriteFreeMarks(FileInfo* file);

// Marks the unmarked free blocks that hold confusable packets of dirty items. False when a write failed.
bool MarkConfusableBlocks(FileInfo* file);

// After a pass that did not become durable: neither a mark nor what a free block holds is taken to be on disk.
void DistrustFreeBlocks(FileInfo* file);

// Writes every free block whole, in a pass: 0 or kWriteFailed.
int32_t RewriteFreeBlocks(FileInfo* file);

}  // namespace storage
