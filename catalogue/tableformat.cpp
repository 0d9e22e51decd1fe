#include "catalogue/tableformat.h"

#include <cstring>

#include "storage/format.h"

namespace catalogue {

using storage::LoadU32;
using storage::StoreU32;

static_assert(sizeof(PmChar) == 2, "user data is kept in memory as it stands on disk");

uint8_t* StoreRecord(const ItemIdRecord* record, uint8_t* bytes) {
  StoreU32(bytes, record->reserved0);
  StoreU32(bytes + 4, record->reserved1);
  StoreU32(bytes + 8, record->kind);
  StoreU32(bytes + 12, record->itemId);
  StoreU32(bytes + kUserDataSizeOffset, record->userDataSize);
  if (record->userDataSize != 0)
    std::memcpy(bytes + kRecordHeaderSize, record->userData(), record->userDataSize);
  return bytes + StoredSize(record);
}

bool MeasureTable(const uint8_t* bytes, uint32_t size, TableMeasure* measure) {
  *measure = {};
  for (uint32_t position = 0; size - position > 1;) {
    if (size - position < kRecordHeaderSize) return false;
    const uint32_t userDataSize = LoadU32(bytes + position + kUserDataSizeOffset);
    position += kRecordHeaderSize;
    // A negative size is larger than any item.
    if (userDataSize > size - position || userDataSize % sizeof(PmChar) != 0) return false;
    position += userDataSize;
    if (userDataSize != 0 && (bytes[position - 1] | bytes[position - 2]) != 0) return false;
    ++measure->records;
    measure->memory += RecordMemory(userDataSize);
  }
  return true;
}

bool LoadTable(const uint8_t* bytes, const TableMeasure& measure, IdTable* table) {
  if (!table->reserveBatch(measure.records, measure.memory)) return false;
  for (uint32_t i = 0; i < measure.records; ++i) {
    const uint32_t userDataSize = LoadU32(bytes + kUserDataSizeOffset);
    ItemIdRecord* record =
        table->make(LoadU32(bytes + 12), LoadU32(bytes + 8), bytes + kRecordHeaderSize, userDataSize);
    if (record == nullptr) return false;
    record->reserved0 = LoadU32(bytes);
    record->reserved1 = LoadU32(bytes + 4);
    table->add(record);
    bytes += kRecordHeaderSize + userDataSize;
  }
  return true;
}

}  // namespace catalogue
