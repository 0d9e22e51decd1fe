#include "storage/read.h"

#include <algorithm>
#include <cstring>

#include "platform/compiler.h"
#include "storage/blockio.h"
#include "storage/itemmemory.h"
#include "storage/leftovers.h"
#include "storage/overlay.h"
#include "storage/pack.h"
#include "storage/storage.h"

namespace storage {

namespace {

constexpr int64_t kAlongPerAsked = 3;
constexpr int64_t kFirstWindow = 4 * kBufferBlocks;

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

// Makes a buffer for the item's bytes and has them put there. As BuildItemData.
template <typename Place>
int32_t Build(FileInfo* file, ItemInfo* item, Place place) {
  // A size that the blocks cannot hold is a lie of their headers: no memory is spent on it. Nor can more packets than
  // have numbers be an item: its next save would cut it.
  if (item->size > uint64_t{item->fragments.count} * kPacketCapacity || item->fragments.count > kMaxPackets)
    return kIncomplete;
  item->data = NewBytesToRead(file, item->size);
  if (item->data == nullptr) return kNoItem;
  item->capacity = item->size;
  // What the packets of an item out of order leave uncovered stays zero; in order, they cover every byte.
  if (!item->inOrder) std::memset(item->data, 0, item->size);
  if (!place()) {
    DropItemBytes(item);
    return kIncomplete;
  }
  file->unreadBytes -= std::min<uint64_t>(file->unreadBytes, item->size);
  return kOk;
}

// The window of blocks that an item's first block lies in.
struct Window {
  uint32_t first = 0;
  uint32_t count = 0;

  Window(const FileInfo* file, const ItemInfo* item)
      : first(item->fragments[0] / kBlockSize / kBufferBlocks * kBufferBlocks),
        count(std::min(kBufferBlocks, file->blockNum - first)) {}

  bool holds(const ItemInfo* item) const {
    return std::all_of(item->fragments.begin(), item->fragments.end(), [this](uint32_t offset) {
      return offset / kBlockSize >= first && offset / kBlockSize - first < count;
    });
  }

  const uint8_t* block(uint32_t offset) const {
    return controller->blockBuffer + (offset - first * kBlockSize);
  }

  bool place(const FileInfo* file, ItemInfo* item) const {
    uint32_t covered = 0;
    for (const uint32_t offset : item->fragments) {
      if (!PlacePacket(file, item, block(offset), &covered)) return false;
    }
    return !item->inOrder || covered == item->size;
  }
};

// The item that begins in a block and has no bytes yet, or null. The table of IDs is none that anybody asks for.
ItemInfo* UnreadItemAt(const FileInfo* file, uint32_t id, uint32_t offset) {
  ItemInfo* item = id != kIdTableItem ? file->index.find(id) : nullptr;
  if (item == nullptr || item->data != nullptr || item->hasLeftovers || item->fragments.count == 0)
    return nullptr;
  return item->fragments[0] == offset ? item : nullptr;
}

// Reads a window and assembles every item that lies in it.
void BuildWindow(FileInfo* file, const Window& window) {
  if (!ReadBlocks(file, window.first, controller->blockBuffer, window.count)) return;
  uint32_t ids[kBufferBlocks];
  const ItemIndex& index = file->index;
  for (uint32_t i = 0; i < window.count; ++i) {
    ids[i] = DecodeHeader(controller->blockBuffer + size_t{i} * kBlockSize).itemId;
    platform::Prefetch(index.placeOf(ids[i]));
  }
  for (uint32_t i = 0; i < window.count; ++i) platform::Prefetch(index.chain(ids[i]));
  for (uint32_t i = 0; i < window.count; ++i) {
    ItemInfo* item = UnreadItemAt(file, ids[i], (window.first + i) * kBlockSize);
    if (item == nullptr || !window.holds(item)) continue;
    if (Build(file, item, [&] { return window.place(file, item); }) != kOk) continue;
    item->isUnasked = true;
    file->readCredit -= item->fragments.count;
  }
}

// Reads the window around an item, when that is worth while.
void ReadAround(FileInfo* file, const ItemInfo* item) {
  if (file->readCredit < kFirstWindow || file->overlay != nullptr || item->fragments.count == 0) return;
  const Window window(file, item);
  if (window.holds(item)) BuildWindow(file, window);
}

}  // namespace

int32_t BuildItemData(FileInfo* file, ItemInfo* item) {
  const int64_t blocks = item->fragments.count;
  if (item->isUnasked) {
    file->readCredit += blocks;
  } else if (const int32_t result = Build(file, item, [&] { return PlaceBytes(file, item); });
             result != kOk) {
    return result;
  }
  file->readCredit += blocks * kAlongPerAsked;
  item->isUnasked = false;
  return kOk;
}

void ForgetItemBytes(uint32_t id) {
  ItemInfo* item = FindItemInIndex(id);
  if (item != nullptr && !item->dirty) DropItemBytes(item);
}

const uint8_t* GetItemPtrByID(uint32_t* idThenSize) {
  ItemInfo* item = FindItemInIndex(*idThenSize);
  if (item == nullptr) return nullptr;
  FileInfo* file = CurrentFile();
  if (item->data == nullptr) ReadAround(file, item);
  if (!HasBytes(item) && BuildItemData(file, item) != kOk) return nullptr;
  *idThenSize = item->size;
  return item->data;
}

}  // namespace storage
