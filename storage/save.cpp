#include "storage/save.h"

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/dirty.h"
#include "storage/freeblocks.h"
#include "storage/itemwriter.h"
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

// Cuts off what a failed write left behind the last block, when it could not be cut off at once.
bool CutRaggedEnd(FileInfo* file) {
  platform::FileStamp stamp;
  return file->file.stamp(&stamp) &&
         (stamp.size <= uint64_t{file->blockNum} * kBlockSize || CutBlocks(file, file->blockNum));
}

bool HasWork(const FileInfo* file) {
  return !file->dirtyItems.empty() || file->torn || file->backupBehind ||
         (file->marksDue && !file->unmarkedBlocks.empty());
}

// What free blocks still have to get from this pass.
int32_t WriteFreeBlocks(FileInfo* file) {
  if (file->flushFailed) {
    if (const int32_t result = RewriteFreeBlocks(file); result != kOk) return result;
  }
  return file->marksDue ? WriteFreeMarks(file) : kOk;
}

int32_t WriteDirtyItems(FileInfo* file, uint32_t* savedNum) {
  ItemWriter writer(file);
  bool saved = true;
  for (ItemInfo* item : file->dirtyItems) {
    saved = writer.save(item);
    if (!saved) break;
  }
  saved = saved && writer.finish();
  *savedNum = writer.savedNum();
  // The items that were saved are clean from now on, whatever became of the others: nobody comes back to
  // mark.
  if (MarkConfusableBlocks(file)) return saved ? kOk : kWriteFailed;
  *savedNum = 0;
  return kWriteFailed;
}

}  // namespace

int32_t BeginPass(FileInfo* file) {
  SortDirty(file);
  if (!ReserveItems(file)) return kWriteFailed;
  if (file->torn) return CutRaggedEnd(file) ? kOk : kWriteFailed;
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
  if (!onDisk) DistrustFreeBlocks(file);
  if (whole) file->marksDue = file->flushFailed = false;
  file->torn = !whole;
  file->backupBehind = whole && !durable;
  if (durable) return result;
  return ours ? kWriteFailed : kCannotOpen;
}

namespace {

int32_t RunPass(FileInfo* file, PassEnd end) {
  if (const int32_t result = BeginPass(file); result != kOk) return result;
  uint32_t savedNum = 0;
  int32_t result = WriteFreeBlocks(file);
  if (result == kOk) result = WriteDirtyItems(file, &savedNum);
  // Only once: a medium that failed to take the bytes may answer the next time as if there were none.
  const bool onDisk = file->file.sync();
  if (end == PassEnd::kLater && result == kOk && onDisk) return kOk;
  return EndPass(file, onDisk, result, savedNum);
}

}  // namespace

int32_t SyncFile(FileInfo* file, PassEnd end) {
  if (file->inTransaction) return kOk;
  const int32_t result = HasWork(file) ? RunPass(file, end) : kOk;
  file->syncFailed = result != kOk;
  return result;
}

int32_t SyncDirtyData(PassEnd end) {
  FileInfo* file = CurrentFile();
  return file != nullptr ? SyncFile(file, end) : kNoItem;
}

}  // namespace storage
