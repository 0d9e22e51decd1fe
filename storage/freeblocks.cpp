#include "storage/freeblocks.h"

#include <algorithm>

#include "storage/blockio.h"
#include "storage/pack.h"
#include "storage/result.h"
#include "storage/save.h"

namespace storage {

namespace {

// A set of IDs that may hold more than were put into it: what it does not hold, nobody put there.
struct RoughIds {
  uint64_t bits = 0;
  void add(uint32_t id) { bits |= uint64_t{1} << (id % 64); }
  bool mayHold(uint32_t id) const { return (bits >> (id % 64) & 1) != 0; }
};

bool IsDirty(const FileInfo* file, uint32_t id) {
  const ItemInfo* item = file->index.find(id);
  return item != nullptr && item->dirty;
}

// Whether the block lies in the file as it is now; also when the system does not say.
bool IsInFile(const FileInfo* file, uint32_t block) {
  platform::FileStamp stamp;
  return !file->file.stamp(&stamp) || stamp.size / kBlockSize > block;
}

// Writes the free marks of neighbouring blocks, at once when they can be read. False when a write failed.
bool MarkFreeBlocks(FileInfo* file, uint32_t first, uint32_t count) {
  uint8_t* bytes = controller->blockBuffer;
  uint32_t marked = 0;
  if (count > 1 && ReadBlocks(file, first, bytes, count)) {
    for (uint32_t i = 0; i < count; ++i) bytes[size_t{i} * kBlockSize + kPacketTypeOffset] = kFreeBlock;
    marked = WriteBlocks(file, first, bytes, count);
  } else {
    while (marked < count && WriteFreeMark(file, first + marked)) ++marked;
  }
  for (uint32_t i = 0; i < marked; ++i) file->unmarkedBlocks.erase(first + i);
  return marked == count;
}

// The number of members from `first` on that follow each other, at most `most`.
uint32_t CountNeighbours(const commonbase::NumberSet& set, uint32_t first, uint32_t most) {
  uint32_t count = 1;
  while (count < most && set.next(first + count) == first + count) ++count;
  return count;
}

// Whether a packet of the item left in a free block could be taken for a part of the item as it is saved with
// `size` bytes.
bool IsConfusable(const PacketHeader& header, uint32_t size) {
  const uint32_t packets = PacketsFor(size);
  if (!IsOnlyPacket(header) && !IsNumberedPacket(header)) return true;
  if (packets == 0) return true;  // the item leaves no packet that would outweigh the old one
  if (packets == 1) return header.packetSeq == 0;  // an only packet stands above numbered ones
  // Numbered packets end at the first that is not full, so a full last one would be continued.
  return header.packetSeq <= packets || size % kPacketCapacity == 0;
}

}  // namespace

bool ReserveBlocks(FileInfo* file, uint32_t blockNum) {
  if (!file->freeBlocks.reserve(blockNum) || !file->unmarkedBlocks.reserve(blockNum) ||
      !file->staleBlocks.reserve(blockNum) || !file->freeBlockOwner.reserve(blockNum)) {
    return false;
  }
  while (file->freeBlockOwner.size() < blockNum) file->freeBlockOwner.add(0);
  return true;
}

void InsertFreeBlock(FileInfo* file, uint32_t block, uint32_t owner) {
  file->freeBlocks.insert(block);
  file->unmarkedBlocks.insert(block);
  file->freeBlockOwner[block] = owner;
}

void InsertMarkedBlock(FileInfo* file, uint32_t block) {
  file->freeBlocks.insert(block);
}

uint32_t AllocateBlock(FileInfo* file) {
  if (file->freeBlocks.empty()) return file->blockNum++;
  const uint32_t block = file->freeBlocks.lowest();
  file->freeBlocks.erase(block);
  file->unmarkedBlocks.erase(block);
  return block;
}

bool IsFreeBlock(const FileInfo* file, uint32_t offset) {
  return file->freeBlocks.contains(offset / kBlockSize);
}

int32_t SyncFreeBlock(FileInfo* file) {
  if (file->inTransaction || file->unmarkedBlocks.empty()) return kOk;
  file->marksDue = true;  // a pass that cannot begin leaves them to the next one
  const int32_t result = BeginPass(file);
  file->syncFailed = result != kOk;
  return result == kOk ? WriteFreeMarks(file) : result;
}

int32_t WriteFreeMarks(FileInfo* file) {
  platform::FileStamp stamp;
  if (!file->file.stamp(&stamp)) return kWriteFailed;
  const auto fileBlocks = static_cast<uint32_t>(stamp.size / kBlockSize);
  auto& unmarked = file->unmarkedBlocks;
  for (uint32_t block = unmarked.lowest(); block < fileBlocks; block = unmarked.next(block)) {
    const uint32_t count = CountNeighbours(unmarked, block, std::min(kBufferBlocks, fileBlocks - block));
    if (!MarkFreeBlocks(file, block, count)) return kWriteFailed;
  }
  for (uint32_t block = unmarked.lowest(); block != commonbase::NumberSet::kNone;
       block = unmarked.next(block)) {
    if (IsInFile(file, block)) return kWriteFailed;
    unmarked.erase(block);  // the file was cut behind our back: there is nothing to mark
  }
  return kOk;
}

bool MarkConfusableBlocks(FileInfo* file) {
  // Most free blocks are of items long gone; they are passed over without a look into the index or the file.
  RoughIds dirty;
  for (const ItemInfo* item : file->dirtyItems) dirty.add(item->id);
  const auto& unmarked = file->unmarkedBlocks;
  for (uint32_t block = unmarked.lowest(); block != commonbase::NumberSet::kNone;
       block = unmarked.next(block + 1)) {
    const uint32_t owner = file->freeBlockOwner[block];
    PacketHeader header;
    if (owner != kUnknownOwner && !(dirty.mayHold(owner) && IsDirty(file, owner))) continue;
    if (!ReadHeader(file, block, &header)) {
      if (IsInFile(file, block)) return false;
      continue;
    }
    if (!IsDirty(file, header.itemId)) continue;
    const uint32_t size = file->index.find(header.itemId)->size;
    // A mark that stands there already may still be on its way to the disk since a sync that failed.
    if (IsConfusable(header, size) && !MarkFreeBlocks(file, block, 1)) return false;
  }
  return true;
}

void DistrustFreeBlocks(FileInfo* file) {
  const auto& free = file->freeBlocks;
  for (uint32_t block = free.lowest(); block != commonbase::NumberSet::kNone; block = free.next(block + 1)) {
    file->unmarkedBlocks.insert(block);
  }
  file->flushFailed = true;
}

int32_t RewriteFreeBlocks(FileInfo* file) {
  platform::FileStamp stamp;
  if (!file->file.stamp(&stamp)) return kWriteFailed;
  const auto& free = file->freeBlocks;
  uint8_t* bytes = controller->blockBuffer;
  for (uint32_t block = free.lowest(); block < stamp.size / kBlockSize; block = free.next(block + 1)) {
    if (!ReadBlocks(file, block, bytes, 1)) return kWriteFailed;
    if (!IsBlock(bytes, DecodeHeader(bytes))) {  // lost already, and the system says so
      PackItemData(0, bytes, 0, 0, bytes);
      bytes[kPacketTypeOffset] = kFreeBlock;
    }
    if (WriteBlocks(file, block, bytes, 1) != 1) return kWriteFailed;
  }
  return kOk;
}

}  // namespace storage
