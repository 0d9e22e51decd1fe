// Reading: an item's bytes, assembled from its blocks the first time they are asked for.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Reads the item's blocks, checks each packet unless the file was opened with kOpenUnverified, and puts its
// bytes into a new buffer at `data`. 0; kNoItem when there is no memory; kIncomplete, with `data` null, when
// a block cannot be read, fails its check or does not fit the item. Needs `data` to be null.
int32_t BuildItemData(const FileInfo* file, ItemInfo* item);

// A buffer for item bytes, never null for a size of 0; null when there is no memory.
uint8_t* NewItemBytes(uint32_t size);

// Wipes an item's bytes and gives their memory back.
void DropItemBytes(ItemInfo* item);

}  // namespace storage
