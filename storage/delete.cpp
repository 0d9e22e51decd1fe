// Deleting an item: its blocks become free in memory; on disk they are marked when the caller asks, or later.

#include "storage/dirty.h"
#include "storage/freeblocks.h"
#include "storage/save.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Takes the item out; its blocks become free in memory. Needs ReserveBlocks.
void RemoveItem(FileInfo* file, ItemInfo* item) {
  for (const uint32_t offset : item->fragments) InsertFreeBlock(file, offset / kBlockSize, item->id);
  if (item->dirty) MarkClean(file, item);
  file->index.remove(item);
  ReleaseItem(file, item);
}

}  // namespace

int32_t DeleteItem(uint32_t id, int32_t syncNow) {
  FileInfo* file = CurrentFile();
  ItemInfo* item = FindItemInIndex(id);
  if (item == nullptr || !ReserveBlocks(file, file->blockNum)) return kNoItem;
  const bool marks =
      syncNow != 0 && !file->inTransaction && (item->fragments.count != 0 || !file->unmarkedBlocks.empty());
  if (marks) {
    // The backup comes before the first change, so that its failure leaves the item whole.
    if (const int32_t result = BeginPass(file); result != kOk) return result;
  }
  RemoveItem(file, item);
  return marks ? SyncFreeBlock(file) : kOk;
}

bool DropItem(uint32_t id) {
  FileInfo* file = CurrentFile();
  ItemInfo* item = FindItemInIndex(id);
  if (item == nullptr) return true;
  if (!ReserveBlocks(file, file->blockNum)) return false;
  RemoveItem(file, item);
  file->marksDue = true;
  return true;
}

}  // namespace storage
