// The items of one data file by their ID.
#pragma once

#include <cstdint>

#include "commonbase/src/chaintable.h"
#include "commonbase/src/growarray.h"
#include "storage/fragments.h"

namespace storage {

// One of a SlabPool's records, which are made of zeros: so neither it nor Fragments has initialisers.
struct ItemInfo {
  uint32_t id;
  uint32_t size;
  uint8_t* data;  // null until the bytes have been read or set
  Fragments fragments;
  // Single bits: a record is one line of the cache.
  bool dirty : 1;
  bool staged : 1;     // the change under way writes it
  bool isUnasked : 1;  // its bytes were read along with others', and nobody has asked for them yet

  // What the last save, or the scan, left on disk: which packets need no writing again (see dirty.h).
  bool inOrder : 1;       // fragment i holds packet i, exactly as the engine writes it
  bool numbered : 1;      // the packet that the scan met last bears a number
  bool hasLeftovers : 1;  // packets that are not the item stand among its blocks
  uint32_t savedSize;     // the size those packets were made for
  uint32_t changedFrom;   // the bytes changed since then, while dirty
  uint32_t changedTo;

  uint32_t capacity;   // bytes allocated at `data`
  uint32_t dirtySlot;  // place in FileInfo::dirtyItems, while dirty
  ItemInfo* nextInBucket;
};

// Whether its bytes are in memory, as far as callers may notice.
inline bool HasBytes(const ItemInfo* item) {
  return item->data != nullptr && !item->isUnasked;
}

inline uint32_t IdOf(const ItemInfo* item) {
  return item->id;
}

class ItemIndex : public commonbase::ChainTable<ItemInfo, &ItemInfo::nextInBucket, IdOf> {
 public:
  ItemInfo* find(uint32_t id) const {
    ItemInfo* item = chain(id);
    while (item != nullptr && item->id != id) item = item->nextInBucket;
    return item;
  }

  // All items by ascending ID. False when there is no memory.
  bool sorted(commonbase::GrowArray<ItemInfo*>* items) const;
};

// Sorts items by ascending ID.
void SortById(ItemInfo** begin, ItemInfo** end);

}  // namespace storage
