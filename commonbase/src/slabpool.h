// Records of one type in slabs: no block of memory, and no operation on memory, for each.
//
// Invariants:
//  1. A record is all zeros when it is taken, and keeps its address until it is given back.
//  2. Slabs are never returned before the pool is; a record given back is the next one taken.
#pragma once

#include <cstring>
#include <type_traits>

#include "commonbase/src/memorypool.h"

namespace commonbase {

template <typename T>
class SlabPool {
  static_assert(std::is_trivial<T>::value, "records are made of zeros and vanish with their slab");

 public:
  SlabPool() = default;
  ~SlabPool() {
    while (slabs_ != nullptr) {
      Place* next = slabs_->next;
      SharedMemory().give(slabs_, kSlabSize);
      slabs_ = next;
    }
  }
  SlabPool(const SlabPool&) = delete;
  SlabPool& operator=(const SlabPool&) = delete;

  // A record of zeros, or null when there is no memory.
  T* take() {
    if (free_ == nullptr && unused_ == 0 && !addSlab()) return nullptr;
    Place* place = free_;
    if (place != nullptr) {
      free_ = place->next;
    } else {
      place = &slabs_[unused_--];
    }
    std::memset(static_cast<void*>(place), 0, sizeof *place);
    return &place->record;
  }

  void give(T* record) {
    Place* place = reinterpret_cast<Place*>(record);
    place->next = free_;
    free_ = place;
  }

 private:
  union Place {
    T record;
    Place* next;
  };
  static constexpr size_t kSlabSize = size_t{8} << 10;

  bool addSlab() {
    auto* slab = static_cast<Place*>(SharedMemory().take(kSlabSize));
    if (slab == nullptr) return false;
    slab->next = slabs_;
    slabs_ = slab;
    unused_ = kSlabSize / sizeof(Place) - 1;
    return true;
  }

  Place* slabs_ = nullptr;  // the newest; the first place of each leads to the one before
  size_t unused_ = 0;       // places of the newest slab that were never taken
  Place* free_ = nullptr;
};

}  // namespace commonbase
