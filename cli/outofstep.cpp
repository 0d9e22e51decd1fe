#include "cli/outofstep.h"

#include <algorithm>

#include "cli/bytes.h"
#include "cli/mending.h"
#include "storage/pack.h"
#include "storage/result.h"

namespace cli {

namespace {

using storage::kBlockSize;

// The file, one block's bytes at a time, from any offset on; offsets mostly go up.
class SlidingBytes {
 public:
  explicit SlidingBytes(const platform::File& file) : file_(file), bytes_(kSize) {}

  // Whether a block begins at `at`; whether a packet with a right checksum does.
  bool isBlock(uint64_t at) {
    const uint8_t* block = look(at);
    return storage::IsBlock(block, storage::DecodeHeader(block));
  }
  bool isPacket(uint64_t at) {
    const uint8_t* block = look(at);
    return block[0] >> 4 == storage::kFormatVersion &&
           storage::LoadU32(block + storage::kTrailerOffset) == storage::kTrailerMagic &&
           IsPossible(storage::DecodeHeader(block)) && storage::CheckPacket(block) == storage::kOk;
  }

 private:
  static constexpr size_t kSize = size_t{1} << 20;

  const uint8_t* look(uint64_t at) {
    if (at < begin_ || at + kBlockSize > begin_ + held_) {
      begin_ = at;
      held_ = std::max<size_t>(file_.readAt(at, bytes_.data(), kSize), kBlockSize);
    }
    return bytes_.data() + (at - begin_);
  }

  const platform::File& file_;
  Bytes bytes_;
  uint64_t begin_ = 0;
  size_t held_ = 0;
};

}  // namespace

std::vector<uint64_t> FindOutOfStep(const platform::File& file, uint64_t size) {
  SlidingBytes window(file);
  std::vector<uint64_t> blocks;
  bool isInStep = true;
  for (uint64_t at = 0; at + kBlockSize <= size;) {
    if (window.isBlock(at)) {
      isInStep = isInStep && at % kBlockSize == 0;
      blocks.push_back(at);
      at += kBlockSize;
      continue;
    }
    uint64_t next = at + 1;
    while (next + kBlockSize <= size && !window.isPacket(next)) ++next;
    const bool isLast = next + kBlockSize > size;
    const uint64_t between = isLast ? (size - at) / kBlockSize : (next - at + kBlockSize / 2) / kBlockSize;
    for (uint64_t i = 0; i < between; ++i) blocks.push_back(at + i * kBlockSize);
    at = isLast ? at + between * kBlockSize : next;
  }
  return isInStep ? std::vector<uint64_t>() : blocks;
}

}  // namespace cli
