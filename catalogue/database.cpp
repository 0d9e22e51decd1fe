#include "catalogue/database.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "catalogue/tableformat.h"
#include "commonbase/src/pmstring.h"
#include "storage/format.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

// The first capacity of a loaded table: as if a record took this many bytes, and some to spare.
constexpr uint32_t kCapacityDivisor = 24;
constexpr uint32_t kSpareCapacity = 100;

}  // namespace

DataBaseHandle* NewDataBaseHandle(const PmChar* path) {
  const PmChar* const end = std::find(path, path + storage::kMaxPath, PmChar{0});
  if (*end != 0) return nullptr;
  void* memory = std::calloc(1, sizeof(DataBaseHandle));
  if (memory == nullptr) return nullptr;
  auto* handle = new (memory) DataBaseHandle();
  std::copy(path, end, handle->path);
  handle->openCount = 1;
  handle->unsavedFrom = kAllSaved;
  return handle;
}

void ReleaseDataBaseHandle(DataBaseHandle* handle) {
  handle->~DataBaseHandle();
  std::free(handle);
}

uint32_t PathBytes(const DataBaseHandle* handle) {
  return static_cast<uint32_t>(commonbase::LengthOf(handle->path) * sizeof(PmChar));
}

bool LoadIdTable(DataBaseHandle* handle) {
  if (storage::FindItemInIndex(kIdTableItem) == nullptr) return true;
  uint32_t idThenSize = kIdTableItem;
  const uint8_t* bytes = storage::GetItemPtrByID(&idThenSize);
  TableMeasure measure;
  if (bytes == nullptr || !MeasureTable(bytes, idThenSize, &measure)) return false;
  handle->committedIds.setCapacity(idThenSize / kCapacityDivisor + kSpareCapacity);
  const bool loaded = LoadTable(bytes, measure, &handle->committedIds);
  storage::ForgetItemBytes(kIdTableItem);  // until the table changes, its records are all that is needed
  return loaded;
}

bool ReserveIdTable(DataBaseHandle* handle, uint64_t moreBytes) {
  const uint64_t size = handle->committedIds.storedBytes() + moreBytes;
  return size <= storage::kMaxItemSize && storage::ReserveItem(kIdTableItem, static_cast<uint32_t>(size));
}

void NoteTableChange(DataBaseHandle* handle, uint32_t slot) {
  handle->unsavedFrom = std::min(handle->unsavedFrom, slot);
}

int32_t FlushIdTable(DataBaseHandle* handle) {
  const IdTable& table = handle->committedIds;
  if (handle->unsavedFrom == kAllSaved) return storage::kOk;
  if (table.slots().count() == 0) {
    // An emptied table is no item at all; its blocks are marked, so that they cannot come back.
    if (!storage::DropItem(kIdTableItem)) return storage::kNoItem;
    handle->unsavedFrom = kAllSaved;
    return storage::kOk;
  }
  uint64_t tail = 0;
  for (uint32_t slot = handle->unsavedFrom; slot < table.slots().usedEnd(); ++slot) {
    if (table.slots()[slot] != nullptr) tail += StoredSize(table.slots()[slot]);
  }
  const auto size = static_cast<uint32_t>(table.storedBytes());
  const auto offset = static_cast<uint32_t>(table.storedBytes() - tail);
  uint8_t* bytes = storage::RewriteItemTail(kIdTableItem, offset, size);
  if (bytes == nullptr) return storage::kNoItem;
  bytes += offset;
  for (uint32_t slot = handle->unsavedFrom; slot < table.slots().usedEnd(); ++slot) {
    if (table.slots()[slot] != nullptr) bytes = StoreRecord(table.slots()[slot], bytes);
  }
  handle->unsavedFrom = kAllSaved;
  return storage::kOk;
}

void SaveIdTable(DataBaseHandle* handle) {
  if (storage::SelectDataFile(handle->path) != storage::kOk) return;
  // Inside a transaction the edits wait, to be made once; only an emptied table gives its blocks up at once.
  if (storage::InTransaction() && handle->committedIds.slots().count() != 0) return;
  if (FlushIdTable(handle) == storage::kOk) storage::SyncDirtyData();
}

void CommitPendingId(DataBaseHandle* handle, ItemIdRecord* record) {
  handle->pendingIds.remove(record);
  handle->committedIds.add(record);
  NoteTableChange(handle, record->slot);
}

void RemoveCommittedId(DataBaseHandle* handle, ItemIdRecord* record) {
  handle->committedIds.remove(record);
  NoteTableChange(handle, record->slot);
  handle->committedIds.release(record);
}

}  // namespace catalogue
