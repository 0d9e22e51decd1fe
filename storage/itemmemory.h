// The memory of items: their records and their bytes.
//
// Invariant: item bytes are wiped before their memory is given back.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// A record for an item of the file, all zeros but for its ID; null when there is no memory.
ItemInfo* NewItemInfo(FileInfo* file, uint32_t id);

// Gives an item's record and bytes back.
void ReleaseItem(FileInfo* file, ItemInfo* item);

// So many bytes will probably be asked for.
void ExpectItemBytes(uint64_t size);

// A buffer for bytes that an item is given, or for those that the file has of it; never null for a size of 0, null when
// there is no memory.
uint8_t* NewItemBytes(uint32_t size);
uint8_t* NewBytesToRead(const FileInfo* file, uint32_t size);

// Gives a buffer back.
void ReleaseItemBytes(uint8_t* data, uint32_t capacity);

// Gives an item's buffer back: its bytes are in the file alone then.
void DropItemBytes(ItemInfo* item);

}  // namespace storage
