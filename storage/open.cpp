#include "storage/open.h"

#include "storage/backup.h"
#include "storage/freeblocks.h"
#include "storage/leftovers.h"
#include "storage/scan.h"
#include "storage/storage.h"

namespace storage {

namespace {

struct Scan {
  FileInfo* file;
  ItemInfo* last;  // of the packet before: an item's packets mostly follow each other
  commonbase::GrowArray<ItemInfo*> suspects;  // items whose packets do not stand in order
};

// The item of that ID, made new when it is missing; null when there is no memory.
ItemInfo* FindOrMakeItem(FileInfo* file, uint32_t id) {
  ItemInfo* item = file->index.find(id);
  if (item != nullptr) return item;
  item = NewItemInfo(file, id);
  if (item == nullptr) return nullptr;
  item->inOrder = true;
  file->index.insert(item);
  return item;
}

// Counts a packet into its item. False when there is no memory.
bool InsertPacket(Scan* scan, uint32_t block, const PacketHeader& header) {
  ItemInfo* item = scan->last;
  if (item == nullptr || item->id != header.itemId) item = FindOrMakeItem(scan->file, header.itemId);
  if (item == nullptr || !item->fragments.reserve(item->fragments.count + 1)) return false;
  if (item->inOrder && !GoesOnInOrder(item, header)) {
    if (!scan->suspects.reserve(scan->suspects.size() + 1)) return false;
    scan->suspects.add(item);
    item->inOrder = false;
  }
  item->numbered = header.packetType == kPartPacket;
  item->size += header.dataLength;
  item->savedSize = item->size;
  item->fragments.add(block * kBlockSize);
  scan->last = item;
  return true;
}

bool InsertBlock(Scan* scan, uint32_t block, const PacketHeader& header) {
  FileInfo* file = scan->file;
  file->blockNum = block + 1;
  if (header.packetType != kFreeBlock) return InsertPacket(scan, block, header);
  if (!ReserveBlocks(file, file->blockNum)) return false;
  InsertMarkedBlock(file, block);
  return true;
}

bool VisitBlocks(void* context, uint32_t first, const PacketHeader* headers, uint32_t count) {
  auto* scan = static_cast<Scan*>(context);
  // The index is larger than the caches: its places are fetched for all the blocks at once, not one by one.
  const ItemIndex& index = scan->file->index;
  for (uint32_t i = 0; i < count; ++i) __builtin_prefetch(index.placeOf(headers[i].itemId));
  for (uint32_t i = 0; i < count; ++i) __builtin_prefetch(index.chain(headers[i].itemId));
  for (uint32_t i = 0; i < count; ++i) {
    if (!InsertBlock(scan, first + i, headers[i])) return false;
  }
  return true;
}

bool OpenOrCreate(FileInfo* file) {
  if (platform::Exists(file->path)) return file->file.open(file->path, platform::Access::kReadWrite);
  return file->file.createNew(file->path) && platform::SyncFolder(file->path);
}

}  // namespace

ItemInfo* NewItemInfo(FileInfo* file, uint32_t id) {
  ItemInfo* item = file->itemPool.take();
  if (item != nullptr) item->id = id;
  return item;
}

int32_t ReadDataFile(FileInfo* file) {
  Scan scan{file, nullptr, {}};
  platform::FileStamp stamp;
  if (file->file.stamp(&stamp) && stamp.size <= kMaxFileSize)
    file->index.expect(static_cast<uint32_t>(stamp.size / kBlockSize));
  if (const int32_t result = ScanBlocks(file->file, VisitBlocks, &scan); result != kOk) {
    return result;
  }
  for (ItemInfo* item : scan.suspects) {
    if (item->fragments.count > 1 && !SettleItem(file, item)) return kCannotOpen;
  }
  return kOk;
}

int32_t OpenDataFile(const PmChar* path, const uint32_t* flags, uint32_t pathBytes) {
  if (controller == nullptr || pathBytes > kMaxPath * sizeof(PmChar)) return kCannotOpen;
  FileInfo* file = NewFileInfo(path, pathBytes);
  if (file == nullptr) return kCannotOpen;
  file->openFlags |= *flags;

  const bool existed = platform::Exists(path);
  int32_t result = OpenOrCreate(file) ? ReadDataFile(file) : (existed ? kBadData : kCannotOpen);
  if (result == kOk && AppendNodeTosList(file, controller->openFiles) != 0) result = kCannotOpen;
  if (result != kOk) {
    ReleaseFileInfo(file);
    return result;
  }
  DeleteTemporaryBackup(path);
  return SelectDataFile(path);
}

}  // namespace storage
