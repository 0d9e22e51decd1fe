// The list of dirty items, and which of their bytes differ from the file.
//
// Invariant: only ReserveDirty allocates; MarkChanged needs room that it made.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Makes room for two more dirty items: the caller's, and the table of IDs that tells of it, which must not fail
// when the item is taken already. False when there is no memory.
bool ReserveDirty(FileInfo* file);

// Lists the item as dirty, its bytes from `from` to `to` changed.
void MarkChanged(FileInfo* file, ItemInfo* item, uint32_t from, uint32_t to);

// Lists an item that was listed before, with what was noted of it then. There is room for it.
void MarkDirty(FileInfo* file, ItemInfo* item);

// Takes a dirty item off the list.
void MarkClean(FileInfo* file, ItemInfo* item);

// The packets of the item were written, all of them as they stand in memory.
void NoteSaved(ItemInfo* item);

// Whether packet `index` of the item, as it stands in memory, is on disk already. Needs block `index` to have
// been the item's before.
bool PacketIsOnDisk(const ItemInfo* item, uint32_t index);

// A packet before which all are on disk: of an item of thousands of packets mostly the last ones change.
uint32_t FirstToWrite(const ItemInfo* item);

// Brings the list into ascending ID order.
void SortDirty(FileInfo* file);

}  // namespace storage
