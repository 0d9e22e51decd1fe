// The records that share one key, of which the one in the lowest slot is asked for: a heap by slot.
//
// Records lead to each other by slot numbers (`branch`); the heap itself is the number of the top one. It lies in
// the trie of the slots' bits, which keeps it shallow without any balancing.
//
// Invariants:
//  1. A record's slot is above that of the record which leads to it: the top has the lowest.
//  2. The way from the top to a record is spelled by its slot's bits, the lowest first. So a record is found from
//     its slot, and no way is longer than 32 steps; among n neighbouring slots it is about log2 n.
#pragma once

#include <algorithm>
#include <utility>

#include "catalogue/slotarray.h"

namespace catalogue {

template <typename T>
class SlotHeap {
 public:
  static constexpr uint32_t kNone = UINT32_MAX;

  // The heap of the record in slot `top`; an empty one for kNone.
  SlotHeap(const SlotArray<T>& slots, uint32_t top) : slots_(slots), top_(top) {}

  uint32_t top() const { return top_; }

  // Takes in a record that stands in its slot.
  void insert(T* record) {
    uint32_t* link = &top_;
    for (int depth = 0; *link != kNone; ++depth) {
      T* there = slots_[*link];
      if (record->slot < there->slot) {  // it takes the place, and the other one goes on down
        *link = record->slot;
        std::copy(there->branch, there->branch + 2, record->branch);
        std::swap(record, there);
      }
      link = &there->branch[record->slot >> depth & 1];
    }
    *link = record->slot;
    record->branch[0] = record->branch[1] = kNone;
  }

  // Takes out a record of the heap.
  void remove(const T* record) {
    uint32_t* link = &top_;
    for (int depth = 0; *link != record->slot; ++depth)
      link = &slots_[*link]->branch[record->slot >> depth & 1];
    // The lower one of the two below rises into the empty place, and so on for the place that it leaves.
    uint32_t below[2] = {record->branch[0], record->branch[1]};
    while (true) {
      const int side = below[0] < below[1] ? 0 : 1;
      *link = below[side];
      if (below[side] == kNone) return;
      T* risen = slots_[below[side]];
      const uint32_t other = below[1 - side];
      std::copy(risen->branch, risen->branch + 2, below);
      risen->branch[1 - side] = other;
      link = &risen->branch[side];
    }
  }

 private:
  const SlotArray<T>& slots_;
  uint32_t top_;
};

}  // namespace catalogue
