// The exported operations on the items of an open database.
//
// Invariants:
//  1. What can fail for want of memory in the ID table is made sure of before the engine changes anything.
//  2. A negative result of the engine leaves the ID tables as they were.

#include "catalogue/database.h"
#include "catalogue/registry.h"
#include "catalogue/tableformat.h"
#include "storage/dump.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

enum Refusal : int32_t {
  kBadHandle = -1,  // also: no current file
  kNotOpen = -2,    // the engine does not hold the handle's data file
  kBadModifyId = -3,
  kBadId = -5,
};

constexpr int32_t kNoMemory = storage::kNoItem;

bool Select(const DataBaseHandle* handle) {
  return storage::SelectDataFile(handle->path) == storage::kOk;
}

// Undoes ReserveIdTable's making of item 0 for a database that stored nothing.
void DropEmptyTable(const DataBaseHandle* handle) {
  if (handle->committedIds.slots().count() == 0) storage::DeleteItem(kIdTableItem, 0);
}

int32_t InsertPending(DataBaseHandle* handle, ItemIdRecord* record, const void* data, uint32_t size,
                      int32_t syncNow) {
  if (!handle->committedIds.reserve() || !ReserveIdTable(handle, StoredSize(record))) return kNoMemory;
  int32_t result = storage::InsertItem(record->itemId, data, size, 0);
  // The pass stays open until the ID table is written too: a crash finds the item and its ID, or neither.
  if (result == storage::kOk && syncNow != 0) result = storage::SyncDirtyData(storage::PassEnd::kLater);
  if (result < 0) {
    DropEmptyTable(handle);
    return result;
  }
  CommitPendingId(handle, record);
  SaveIdTable(handle);
  return result;
}

// The next record of the kind from the cursor on; its ID, or 0 at the end.
uint32_t StepCursor(DataBaseHandle* handle, uint32_t kind) {
  const auto& slots = handle->committedIds.slots();
  while (handle->cursor < slots.usedEnd()) {
    const ItemIdRecord* record = slots[handle->cursor++];
    if (record != nullptr && record->kind == kind) return record->itemId;
  }
  return 0;
}

// Item 0 as the current database's table has it by now.
int32_t FlushCurrentTable() {
  DataBaseHandle* handle = CurrentDataBase();
  return handle != nullptr ? FlushIdTable(handle) : storage::kOk;
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
  if (!Select(handle)) return kNotOpen;
  if (committed) return storage::InsertItem(id, data, size, syncNow);
  return InsertPending(handle, pending, data, size, syncNow);
}

int32_t DeleteItemFromDataBase(DataBaseHandle* handle, uint32_t id, int32_t syncNow) {
  if (id == kIdTableItem) return kBadId;
  if (!IsValidDataBaseHandle(handle)) return kBadHandle;
  ItemIdRecord* record = handle->committedIds.find(id);
  if (record == nullptr) return kBadId;
  if (!Select(handle)) return kNotOpen;
  if (!ReserveIdTable(handle, 0)) return kNoMemory;
  const int32_t result = storage::DeleteItem(id, syncNow);
  if (result < 0) return result;
  RemoveCommittedId(handle, record);
  SaveIdTable(handle);
  return result;
}

int32_t PmModifyItem(DataBaseHandle* handle, uint32_t id, const void* data, int32_t offset, uint32_t size,
                     int32_t syncNow) {
  if (!IsValidDataBaseHandle(handle)) return kBadHandle;
  if (id == kIdTableItem) return kBadModifyId;
  if (!Select(handle)) return kNotOpen;
  return storage::ModifyItem(id, data, offset, size, syncNow);
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
  const auto& slots = handle->committedIds.slots();
  uint32_t count = 0;
  for (uint32_t slot = 0; slot < slots.usedEnd(); ++slot) {
    if (slots[slot] != nullptr && slots[slot]->kind == kind) ++count;
  }
  return count;
}

int32_t PmSyncDirtyData() {
  const int32_t flushed = storage::InTransaction() ? storage::kOk : FlushCurrentTable();
  const int32_t synced = storage::SyncDirtyData();
  return synced != storage::kOk ? synced : flushed;
}

int32_t PmStartTransaction() {
  return storage::StartTransaction();
}

int32_t PmStopTransaction() {
  const int32_t flushed = FlushCurrentTable();
  const int32_t stopped = storage::StopTransaction();
  return stopped != storage::kOk ? stopped : flushed;
}

void PrintAllItemInfo(const PmChar* reportPath) {
  if (storage::InTransaction())
    FlushCurrentTable();  // elsewhere nothing is behind, and a report writes nothing
  storage::PrintReport(reportPath);
}

}  // extern "C"
