#include "storage/dirty.h"

#include <algorithm>

namespace storage {

bool ReserveDirty(FileInfo* file) {
  return file->dirtyItems.reserve(file->dirtyItems.size() + 2);
}

void MarkChanged(FileInfo* file, ItemInfo* item, uint32_t from, uint32_t to) {
  if (item->dirty) {
    item->changedFrom = std::min(item->changedFrom, from);
    item->changedTo = std::max(item->changedTo, to);
    return;
  }
  item->changedFrom = from;
  item->changedTo = to;
  MarkDirty(file, item);
}

void MarkDirty(FileInfo* file, ItemInfo* item) {
  item->dirty = true;
  item->dirtySlot = file->dirtyItems.size();
  file->dirtyItems.add(item);
}

void MarkClean(FileInfo* file, ItemInfo* item) {
  auto& dirty = file->dirtyItems;
  ItemInfo* last = dirty[dirty.size() - 1];
  dirty[item->dirtySlot] = last;
  last->dirtySlot = item->dirtySlot;
  dirty.removeLast();
  item->dirty = false;
}

void NoteSaved(ItemInfo* item) {
  item->savedSize = item->size;
  item->inOrder = true;
  item->hasLeftovers = false;
  item->changedFrom = UINT32_MAX;
  item->changedTo = 0;
}

bool PacketIsOnDisk(const ItemInfo* item, uint32_t index) {
  const uint32_t packets = PacketsFor(item->size);
  const uint32_t savedPackets = PacketsFor(item->savedSize);
  if (!item->inOrder || index >= savedPackets || packets == 1 || savedPackets == 1) return false;
  // An item of one packet may be what is left of several. One that was not full carries filler, which no reader has checked, or is full by now.
  if (PacketLength(item->savedSize, index) != kPacketCapacity) return false;
  const uint32_t from = index * kPacketCapacity;
  return from + kPacketCapacity <= item->changedFrom || from >= item->changedTo;
}

uint32_t FirstToWrite(const ItemInfo* item) {
  const uint32_t packets = std::min(PacketsFor(item->size), PacketsFor(item->savedSize));
  if (packets < 2 || !item->inOrder) return 0;
  return std::min(packets - 1, item->changedFrom / kPacketCapacity);
}

void SortDirty(FileInfo* file) {
  auto& dirty = file->dirtyItems;
  SortById(dirty.begin(), dirty.end());
  for (uint32_t i = 0; i < dirty.size(); ++i) dirty[i]->dirtySlot = i;
}

}  // namespace storage
