#include "storage/compact.h"

#include "storage/change.h"
#include "storage/commit.h"
#include "storage/freeblocks.h"
#include "storage/result.h"

namespace storage {

namespace {

// The moves, from the highest live block down, each into the lowest free one. False when there is no memory.
bool PlanMoves(const FileInfo* file, commonbase::GrowArray<BlockMove>* moves) {
  uint32_t target = file->freeBlocks.lowest();
  for (uint32_t block = file->blockNum; block-- > 0;) {
    if (target > block) return true;
    if (IsFreeBlock(file, block * kBlockSize)) continue;
    if (!moves->reserve(moves->size() + 1)) return false;
    moves->add({target, block});
    target = file->freeBlocks.next(target + 1);
  }
  return true;
}

// What a transaction that is dropped has freed is named by a change of its own: the moves then put blocks there.
int32_t NameUnlisted(FileInfo* file) {
  if (file->unlistedBlocks.empty()) return kOk;
  change.begin(file);
  if (const int32_t result = change.stageNothing(); result != kOk) {
    change.undo();
    return result;
  }
  return CommitChange();
}

}  // namespace

int32_t CompactDataFile(FileInfo* file) {
  const uint32_t free = file->freeBlocks.count();
  if (free == 0) return kOk;
  if (const int32_t result = NameUnlisted(file); result != kOk) return result;
  commonbase::GrowArray<BlockMove> moves;
  if (!PlanMoves(file, &moves)) return kNoItem;
  change.begin(file);
  if (const int32_t result = change.stageMoves(nullptr, &moves, file->blockNum - free); result != kOk) {
    change.undo();
    return result;
  }
  return CommitChange();
}

}  // namespace storage
