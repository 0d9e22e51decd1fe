// The memory of what an open vault keeps, item bytes and records and tables, carved from pieces, some of them as large
// as the system's large pages.
//
// A page fresh from the system costs more than filling it, and a large page not much more than a few small ones. So
// memory comes in large pages when most of one will be filled soon, which the caller says, and else in small pieces
// whose untouched pages cost nothing. But a system has few large pages at hand: more of them have to be made, in a
// virtual machine by its host as well, and cost more than their small ones. So behind the first of them pieces are
// merely larger.
//
// Invariants:
//  1. A block is aligned as the heap's are and keeps its place until it is given back. What it holds is its
//     owner's to wipe.
//  2. A piece goes back to the system with its last block.
//  3. A new piece is begun only while half of the bytes of all pieces, or more, are taken, and only for a block of
//     at most half of its size. A block that finds no room then is the heap's own. So all pieces together are never
//     larger than one piece and twice the most that was ever taken of them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "commonbase/src/growarray.h"

namespace commonbase {

class MemoryPool {
 public:
  MemoryPool() = default;
  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;

  // Says how many bytes will be taken soon. Nothing but the size of the next pieces depends on it.
  void expect(uint64_t size) { expected_ = size; }

  // A block of memory of any content, never null for a size of 0; null when there is no memory.
  void* take(size_t size);

  // Gives back a block that was taken with that size.
  void give(void* block, size_t size);

  // The bytes of pieces that are taken.
  size_t taken() const { return taken_; }

 private:
  struct Piece {
    size_t size = 0;
    size_t taken = 0;
  };
  // Memory of a piece that no block has yet, or no more.
  struct Room {
    uint8_t* next = nullptr;
    uint8_t* end = nullptr;
    Piece* piece = nullptr;

    size_t size() const { return static_cast<size_t>(end - next); }
  };
  static constexpr size_t kRooms = 8;

  Room* roomFor(size_t size);
  Room* addPiece(size_t size);
  void dropPiece(uint32_t number);
  uint32_t numberOf(const void* block) const;
  Room* smallestRoom();

  GrowArray<Piece*> pieces_;  // by address
  Room rooms_[kRooms] = {};   // the largest known
  size_t total_ = 0;          // bytes of all pieces
  size_t taken_ = 0;
  uint64_t expected_ = 0;
};

// The pool of the process.
MemoryPool& SharedMemory();

}  // namespace commonbase
