// A few blocks on the stack, for what is looked at once; wiped when they go.
#pragma once

#include "platform/platform.h"
#include "storage/format.h"

namespace storage {

template <uint32_t kCount = 1>
struct Scratch {
  uint8_t bytes[kCount * kBlockSize] = {};

  Scratch() = default;
  ~Scratch() { platform::Wipe(bytes, sizeof bytes); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
};

}  // namespace storage
