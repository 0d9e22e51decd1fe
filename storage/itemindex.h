// The items of one data file by their ID: a chained hash table that owns nothing.
//
// Invariants:
//  1. An item stands in it at most once; its link is `nextInBucket`.
//  2. Inserting never fails: without memory for more buckets the chains only grow longer.
//  3. The hash is drawn anew for every table, so that no file can be made to collide in it.
#pragma once

#include <cstdint>

#include "commonbase/src/growarray.h"

namespace storage {

struct ItemInfo;

class ItemIndex {
 public:
  ItemIndex();
  ~ItemIndex();
  ItemIndex(const ItemIndex&) = delete;
  ItemIndex& operator=(const ItemIndex&) = delete;

  ItemInfo* find(uint32_t id) const;
  void insert(ItemInfo* item);
  void remove(ItemInfo* item);
  uint32_t count() const { return count_; }

  // Calls `visit` for every item, in no particular order, until it returns false; whether it never did.
  bool forEach(bool (*visit)(void* context, ItemInfo* item), void* context) const;

  // Empties the table, handing every item to `release`.
  void clear(void (*release)(ItemInfo* item));

  // All items by ascending ID. False when there is no memory.
  bool sorted(commonbase::GrowArray<ItemInfo*>* items) const;

 private:
  uint32_t bucketOf(uint32_t id) const;
  void grow();

  ItemInfo* first_ = nullptr;  // the one bucket that always exists
  ItemInfo** buckets_ = &first_;
  uint32_t bits_ = 0;  // there are 2 to this many buckets
  uint32_t count_ = 0;
  uint64_t multiplier_;
};

// Sorts items by ascending ID.
void SortById(ItemInfo** begin, ItemInfo** end);

}  // namespace storage
