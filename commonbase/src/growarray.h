// A growable array of plain values whose growth can fail without a change: reserve first, then add.
//
// Invariants:
//  1. Only reserve() allocates; add() needs room that reserve() made.
//  2. Growth is geometric, so that adding n values costs O(n).
#pragma once

#include <cstdint>

#include "platform/heap.h"

namespace commonbase {

template <typename T>
class GrowArray {
 public:
  GrowArray() = default;
  ~GrowArray() { platform::Release(values_); }
  GrowArray(const GrowArray&) = delete;
  GrowArray& operator=(const GrowArray&) = delete;

  // Makes room for `size` values in all. False when there is no memory; nothing has changed then.
  bool reserve(uint32_t size) {
    if (size <= capacity_) return true;
    // What is asked for first may be all that is ever needed.
    const uint64_t wanted = size < 8 ? 8 : capacity_ == 0 ? size : uint64_t{size} + size / 2;
    if (wanted > UINT32_MAX) return false;
    T* values = platform::Resize(values_, static_cast<size_t>(wanted));
    if (values == nullptr) return false;
    values_ = values;
    capacity_ = static_cast<uint32_t>(wanted);
    return true;
  }

  void add(const T& value) { values_[size_++] = value; }
  void removeLast() { --size_; }
  void clear() { size_ = 0; }
  // Empties the array and gives its memory back.
  void release() {
    platform::Release(values_);
    values_ = nullptr;
    size_ = capacity_ = 0;
  }

  uint32_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T& operator[](uint32_t i) { return values_[i]; }
  const T& operator[](uint32_t i) const { return values_[i]; }
  T* begin() { return values_; }
  T* end() { return values_ + size_; }
  const T* begin() const { return values_; }
  const T* end() const { return values_ + size_; }

 private:
  T* values_ = nullptr;
  uint32_t size_ = 0;
  uint32_t capacity_ = 0;
};

}  // namespace commonbase
