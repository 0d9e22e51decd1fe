// The memory that the library takes and gives.
//
// There are two places for it. What an open vault keeps by the thousands, or in pieces as large as an item, is taken
// from the pool (commonbase/src/memorypool.h), which is told the size again when it goes back. All else, what there is
// one of or what grows now and then, is taken here, from the heap.
//
// Invariants:
//  1. C's malloc, realloc and free are called in this file alone, and where AllocateLarge() is made of the system's
//     calls. The exported Malloc() and Free() are this heap for callers in C, and for the containers they share.
//  2. Whatever was taken here, and by AllocateLarge(), goes back through Release(), a record through Destroy().
//  3. Without memory the answer is null and nothing has changed. Everybody looks.
//  4. Nothing is wiped on its way back. Whoever had item bytes in it has wiped them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>

namespace platform {

// Memory of any content, aligned for everything.
inline void* Allocate(size_t size) {
  return std::malloc(size);
}

// Null is ignored.
inline void Release(void* memory) {
  std::free(memory);
}

// Makes room for `number` values where there was some, or none (null). What was there has moved along, perhaps to
// another place; where there is no memory, it stays.
template <typename T>
T* Resize(T* values, size_t number) {
  static_assert(std::is_trivially_copyable<T>::value, "values are moved byte by byte");
  if (number > SIZE_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(std::realloc(values, number * sizeof(T)));
}

// A record as its initialisers say, the rest of it zeros.
template <typename T>
T* Make() {
  void* memory = Allocate(sizeof(T));
  return memory != nullptr ? new (memory) T() : nullptr;
}

// Null is ignored.
template <typename T>
void Destroy(T* record) {
  if (record == nullptr) return;
  record->~T();
  Release(record);
}

}  // namespace platform
