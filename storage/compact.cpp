#include "storage/compact.h"

#include <algorithm>
#include <cstring>

#include "storage/blockio.h"
#include "storage/freeblocks.h"
#include "storage/result.h"
#include "storage/save.h"

namespace storage {

namespace {

// Live blocks on their way down: their places descend, the free blocks that take them ascend. They are read a
// window of the file at a time, and those that come to lie one behind the other are written at once.
class Move {
 public:
  explicit Move(FileInfo* file) : file_(file) {}

  // Moves a block, which lies below all met before, to the lowest free one.
  void add(uint32_t from, uint32_t to) {
    if (count_ == kPart || to != first_ + count_) finish();
    if (from < windowFirst_ && !readWindow(from)) {
      keep(from);
      return;
    }
    if (count_ == 0) first_ = to;
    std::memcpy(taken() + size_t{count_} * kBlockSize, window() + size_t{from - windowFirst_} * kBlockSize,
                kBlockSize);
    from_[count_++] = from;
    file_->freeBlocks.erase(to);
  }

  // Writes what is on its way. The places that were left are free then; where a block could not be written,
  // it stays live and the free one free.
  void finish() {
    const uint32_t written = WriteBlocks(file_, first_, taken(), count_);
    // A block that came down may have to move on, when a lower place could not be written: it is read anew.
    if (first_ + count_ > windowFirst_) windowFirst_ = UINT32_MAX;
    for (uint32_t i = 0; i < count_; ++i) {
      file_->freeBlocks.insert(i < written ? from_[i] : first_ + i);
      if (i >= written) keep(from_[i]);
    }
    count_ = 0;
  }

  // The end of the highest live block that could not be moved, 0 when all were.
  uint32_t keptEnd() const { return keptEnd_; }

 private:
  static constexpr uint32_t kPart = kBufferBlocks / 2;

  static uint8_t* window() { return controller->blockBuffer; }
  static uint8_t* taken() { return controller->blockBuffer + size_t{kPart} * kBlockSize; }

  void keep(uint32_t block) { keptEnd_ = std::max(keptEnd_, block + 1); }

  // Reads the blocks up to and with `last`, or that one alone when others cannot be read.
  bool readWindow(uint32_t last) {
    windowFirst_ = last < kPart ? 0 : last + 1 - kPart;
    if (ReadBlocks(file_, windowFirst_, window(), last + 1 - windowFirst_)) return true;
    windowFirst_ = last;
    if (ReadBlocks(file_, last, window(), 1)) return true;
    ++windowFirst_;
    return false;
  }

  FileInfo* file_;
  uint32_t windowFirst_ = UINT32_MAX;
  uint32_t first_ = 0;  // the free blocks that are being taken
  uint32_t count_ = 0;
  uint32_t from_[kPart] = {};
  uint32_t keptEnd_ = 0;
};

// Moves live blocks down into the free ones. Returns the end of the highest live block that stayed.
uint32_t MoveLiveBlocks(FileInfo* file) {
  Move move(file);
  for (uint32_t block = file->blockNum; block-- > 0;) {
    if (IsFreeBlock(file, block * kBlockSize)) continue;
    const uint32_t target = file->freeBlocks.lowest();
    if (target > block) break;
    move.add(block, target);
  }
  move.finish();
  return move.keptEnd();
}

}  // namespace

int32_t CompactDataFile(FileInfo* file) {
  const uint32_t free = file->freeBlocks.count();
  if (free == 0) return kOk;
  if (file->torn || BeginPass(file) != kOk) return kCannotOpen;

  const uint32_t end = std::max(file->blockNum - free, MoveLiveBlocks(file));
  const auto& left = file->freeBlocks;
  for (uint32_t block = left.lowest(); block < end; block = left.next(block + 1)) {
    if (!WriteFreeMark(file, block)) return kWriteFailed;
  }
  // The backup stands for both the moves and the cut: one flush behind them is enough.
  if (!CutBlocks(file, end) || !file->file.sync()) return kWriteFailed;
  file->torn = false;
  return kOk;
}

}  // namespace storage
