#include "storage/save.h"

#include <algorithm>

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/dirty.h"
#include "storage/freeblocks.h"
#include "storage/pack.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Makes room for all that saving the dirty items in their order takes, so that a pass cannot fail for it. False
// when there is no memory, or when they do not fit into the largest data file.
bool ReserveItems(FileInfo* file) {
  int64_t blockNum = file->blockNum;
  int64_t free = file->freeBlocks.count();
  for (ItemInfo* item : file->dirtyItems) {
    const uint32_t needed = PacketsFor(item->size);
    if (!item->fragments.reserve(needed)) return false;
    free -= int64_t{needed} - item->fragments.count;
    if (free < 0) {
      blockNum -= free;
      free = 0;
    }
  }
  return blockNum <= kMaxBlocks && ReserveBlocks(file, static_cast<uint32_t>(blockNum));
}

// Gives back the item's blocks from number `first` on; those at or behind `fileEnd` are not in the file yet.
// The others hold a packet of `owner`.
void GiveBackBlocks(ItemInfo* item, FileInfo* file, uint32_t first, uint32_t fileEnd, uint32_t owner) {
  while (item->fragments.count > first) {
    const uint32_t block = item->fragments.last() / kBlockSize;
    item->fragments.removeLast();
    if (block >= fileEnd) {
      --file->blockNum;
    } else {
      InsertFreeBlock(file, block, owner);
    }
  }
}

// Writes packets `from` to `to` (exclusive), which lie in one run of blocks; the number written.
uint32_t WriteRun(const ItemInfo* item, FileInfo* file, uint32_t from, uint32_t to) {
  for (uint32_t i = from; i < to; ++i) {
    PackItemData(item->id, item->data, item->size, static_cast<uint16_t>(i),
                 controller->blockBuffer + size_t{i - from} * kBlockSize);
  }
  return WriteBlocks(file, item->fragments[from] / kBlockSize, controller->blockBuffer, to - from);
}

// The end of the run of packets from `from` on that need writing and lie one behind the other in the file.
uint32_t RunEnd(const ItemInfo* item, uint32_t from, uint32_t known) {
  uint32_t end = from + 1;
  while (end < item->fragments.count && end - from < kBufferBlocks &&
         item->fragments[end] == item->fragments[end - 1] + kBlockSize &&
         (end >= known || !PacketIsOnDisk(item, end))) {
    ++end;
  }
  return end;
}

// Writes what is not on disk; the number of leading packets that are then there. The first `known` blocks
// were the item's before.
uint32_t WritePackets(const ItemInfo* item, FileInfo* file, uint32_t known) {
  uint32_t next = 0;
  while (next < item->fragments.count) {
    if (next < known && PacketIsOnDisk(item, next)) {
      ++next;
      continue;
    }
    const uint32_t end = RunEnd(item, next, known);
    const uint32_t written = WriteRun(item, file, next, end);
    next += written;
    if (next < end) break;
  }
  return next;
}

int32_t WriteDirtyItems(FileInfo* file, uint32_t* savedNum) {
  int32_t result = kOk;
  for (ItemInfo* item : file->dirtyItems) {
    result = SaveItemToFile(item, file);
    if (result != kOk) break;
    ++*savedNum;
  }
  // The items that were saved are clean from now on, whatever became of the others: nobody comes back to
  // mark.
  if (MarkConfusableBlocks(file)) return result;
  *savedNum = 0;
  return kWriteFailed;
}

}  // namespace

int32_t BeginPass(FileInfo* file) {
  SortDirty(file);
  if (!ReserveItems(file)) return kWriteFailed;
  if (file->torn) return kOk;
  if (!PathNamesDataFile(file)) return kCannotOpen;
  if (const int32_t result = BackupDataFile(file); result != kOk) return result;
  file->torn = true;
  return kOk;
}

int32_t EndPass(FileInfo* file, bool onDisk, int32_t result, uint32_t savedNum) {
  const bool ours = PathNamesDataFile(file);
  const bool whole = onDisk && ours && result == kOk;
  bool durable = onDisk && ours;
  if (whole) {
    StampDataFile(file);
    durable = BackupDataFile(file) == kOk || DropBackup(file);
  }
  // From the back, since taking an item off moves the last one into its place.
  for (uint32_t i = durable ? savedNum : 0; i-- > 0;) MarkClean(file, file->dirtyItems[i]);
  if (!durable) {
    for (ItemInfo* item : file->dirtyItems) ForgetSaved(item);
  }
  if (!onDisk) ForgetFreeMarks(file);
  if (whole) file->marksDue = false;
  file->torn = !whole;
  file->backupBehind = whole && !durable;
  if (durable) return result;
  return ours ? kWriteFailed : kCannotOpen;
}

uint32_t AdjustFragmentCount(uint32_t size, ItemInfo* item, FileInfo* file) {
  const uint32_t needed = PacketsFor(size);
  const uint32_t fileEnd = file->blockNum;
  while (item->fragments.count < needed) item->fragments.add(AllocateBlock(file) * kBlockSize);
  GiveBackBlocks(item, file, needed, fileEnd, item->id);
  return needed;
}

int32_t SaveItemToFile(ItemInfo* item, FileInfo* file) {
  const uint32_t had = item->fragments.count;
  const uint32_t fileEnd = file->blockNum;
  const uint32_t needed = AdjustFragmentCount(item->size, item, file);
  const uint32_t written = WritePackets(item, file, std::min(had, needed));
  if (written == needed) {
    NoteSaved(item);
    return kOk;
  }
  ForgetSaved(item);
  GiveBackBlocks(item, file, std::max(written, had), fileEnd, kUnknownOwner);
  CutBlocks(file, file->blockNum);  // a block written in part would leave a ragged end
  return kWriteFailed;
}

int32_t SyncFile(FileInfo* file, PassEnd end) {
  if (file->inTransaction || (file->dirtyItems.empty() && !file->torn && !file->backupBehind)) return kOk;
  if (const int32_t result = BeginPass(file); result != kOk) return result;
  uint32_t savedNum = 0;
  int32_t result = file->marksDue ? WriteFreeMarks(file) : kOk;
  if (result == kOk) result = WriteDirtyItems(file, &savedNum);
  // Only once: a medium that failed to take the bytes may answer the next time as if there were none.
  const bool onDisk = file->file.sync();
  if (end == PassEnd::kLater && result == kOk && onDisk) return kOk;
  return EndPass(file, onDisk, result, savedNum);
}

int32_t SyncDirtyData(PassEnd end) {
  FileInfo* file = CurrentFile();
  return file != nullptr ? SyncFile(file, end) : kNoItem;
}

}  // namespace storage
