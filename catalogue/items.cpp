// The exported operations on the items of an open database.
//
// Invariants:
//  1. What can fail for want of memory in the ID table is made sure of before the engine changes anything.
//  2. A negative result of the engine leaves the ID tables as they were.

#include "catalogue/registry.h"
#include "catalogue/storedtable.h"
#include "catalogue/tableformat.h"
#include "storage/dump.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

enum Refusal : int32_t {
  kBadHandle = -1,  // also: no current file
  kNotHeld = -2,    // the engine does not hold the handle's data file
  kBadModifyId = -3,
  kBadId = -5,
};

constexpr int32_t kNoMemory = storage::kNoItem;

bool Select(const DataBaseHandle* handle) {
  return storage::SelectDataFile(handle->path) == storage::kOk;
}

using storage::OneChange;

// Item 0 takes part in every sync, as far as the table has changed since it was saved last.
int32_t FlushBeforeSync(DataBaseHandle* handle) {
  return storage::InTransaction() || handle == nullptr ? storage::kOk : FlushIdTable(handle);
}

// Ends a change behind which item 0 agrees with the table if it happened.
int32_t EndSaving(OneChange* one, DataBaseHandle* handle, int32_t result) {
  result = one->end(result);
  if (result == storage::kOk && handle != nullptr && !storage::InTransaction()) NoteTableSaved(handle);
  return result;
}

// Runs an operation with `syncNow`. What keeps the table from being part of the sync keeps the sync from happening, and
// the operation from nothing but that.
template <typename Operation>
int32_t Run(DataBaseHandle* handle, int32_t syncNow, Operation operation) {
  if (syncNow == 0) return operation(0);
  OneChange one;
  const int32_t flushed = FlushBeforeSync(handle);
  if (flushed == storage::kOk) return EndSaving(&one, handle, operation(syncNow));
  const int32_t result = operation(0);
  one.end(flushed);
  return result < 0 ? result : flushed;
}

// Stores an item and, by the same change, its ID.
int32_t InsertPending(DataBaseHandle* handle, ItemIdRecord* record, const void* data, uint32_t size,
                      int32_t syncNow) {
  OneChange one;
  if (!handle->committedIds.reserve() || !ReserveIdTable(handle, StoredSize(record)))
    return one.end(kNoMemory);
  const int32_t flushed = syncNow != 0 ? FlushBeforeSync(handle) : storage::kOk;
  const int32_t synced = flushed == storage::kOk ? syncNow : 0;
  int32_t result = storage::InsertItem(record->itemId, data, size, synced);
  if (result < 0) return one.end(result);
  result = flushed;
  if (result == storage::kOk)
    result = StoreIdTable(handle, {handle->committedIds.slots().nextSlot(), record});
  if (result == storage::kOk) result = storage::SyncDirtyData();
  result = one.end(result);
  // The item is in memory by now: what a lack of memory keeps from happening is the sync.
  if (result < 0 && syncNow != 0) return result == kNoMemory ? storage::kWriteFailed : result;
  // Without syncNow, the item and its ID are stored in memory, whatever became of writing them.
  CommitPendingId(handle, record);
  if (result == storage::kOk && !storage::InTransaction()) NoteTableSaved(handle);
  return storage::kOk;
}

// Removes an item and, by the same change, its ID.
int32_t DeleteCommitted(DataBaseHandle* handle, ItemIdRecord* record, int32_t syncNow) {
  const uint32_t id = record->itemId;
  OneChange one;
  if (!ReserveIdTable(handle, 0)) return one.end(kNoMemory);
  int32_t result = syncNow != 0 ? FlushBeforeSync(handle) : storage::kOk;
  if (result == storage::kOk) result = storage::DeleteItem(id, syncNow);
  if (result < 0) return one.end(result);
  result = StoreIdTable(handle, {record->slot, nullptr});
  if (result == storage::kOk) result = storage::SyncTable();
  result = one.end(result);
  if (result < 0) {
    if (syncNow != 0) return result;
    // In memory the item is gone, whatever became of writing that.
    if (storage::DeleteItem(id, 0) != storage::kOk) return kNoMemory;
  }
  RemoveCommittedId(handle, record);
  if (result == storage::kOk && !storage::InTransaction()) NoteTableSaved(handle);
  return storage::kOk;
}

// The next record of the kind from the cursor on; its ID, or 0 at the end.
uint32_t StepCursor(DataBaseHandle* handle, uint32_t kind) {
  const IdTable& ids = handle->committedIds;
  uint32_t slot = handle->cursor, id = 0;
  handle->cursor = ids.nextOfKind(kind, &slot, &id) ? slot + 1 : ids.slots().usedEnd();
  return id;
}

}  // namespace

}  // namespace catalogue

using namespace catalogue;

extern "C" {

int32_t InserItemToDataBase(DataBaseHandle* handle, uint32_t id, const void* data, uint32_t size,
                            int32_t syncNow) {
  if (id == kIdTableItem) return kBadId;
  if (!IsValidDataBaseHandle(handle)) return kBadHandle;
  const bool committed = handle->committedIds.find(id) != nullptr;
  ItemIdRecord* pending = handle->pendingIds.find(id);
  if (!committed && pending == nullptr) return kBadId;
  if (!Select(handle)) return kNotHeld;
  if (committed)
    return Run(handle, syncNow, [&](int32_t sync) { return storage::InsertItem(id, data, size, sync); });
  return InsertPending(handle, pending, data, size, syncNow);
}

int32_t DeleteItemFromDataBase(DataBaseHandle* handle, uint32_t id, int32_t syncNow) {
  if (id == kIdTableItem) return kBadId;
  if (!IsValidDataBaseHandle(handle)) return kBadHandle;
  ItemIdRecord* record = handle->committedIds.find(id);
  if (record == nullptr) return kBadId;
  if (!Select(handle)) return kNotHeld;
  return DeleteCommitted(handle, record, syncNow);
}

int32_t PmModifyItem(DataBaseHandle* handle, uint32_t id, const void* data, int32_t offset, uint32_t size,
                     int32_t syncNow) {
  if (!IsValidDataBaseHandle(handle)) return kBadHandle;
  if (id == kIdTableItem) return kBadModifyId;
  if (!Select(handle)) return kNotHeld;
  return Run(handle, syncNow,
             [&](int32_t sync) { return storage::ModifyItem(id, data, offset, size, sync); });
}

const void* PmGetItemPtrByID(DataBaseHandle* handle, uint32_t* idThenSize) {
  if (!IsValidDataBaseHandle(handle) || idThenSize == nullptr || *idThenSize == kIdTableItem) return nullptr;
  if (!Select(handle)) return nullptr;
  return storage::GetItemPtrByID(idThenSize);
}

const PmChar* GetItemAddons(DataBaseHandle* handle, uint32_t id, uint32_t* pending) {
  if (!IsValidDataBaseHandle(handle) || pending == nullptr) return nullptr;
  *pending = 0;
  const ItemIdRecord* record = handle->committedIds.find(id);
  if (record != nullptr) return record->userData();
  record = handle->pendingIds.find(id);
  if (record == nullptr) return nullptr;
  *pending = 1;
  return record->userData();
}

uint32_t FirstGetItemID(DataBaseHandle* handle, uint32_t kind) {
  if (!IsValidDataBaseHandle(handle)) return 0;
  handle->cursor = 0;
  return StepCursor(handle, kind);
}

uint32_t NextGetItemID(DataBaseHandle* handle, uint32_t kind) {
  return IsValidDataBaseHandle(handle) ? StepCursor(handle, kind) : 0;
}

uint32_t GetItemCount(DataBaseHandle* handle, uint32_t kind) {
  if (!IsValidDataBaseHandle(handle)) return 0;
  uint32_t count = 0;
  for (uint32_t slot = 0, id = 0; handle->committedIds.nextOfKind(kind, &slot, &id); ++slot) ++count;
  return count;
}

int32_t PmSyncDirtyData() {
  DataBaseHandle* handle = CurrentDataBase();
  OneChange one;
  const int32_t flushed = FlushBeforeSync(handle);
  return EndSaving(&one, handle, flushed == storage::kOk ? storage::SyncDirtyData() : flushed);
}

int32_t PmStartTransaction() {
  return storage::StartTransaction();
}

int32_t PmStopTransaction() {
  DataBaseHandle* handle = CurrentDataBase();
  OneChange one;
  const int32_t flushed = handle != nullptr ? FlushIdTable(handle) : storage::kOk;
  const int32_t stopped = storage::StopTransaction();
  return EndSaving(&one, handle, flushed != storage::kOk ? flushed : stopped);
}

void PrintAllItemInfo(const PmChar* reportPath) {
  if (storage::InTransaction()) {  // elsewhere nothing is behind, and a report writes nothing
    DataBaseHandle* handle = CurrentDataBase();
    OneChange one;
    if (handle != nullptr && one.end(FlushIdTable(handle)) == storage::kOk) NoteTableSaved(handle);
  }
  storage::PrintReport(reportPath);
}

}  // extern "C"
