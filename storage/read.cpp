#include "storage/read.h"

#include <cstring>

#include "platform/platform.h"
#include "storage/blockio.h"
#include "storage/leftovers.h"
#include "storage/overlay.h"
#include "storage/pack.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Puts one block's bytes at their place in the item. False when the block is no sound part of it, or when it
// does not go on at `covered`, where the ones before it ended, though the item was found in order.
bool PlacePacket(const FileInfo* file, ItemInfo* item, const uint8_t* block, uint32_t* covered) {
  const PacketHeader header = DecodeHeader(block);
  if (file->openFlags != kOpenUnverified) {
    if (CheckPacket(block) != kOk) return false;
    // Another program may have given the block to another item since the file was opened.
    if (header.itemId != item->id || header.packetType == kFreeBlock) return false;
  }
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

// Of an item with left-over packets, only those that are the item.
bool PlaceChosen(const FileInfo* file, ItemInfo* item) {
  commonbase::GrowArray<uint32_t> chosen;
  if (!ChooseFragments(file, item, &chosen)) return false;
  uint32_t covered = 0;
  for (const uint32_t i : chosen) {
    uint8_t* block = controller->blockBuffer;
    if (!ReadBlocks(file, item->fragments[i] / kBlockSize, block, 1)) return false;
    if (!PlacePacket(file, item, block, &covered)) return false;
  }
  return true;
}

// What another program changes while it is read cannot be told from what was there.
bool PlaceBytes(const FileInfo* file, ItemInfo* item) {
  const bool placed = item->hasLeftovers ? PlaceChosen(file, item) : PlaceAll(file, item);
  return placed && (file->overlay == nullptr || file->overlay->isCurrent());
}

}  // namespace

uint8_t* NewItemBytes(uint32_t size) {
  return static_cast<uint8_t*>(platform::AllocateLarge(size != 0 ? size : 1));
}

int32_t BuildItemData(const FileInfo* file, ItemInfo* item) {
  // A size that the blocks cannot hold is a lie of their headers: no memory is spent on it. Nor can more packets than
  // have numbers be an item: its next save would cut it.
  if (item->size > uint64_t{item->fragments.count} * kPacketCapacity || item->fragments.count > kMaxPackets)
    return kIncomplete;
  item->data = NewItemBytes(item->size);
  if (item->data == nullptr) return kNoItem;
  item->capacity = item->size;
  // What the packets of an item out of order leave uncovered stays zero; in order, they cover every byte.
  if (!item->inOrder) std::memset(item->data, 0, item->size);
  if (PlaceBytes(file, item)) return kOk;
  DropItemBytes(item);
  return kIncomplete;
}

void DropItemBytes(ItemInfo* item) {
  ReleaseItemBytes(item->data, item->capacity);
  item->data = nullptr;
  item->capacity = 0;
}

void ForgetItemBytes(uint32_t id) {
  ItemInfo* item = FindItemInIndex(id);
  if (item != nullptr && !item->dirty) DropItemBytes(item);
}

const uint8_t* GetItemPtrByID(uint32_t* idThenSize) {
  ItemInfo* item = FindItemInIndex(*idThenSize);
  if (item == nullptr) return nullptr;
  if (item->data == nullptr) BuildItemData(CurrentFile(), item);
  if (item->data != nullptr) *idThenSize = item->size;
  return item->data;
}

}  // namespace storage
