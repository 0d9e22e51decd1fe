// Records of one type in slabs: no heap block, and no heap operation, for each.
//
// Invariants:
//  1. A record is all zeros when it is taken, and keeps its address until it is given back.
//  2. Slabs are never returned before the pool is; a record given back is the next one taken.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "platform/platform.h"

namespace commonbase {

template <typename T>
class SlabPool {
  static_assert(std::is_trivial<T>::value, "records are made of zeros and vanish with their slab");

 public:
  SlabPool() = default;
  ~SlabPool() {
    while (slabs_ != nullptr) {
      Place* next = slabs_->next;
      std::free(slabs_);
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
  // A few records cost little memory, and many stand in large pages.
  static constexpr size_t kFirstSize = size_t{16} << 10, kLargestSize = size_t{2} << 20;

  bool addSlab() {
    auto* slab = static_cast<Place*>(platform::AllocateLarge(slabSize_));
    if (slab == nullptr) return false;
    slab->next = slabs_;
    slabs_ = slab;
    unused_ = slabSize_ / sizeof(Place) - 1;
    slabSize_ = std::min(slabSize_ * 8, kLargestSize);
    return true;
  }

  Place* slabs_ = nullptr;        // the newest; the first place of each leads to the one before
  size_t slabSize_ = kFirstSize;  // of the next one
  size_t unused_ = 0;             // places of the newest slab that were never taken
  Place* free_ = nullptr;
};

}  // namespace commonbase
