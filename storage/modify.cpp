// Changing items in memory. Every change copies the caller's bytes, lists the item as dirty and notes which
// of its bytes differ from the file; writing is left to SyncDirtyData.
//
// Invariant: everything that can fail for want of memory comes before the first change.

#include "storage/modify.h"

#include <algorithm>
#include <cstring>

#include "storage/dirty.h"
#include "storage/itemmemory.h"
#include "storage/read.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Gives the item a buffer of at least `size` bytes with its first `keep` bytes in it. False when there is no
// memory. The old buffer goes to `replaced`, for the caller to release when its bytes are needed no more.
bool GrowBuffer(ItemInfo* item, uint32_t keep, uint32_t size, uint8_t** replaced,
                uint32_t* replacedCapacity) {
  const uint32_t capacity = std::max(size, item->capacity / 2 * 3);
  uint8_t* data = NewItemBytes(capacity);
  if (data == nullptr) return false;
  if (keep != 0) std::memcpy(data, item->data, keep);
  *replaced = item->data;
  *replacedCapacity = item->capacity;
  item->data = data;
  item->capacity = capacity;
  return true;
}

void ReplaceBytes(ItemInfo* item, uint8_t* data, uint32_t size) {
  ReleaseItemBytes(item->data, item->capacity);
  item->data = data;
  item->capacity = size;
  item->size = size;
  item->isUnasked = false;
}

// Writes within the item or lengthens it; its bytes are in memory. The caller's bytes may lie in them.
bool WriteRange(ItemInfo* item, const void* bytes, uint32_t offset, uint32_t size) {
  const uint32_t end = offset + size;
  uint8_t* replaced = nullptr;
  uint32_t replacedCapacity = 0;
  if (end > item->capacity && !GrowBuffer(item, offset, end, &replaced, &replacedCapacity)) return false;
  if (size != 0) std::memmove(item->data + offset, bytes, size);
  ReleaseItemBytes(replaced, replacedCapacity);
  item->size = std::max(item->size, end);
  return true;
}

// The item of that ID, made new when it is missing; null when there is no memory for it or for listing it.
ItemInfo* FindOrMakeItem(FileInfo* file, uint32_t id, bool* made) {
  *made = false;
  if (!ReserveDirty(file)) return nullptr;
  ItemInfo* item = file->index.find(id);
  if (item != nullptr) return item;
  item = NewItemInfo(file, id);
  *made = item != nullptr;
  return item;
}

}  // namespace

int32_t InsertItem(uint32_t id, const void* data, uint32_t size, int32_t syncNow) {
  FileInfo* file = CurrentFile();
  if (file == nullptr || size > kMaxItemSize || (data == nullptr && size != 0)) return kNoItem;
  uint8_t* copy = NewItemBytes(size);
  if (copy == nullptr) return kNoItem;
  if (size != 0) std::memcpy(copy, data, size);
  bool made;
  ItemInfo* item = FindOrMakeItem(file, id, &made);
  if (item == nullptr) {
    ReleaseItemBytes(copy, size);
    return kNoItem;
  }
  if (made) file->index.insert(item);
  ReplaceBytes(item, copy, size);
  MarkChanged(file, item, 0, size);
  return syncNow != 0 ? SyncDirtyData() : kOk;
}

int32_t ModifyItem(uint32_t id, const void* data, int32_t offset, uint32_t size, int32_t syncNow) {
  FileInfo* file = CurrentFile();
  ItemInfo* item = FindItemInIndex(id);
  if (item == nullptr || offset < -1 || size > kMaxItemSize || (data == nullptr && size != 0)) return kNoItem;
  const bool whole = offset == -1;
  const uint32_t from = whole ? 0 : static_cast<uint32_t>(offset);
  if (!whole && (from > item->size || size > kMaxItemSize - from)) return kNoItem;
  if (whole && size != item->size) return InsertItem(id, data, size, syncNow);

  const bool grows = from + size > item->size;
  if (!HasBytes(item) && (grows || BuildItemData(file, item) != kOk)) return kNoItem;
  if (!ReserveDirty(file) || !WriteRange(item, data, from, size)) return kNoItem;
  MarkChanged(file, item, from, from + size);
  return syncNow != 0 ? SyncDirtyData() : kOk;
}

int32_t ReserveItem(FileInfo* file, uint32_t id, uint32_t size) {
  if (size > kMaxItemSize) return kNoItem;
  bool made;
  ItemInfo* item = FindOrMakeItem(file, id, &made);
  if (item == nullptr) return kNoItem;
  if (!made && !HasBytes(item)) {
    if (const int32_t result = BuildItemData(file, item); result != kOk) return result;
  }
  uint8_t* replaced = nullptr;
  uint32_t replacedCapacity = 0;
  if ((made || size > item->capacity) && !GrowBuffer(item, item->size, size, &replaced, &replacedCapacity)) {
    if (made) ReleaseItem(file, item);
    return kNoItem;
  }
  ReleaseItemBytes(replaced, replacedCapacity);
  if (made) file->index.insert(item);
  return kOk;
}

bool ReplaceUnread(FileInfo* file, ItemInfo* item, uint32_t size) {
  uint8_t* replaced = nullptr;
  uint32_t replacedCapacity = 0;
  if (!ReserveDirty(file) || !GrowBuffer(item, 0, size, &replaced, &replacedCapacity)) return false;
  item->inOrder = false;
  return true;
}

}  // namespace storage
