// The free chain through an area of blocks of one size, shared by the node pool and the tree's elements.
//
// Invariants:
//  1. The first bytes of a free block hold its link. Where a block has room for an address the link is the
//     address of the next free block; in smaller blocks (4 bytes at least) it is the 4-byte number of that
//     block in the area, counted from 1. 0 ends the chain either way.
//  2. Blocks need not be aligned: links are copied bytewise.
#pragma once

#include <cstdint>
#include <cstring>

namespace commonbase {

constexpr int32_t kSmallestLink = 4;

struct BlockArea {
  unsigned char* first = nullptr;
  size_t number = 0;  // of blocks
  size_t size = 0;    // of one block in bytes

  bool holds(const void* block) const {
    const auto start = reinterpret_cast<uintptr_t>(first);
    const auto address = reinterpret_cast<uintptr_t>(block);
    return first != nullptr && address >= start && address - start < number * size;
  }

  void* next(const void* block) const {
    if (size >= sizeof(void*)) {
      void* link;
      std::memcpy(&link, block, sizeof link);
      return link;
    }
    uint32_t link;
    std::memcpy(&link, block, sizeof link);
    return link == 0 ? nullptr : first + (link - 1) * size;
  }

  void setNext(void* block, void* next) const {
    if (size >= sizeof(void*)) {
      std::memcpy(block, &next, sizeof next);
      return;
    }
    uint32_t link = 0;
    if (next != nullptr) {
      const auto offset = static_cast<size_t>(static_cast<unsigned char*>(next) - first);
      link = static_cast<uint32_t>(offset / size + 1);
    }
    std::memcpy(block, &link, sizeof link);
  }

  // Links all blocks in ascending order.
  void chainAll() const {
    for (size_t i = 0; i + 1 < number; ++i) setNext(first + i * size, first + (i + 1) * size);
    setNext(first + (number - 1) * size, nullptr);
  }
};

}  // namespace commonbase
