// The engine's operations that write: each is one change, or a part of the one that its caller began.

#include "storage/change.h"
#include "storage/commit.h"
#include "storage/storage.h"

namespace storage {

OneChange::OneChange() : began_(!change.isOpen() && CurrentFile() != nullptr) {
  if (began_) change.begin(CurrentFile());
}

OneChange::~OneChange() {
  end(kNoItem);
}

int32_t OneChange::end(int32_t result) {
  if (!began_) return result;
  began_ = false;
  if (result >= 0) return CommitChange();
  change.undo();
  return result;
}

int32_t SyncDirtyData() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  OneChange one;
  return one.end(change.stageDirty());
}

int32_t StartTransaction() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  if (file->transaction != Transaction::kNone) return kOk;
  const bool saved = file->unlistedBlocks.empty();
  file->transaction = saved ? Transaction::kOpen : Transaction::kOpenOnUnsaved;
  return kOk;
}

int32_t StopTransaction() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  file->transaction = Transaction::kNone;
  OneChange one;
  const int32_t marked = change.stageMarks();
  return one.end(marked != kOk ? marked : change.stageDirty());
}

bool InTransaction() {
  const FileInfo* file = CurrentFile();
  return file != nullptr && file->transaction != Transaction::kNone;
}

int32_t DeleteItem(uint32_t id, int32_t syncNow) {
  ItemInfo* item = FindItemInIndex(id);
  if (item == nullptr) return kNoItem;
  OneChange one;
  if (!change.remove(item)) return one.end(kNoItem);
  return one.end(syncNow != 0 ? change.stageMarks() : kOk);
}

int32_t ReserveItemBytes(uint32_t id, uint32_t size) {
  return change.isOpen() ? change.reserveItem(id, size) : kNoItem;
}

uint8_t* RewriteItemTail(uint32_t id, uint32_t offset, uint32_t size) {
  return change.isOpen() && offset <= size ? change.edit(id, offset, size) : nullptr;
}

int32_t SyncTable() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  OneChange one;
  return one.end(change.fitsDirty() ? change.stageDirty() : change.stageTable());
}

}  // namespace storage
