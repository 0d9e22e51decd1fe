#include "storage/compact.h"

#include <algorithm>

#include "storage/blockio.h"
#include "storage/freeblocks.h"
#include "storage/result.h"
#include "storage/save.h"

namespace storage {

namespace {

constexpr int32_t kMoved = 1;

// Moves live blocks down into the free ones; the blocks moved away are free then. Returns the end of the
// highest live block that could not be moved, 0 when all were.
uint32_t MoveLiveBlocks(FileInfo* file) {
  uint32_t keptEnd = 0;
  for (uint32_t block = file->blockNum; block-- > 0;) {
    if (IsFreeBlock(file, block * kBlockSize)) continue;
    const uint32_t target = file->freeBlocks.lowest();
    if (target > block) break;
    if (MoveBlock(file, block * kBlockSize, target * kBlockSize) == kMoved) {
      file->freeBlocks.erase(target);
      file->freeBlocks.insert(block);
    } else {
      keptEnd = std::max(keptEnd, block + 1);
    }
  }
  return keptEnd;
}

}  // namespace

int32_t MoveBlock(FileInfo* file, uint32_t from, uint32_t to) {
  uint8_t* block = controller->blockBuffer;
  if (!ReadBlocks(file, from / kBlockSize, block, 1)) return kIncomplete;
  return WriteBlocks(file, to / kBlockSize, block, 1) == 1 ? kMoved : 0;
}

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
