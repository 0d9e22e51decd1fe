// Changing items in memory: what else than the operations themselves a change needs of that.
#pragma once

#include "storage/controller.h"

namespace storage {

// Makes room for an item of `size` bytes and for listing it as dirty. A missing item is made, clean and with no bytes;
// a present one keeps its content and its state. 0; kNoItem when there is no memory or the size is too large;
// kIncomplete when its bytes cannot be read.
int32_t ReserveItem(FileInfo* file, uint32_t id, uint32_t size);

// Gives an item whose bytes are not in memory room for `size` bytes that replace them all; its next save writes every
// packet. False when there is no memory.
bool ReplaceUnread(FileInfo* file, ItemInfo* item, uint32_t size);

}  // namespace storage
