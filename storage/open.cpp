#include "storage/open.h"

#include <cstdlib>

#include "storage/backup.h"
#include "storage/freeblocks.h"
#include "storage/leftovers.h"
#include "storage/scan.h"
#include "storage/storage.h"

namespace storage {

namespace {

struct Scan {
  FileInfo* file;
  commonbase::GrowArray<PacketHeader> headers;  // by block
};

bool InsertFragment(ItemInfo* item, uint32_t block) {
  if (!item->fragments.reserve(item->fragments.count + 1)) return false;
  item->fragments.add(block * kBlockSize);
  return true;
}

// Counts a packet into its item. False when there is no memory.
bool InsertPacket(FileInfo* file, uint32_t block, const PacketHeader& header) {
  ItemInfo* item = file->index.find(header.itemId);
  if (item == nullptr) {
    item = NewItemInfo(header.itemId);
    if (item == nullptr) return false;
    file->index.insert(item);
  }
  item->size += header.dataLength;
  return InsertFragment(item, block);
}

bool VisitBlock(void* context, uint32_t block, const PacketHeader& header) {
  auto* scan = static_cast<Scan*>(context);
  FileInfo* file = scan->file;
  if (!scan->headers.reserve(block + 1)) return false;
  scan->headers.add(header);
  file->blockNum = block + 1;
  if (header.packetType != kFreeBlock) return InsertPacket(file, block, header);
  if (!ReserveFreeBlocks(file)) return false;
  InsertMarkedBlock(file, block);
  return true;
}

bool OpenOrCreate(FileInfo* file) {
  if (platform::Exists(file->path)) return file->file.open(file->path, platform::Access::kReadWrite);
  return file->file.createNew(file->path) && platform::SyncFolder(file->path);
}

}  // namespace

ItemInfo* NewItemInfo(uint32_t id) {
  auto* item = static_cast<ItemInfo*>(std::calloc(1, sizeof(ItemInfo)));
  if (item != nullptr) item->id = id;
  return item;
}

int32_t ReadDataFile(FileInfo* file) {
  Scan scan{file, {}};
  if (const int32_t result = ScanBlocks(file->file, controller->blockBuffer, VisitBlock, &scan); result != kOk) {
    return result;
  }
  if (!SettleItems(file, scan.headers.begin()) || !file->staleBlocks.reserve(file->blockNum)) return kCannotOpen;
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
