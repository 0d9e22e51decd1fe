#include "catalogue/storedtable.h"

#include <algorithm>

#include "catalogue/tableformat.h"
#include "storage/format.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

// The first capacity of a loaded table: as if a record took this many bytes, and some to spare.
constexpr uint32_t kCapacityDivisor = 24;
constexpr uint32_t kSpareCapacity = 100;

// A table with one slot seen otherwise.
class EditedTable {
 public:
  EditedTable(const IdTable& table, const SlotEdit& edit) : table_(table), edit_(edit) {}

  bool isEmpty() const {
    if (edit_.slot == kAllSaved) return table_.slots().count() == 0;
    const uint32_t others = table_.slots().count() - (table_.slots()[edit_.slot] != nullptr ? 1 : 0);
    return others == 0 && edit_.record == nullptr;
  }

  // Writes item 0 from the record in slot `from` on. kNoItem when there is no memory.
  int32_t write(uint32_t from) const {
    uint64_t tail = 0;
    forEach(from, [&](const ItemIdRecord* record) { tail += StoredSize(record); });
    uint64_t size = table_.storedBytes();
    if (edit_.slot != kAllSaved) {
      const ItemIdRecord* replaced = table_.slots()[edit_.slot];
      if (replaced != nullptr) size -= StoredSize(replaced);
      if (edit_.record != nullptr) size += StoredSize(edit_.record);
    }
    const auto offset = static_cast<uint32_t>(size - tail);
    uint8_t* bytes = storage::RewriteItemTail(kIdTableItem, offset, static_cast<uint32_t>(size));
    if (bytes == nullptr) return storage::kNoItem;
    bytes += offset;
    forEach(from, [&](const ItemIdRecord* record) { bytes = StoreRecord(record, bytes); });
    return storage::kOk;
  }

 private:
  template <typename Visit>
  void forEach(uint32_t from, Visit visit) const {
    const uint32_t end = std::max(table_.slots().usedEnd(), edit_.slot == kAllSaved ? 0 : edit_.slot + 1);
    for (uint32_t slot = from; slot < end; ++slot) {
      const ItemIdRecord* record = slot == edit_.slot ? edit_.record : table_.slots()[slot];
      if (record != nullptr) visit(record);
    }
  }

  const IdTable& table_;
  const SlotEdit& edit_;
};

}  // namespace

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
  if (size > storage::kMaxItemSize) return false;
  const int32_t result = storage::ReserveItemBytes(kIdTableItem, static_cast<uint32_t>(size));
  // The table in memory is the authority: an item 0 that cannot be read any more is written anew.
  if (result == storage::kIncomplete) handle->unsavedFrom = 0;
  return result == storage::kOk || result == storage::kIncomplete;
}

int32_t StoreIdTable(DataBaseHandle* handle, const SlotEdit& edit) {
  const EditedTable table(handle->committedIds, edit);
  const uint32_t from = std::min(handle->unsavedFrom, edit.slot);
  if (from == kAllSaved) return storage::kOk;
  if (table.isEmpty()) {
    // An emptied table is no item at all; its blocks are marked, so that they cannot come back.
    return storage::FindItemInIndex(kIdTableItem) != nullptr ? storage::DeleteItem(kIdTableItem, 1)
                                                             : storage::kOk;
  }
  if (storage::InTransaction()) return storage::kOk;
  return table.write(from);
}

int32_t FlushIdTable(DataBaseHandle* handle) {
  if (handle->unsavedFrom == kAllSaved) return storage::kOk;
  const EditedTable table(handle->committedIds, kNoEdit);
  return table.isEmpty() ? StoreIdTable(handle, kNoEdit) : table.write(handle->unsavedFrom);
}

void NoteTableSaved(DataBaseHandle* handle) {
  handle->unsavedFrom = kAllSaved;
}

void CommitPendingId(DataBaseHandle* handle, ItemIdRecord* record) {
  handle->pendingIds.remove(record);
  handle->committedIds.add(record);
  handle->unsavedFrom = std::min(handle->unsavedFrom, record->slot);
}

void RemoveCommittedId(DataBaseHandle* handle, ItemIdRecord* record) {
  handle->committedIds.remove(record);
  handle->unsavedFrom = std::min(handle->unsavedFrom, record->slot);
  IdTable::release(record);
}

}  // namespace catalogue
