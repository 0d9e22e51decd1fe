#include "storage/read.h"

#include <cstring>

#include "platform/platform.h"
#include "storage/blockio.h"
#include "storage/pack.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Puts one block's bytes at their place in the item. False when the block is no sound part of it, or when it
// does not go on at `covered`, where the ones before it ended, though the item was found in order.
bool PlacePacket(const FileInfo* file, ItemInfo* item, const uint8_t* block, uint32_t* covered) {
  if (file->openFlags != kOpenUnverified && CheckPacket(block) != kOk) return false;
  const PacketHeader header = DecodeHeader(block);
  if (header.dataLength > kPacketCapacity || header.itemOffset >= item->size) return false;
  if (header.dataLength > item->size - header.itemOffset) return false;
  if (item->inOrder && header.itemOffset != *covered) return false;
  std::memcpy(item->data + header.itemOffset, block + kHeaderSize, header.dataLength);
  *covered += header.dataLength;
  return true;
}

// The number of fragments from `first` on that lie one behind the other in the file, as far as the buffer
// holds.
uint32_t RunLength(const Fragments& fragments, uint32_t first) {
  uint32_t length = 1;
  while (length < kBufferBlocks && first + length < fragments.count &&
         fragments[first + length] == fragments[first] + length * kBlockSize) {
    ++length;
  }
  return length;
}

bool PlaceAll(const FileInfo* file, ItemInfo* item) {
  const Fragments& fragments = item->fragments;
  uint32_t covered = 0;
  for (uint32_t first = 0, length; first < fragments.count; first += length) {
    length = RunLength(fragments, first);
    if (!ReadBlocks(file, fragments[first] / kBlockSize, controller->blockBuffer, length)) return false;
    for (uint32_t i = 0; i < length; ++i) {
      if (!PlacePacket(file, item, controller->blockBuffer + size_t{i} * kBlockSize, &covered)) return false;
    }
  }
  return !item->inOrder || covered == item->size;
}

}  // namespace

uint8_t* NewItemBytes(uint32_t size) {
  return static_cast<uint8_t*>(platform::AllocateLarge(size != 0 ? size : 1));
}

int32_t BuildItemData(const FileInfo* file, ItemInfo* item) {
  // A size that the blocks cannot hold is a lie of their headers: no memory is spent on it.
  if (item->size > uint64_t{item->fragments.count} * kPacketCapacity) return kIncomplete;
  item->data = NewItemBytes(item->size);
  if (item->data == nullptr) return kNoItem;
  item->capacity = item->size;
  // What the packets of an item out of order leave uncovered stays zero; in order, they cover every byte.
  if (!item->inOrder) std::memset(item->data, 0, item->size);
  if (PlaceAll(file, item)) return kOk;
  ReleaseItemBytes(item->data, item->capacity);
  item->data = nullptr;
  item->capacity = 0;
  return kIncomplete;
}

void ForgetItemBytes(uint32_t id) {
  ItemInfo* item = FindItemInIndex(id);
  if (item == nullptr || item->dirty) return;
  ReleaseItemBytes(item->data, item->capacity);
  item->data = nullptr;
  item->capacity = 0;
}

const uint8_t* GetItemPtrByID(uint32_t* idThenSize) {
  ItemInfo* item = FindItemInIndex(*idThenSize);
  if (item == nullptr) return nullptr;
  if (item->data == nullptr) BuildItemData(CurrentFile(), item);
  if (item->data != nullptr) *idThenSize = item->size;
  return item->data;
}

}  // namespace storage
