#include "storage/itemmemory.h"

#include "commonbase/src/memorypool.h"
#include "platform/platform.h"

namespace storage {

ItemInfo* NewItemInfo(FileInfo* file, uint32_t id) {
  ItemInfo* item = file->itemPool.take();
  if (item != nullptr) item->id = id;
  return item;
}

void ReleaseItem(FileInfo* file, ItemInfo* item) {
  ReleaseItemBytes(item->data, item->capacity);
  item->fragments.release();
  file->itemPool.give(item);
}

void ExpectItemBytes(uint64_t size) {
  commonbase::SharedMemory().expect(size);
}

uint8_t* NewItemBytes(uint32_t size) {
  // Whoever stores items may store a good many more.
  ExpectItemBytes(commonbase::SharedMemory().taken() / 2);
  return static_cast<uint8_t*>(commonbase::SharedMemory().take(size));
}

uint8_t* NewBytesToRead(const FileInfo* file, uint32_t size) {
  ExpectItemBytes(file->unreadBytes);
  return static_cast<uint8_t*>(commonbase::SharedMemory().take(size));
}

void ReleaseItemBytes(uint8_t* data, uint32_t capacity) {
  if (data == nullptr) return;
  platform::Wipe(data, capacity);
  commonbase::SharedMemory().give(data, capacity);
}

void DropItemBytes(ItemInfo* item) {
  ReleaseItemBytes(item->data, item->capacity);
  item->data = nullptr;
  item->capacity = 0;
  item->isUnasked = false;
}

}  // namespace storage
