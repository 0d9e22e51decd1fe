// Memory for going over many blocks in few steps: systems move bytes faster in large pieces, and keep a file that was
// written in large pieces in larger pages.
//
// Invariants:
//  1. There always is a buffer: without memory, and for few blocks, it is the engine's scratch buffer.
//  2. What it held is wiped when it goes.
#pragma once

#include <cstdint>

#include "commonbase/src/memorypool.h"
#include "platform/platform.h"
#include "storage/controller.h"

namespace storage {

class LargeBuffer {
 public:
  // A buffer for going over so many blocks.
  explicit LargeBuffer(uint64_t blocks) {
    if (blocks >= kWorthIt) memory_ = static_cast<uint8_t*>(commonbase::SharedMemory().take(kMemory));
  }
  ~LargeBuffer() {
    if (memory_ == nullptr) return;
    platform::Wipe(memory_, kMemory);
    commonbase::SharedMemory().give(memory_, kMemory);
  }
  LargeBuffer(const LargeBuffer&) = delete;
  LargeBuffer& operator=(const LargeBuffer&) = delete;

  uint32_t blocks() const { return memory_ != nullptr ? kBlocks : kBufferBlocks; }
  uint8_t* bytes() const {
    if (memory_ == nullptr) return controller->blockBuffer;
    return memory_ + (kBufferAlignment - reinterpret_cast<uintptr_t>(memory_) % kBufferAlignment);
  }

 private:
  static constexpr uint32_t kWorthIt = 2048;  // blocks
  static constexpr uint32_t kBlocks = 256;
  static constexpr size_t kMemory = size_t{kBlocks} * kBlockSize + kBufferAlignment;

  uint8_t* memory_ = nullptr;
};

}  // namespace storage
