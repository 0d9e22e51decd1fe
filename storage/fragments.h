// The blocks of one item, as byte offsets in the data file, in the order in which packets go into them.
//
// Most items take one or two blocks; those need no memory of their own.
//
// Invariants:
//  1. Only reserve() allocates; add() needs room that reserve() made.
//  2. The record is plain: all zeros is an empty list, and release() is its destructor.
#pragma once

#include <cstdint>

namespace storage {

struct Fragments {
  uint32_t count;
  uint32_t capacity;  // 0 while the offsets stand in `own`
  union {
    uint32_t own[2];
    uint32_t* heap;
  };

  // Makes room for `wanted` offsets in all. False when there is no memory; nothing has changed then.
  bool reserve(uint32_t wanted);
  void release();

  void add(uint32_t offset) { begin()[count++] = offset; }
  void removeLast() { --count; }
  uint32_t last() const { return begin()[count - 1]; }
  uint32_t operator[](uint32_t i) const { return begin()[i]; }

  uint32_t* begin() { return capacity == 0 ? own : heap; }
  const uint32_t* begin() const { return capacity == 0 ? own : heap; }
  const uint32_t* end() const { return begin() + count; }
};

}  // namespace storage
