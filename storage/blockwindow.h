// The blocks of a file, one at a time, read a window at a time: they are asked for mostly in order, up or down.
//
// Invariant: a window holds what the file held when it was read. Who writes a block that may be asked for again calls
// forget().
#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "storage/format.h"
#include "storage/journalformat.h"

namespace storage {

class BlockWindow {
 public:
  explicit BlockWindow(const platform::File& file) : file_(file) {}
  ~BlockWindow();
  BlockWindow(const BlockWindow&) = delete;
  BlockWindow& operator=(const BlockWindow&) = delete;

  // A block, until the next call; null when it cannot be read.
  const uint8_t* get(uint32_t block);

  void forget() { count_ = 0; }

 private:
  static constexpr uint32_t kWindow = 32;
  static_assert(kWindow % kPageBlocks == 0);

  const platform::File& file_;
  uint32_t first_ = 0;
  uint32_t count_ = 0;
  uint32_t used_ = 0;  // of the buffer, so far
  uint8_t bytes_[kWindow * kBlockSize];
};

}  // namespace storage
