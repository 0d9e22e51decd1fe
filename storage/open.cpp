#include "storage/open.h"

#include "commonbase/src/pmstring.h"
#include "platform/compiler.h"
#include "platform/heap.h"
#include "storage/backup.h"
#include "storage/freeblocks.h"
#include "storage/itemmemory.h"
#include "storage/leftovers.h"
#include "storage/names.h"
#include "storage/overlay.h"
#include "storage/recovery.h"
#include "storage/scan.h"
#include "storage/storage.h"

namespace storage {

namespace {

struct Scan {
  FileInfo* file = nullptr;
  ItemInfo* last = nullptr;  // of the packet before: an item's packets mostly follow each other
  commonbase::GrowArray<ItemInfo*> suspects;  // items whose packets do not stand in order
};

// The item of that ID, made new and listed when it is missing; null when there is no memory.
ItemInfo* FindOrListItem(FileInfo* file, uint32_t id) {
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
  if (item == nullptr || item->id != header.itemId) item = FindOrListItem(scan->file, header.itemId);
  if (item == nullptr || !item->fragments.reserve(item->fragments.count + 1)) return false;
  if (item->inOrder && !GoesOnInOrder(item, header)) {
    if (!scan->suspects.reserve(scan->suspects.size() + 1)) return false;
    scan->suspects.add(item);
    item->inOrder = false;
  }
  item->numbered = header.packetType == kPartPacket;
  item->size += header.dataLength;
  scan->file->unreadBytes += header.dataLength;
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

// Makes ready for the items of a file of that size. All that is kept of it takes about as much memory; most items
// take one block or two.
void ExpectItems(FileInfo* file, uint32_t size) {
  ExpectItemBytes(size);
  file->index.expect(size / kBlockSize / 2);
}

bool VisitBlocks(void* context, uint32_t first, const PacketHeader* headers, uint32_t count) {
  auto* scan = static_cast<Scan*>(context);
  // The index is larger than the caches: its places are fetched for all the blocks at once, not one by one.
  const ItemIndex& index = scan->file->index;
  for (uint32_t i = 0; i < count; ++i) platform::Prefetch(index.placeOf(headers[i].itemId));
  for (uint32_t i = 0; i < count; ++i) platform::Prefetch(index.chain(headers[i].itemId));
  for (uint32_t i = 0; i < count; ++i) {
    if (!InsertBlock(scan, first + i, headers[i])) return false;
  }
  return true;
}

// Lays a journal over the file that another program is writing, or that cannot be carried out now.
int32_t LayOver(FileInfo* file) {
  file->overlay = platform::Make<Overlay>();
  if (file->overlay == nullptr) return kCannotOpen;
  const Overlay::Outcome outcome = file->overlay->open(file->journal.path(), file->file);
  return outcome == Overlay::kLaid ? kOk : kIncomplete;
}

// Whether another program changed the file while it was read.
bool WasChanged(const FileInfo* file, const platform::FileStamp& before) {
  if (file->overlay != nullptr) return !file->overlay->isCurrent();
  platform::FileStamp now;
  if (!file->file.stamp(&now) || !(now == before)) return true;
  return file->journal.state() == JournalState::kNone && !platform::IsMissing(file->journal.path());
}

// Recovers and reads the file as it is at this moment.
int32_t ReadNow(FileInfo* file, bool* recovered) {
  const Recovery recovery = RecoverDataFile(file);
  *recovered = recovery == Recovery::kCarriedOut;
  if (recovery == Recovery::kFailed) return kCannotOpen;
  if (recovery == Recovery::kHeld || recovery == Recovery::kNotNow) {
    if (const int32_t result = LayOver(file); result != kOk) return result;
  }
  platform::FileStamp before;
  if (!file->file.stamp(&before)) return kBadData;
  const int32_t result = ReadDataFile(file);
  return WasChanged(file, before) ? kIncomplete : result;
}

bool AppendToOpenFiles(FileInfo* file) {
  return AppendNodeTosList(file, controller->openFiles) == 0;
}

}  // namespace

int32_t ReadDataFile(FileInfo* file) {
  Scan scan{file, nullptr, {}};
  if (!file->file.stamp(&file->dataStamp)) return kBadData;
  // A write that came so shortly before would not be told from one that comes now.
  if (platform::IsFresh(file->dataStamp)) file->dataStamp.time = 0;
  if (file->dataStamp.size <= kMaxFileSize) ExpectItems(file, static_cast<uint32_t>(file->dataStamp.size));
  if (const int32_t result = ScanBlocks(file, VisitBlocks, &scan); result != kOk) return result;
  for (ItemInfo* item : scan.suspects) {
    if (item->fragments.count > 1 && !SettleItem(file, item)) return kCannotOpen;
  }
  return kOk;
}

int32_t OpenOrCreate(FileInfo* file) {
  const BackupName backup(file->path);
  const bool exists = !platform::IsMissing(file->path);
  if (!file->journal.setPath(file->path)) return exists ? kBadData : kCannotOpen;
  if (!platform::TakesName(backup.path) || !platform::TakesName(file->journal.path())) return kCannotOpen;
  if (exists) {
    const bool opened = file->file.open(file->path, platform::Access::kReadWrite);
    if (!opened || !file->file.stamp(&file->dataStamp)) return kBadData;
    if (file->dataStamp.size != 0) return kOk;
    // It may be one that could be made, but not its name durable: a journal must not come to stand without it.
  } else {
    if (!SetStrayJournalAside(file)) return kCannotOpen;
    if (!file->file.createNew(file->path) || !file->file.stamp(&file->dataStamp)) return kCannotOpen;
  }
  return platform::SyncFolder(file->path) ? kOk : kCannotOpen;
}

int32_t EnterDataFile(FileInfo* file) {
  bool recovered;
  int32_t result = ReadNow(file, &recovered);
  if (result == kOk && !AppendToOpenFiles(file)) result = kCannotOpen;
  if (result != kOk) return result;
  if (recovered) BackupDataFile(file);
  return SelectDataFile(file->path);
}

int32_t OpenDataFile(const PmChar* path, const uint32_t* flags, uint32_t pathBytes) {
  if (controller == nullptr || pathBytes > kMaxPath * sizeof(PmChar)) return kCannotOpen;
  // What another program does to the file meanwhile makes reading it anew worth while, a few times.
  constexpr int kTries = 5;
  int32_t result = kIncomplete;
  for (int attempt = 0; attempt < kTries && result == kIncomplete; ++attempt) {
    FileInfo* file = NewFileInfo(path, pathBytes);
    if (file == nullptr) return kCannotOpen;
    file->openFlags |= *flags;
    result = OpenOrCreate(file);
    if (result == kOk) result = EnterDataFile(file);
    if (result != kOk) ReleaseFileInfo(file);
  }
  return result;
}

}  // namespace storage
