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

RecordResult DecodeRecord(const uint8_t* bytes, uint32_t size, uint32_t* position, StoredRecord* record) {
  const uint32_t rest = size - *position;
  if (rest <= 1) return RecordResult::kEnd;
  if (rest < kRecordHeaderSize) return RecordResult::kCutShort;
  const uint8_t* at = bytes + *position;
  const uint32_t userDataSize = LoadU32(at + kUserDataSizeOffset);
  if (userDataSize > rest - kRecordHeaderSize) return RecordResult::kRunsPastEnd;
  if (userDataSize % sizeof(PmChar) != 0) return RecordResult::kOddSize;
  const uint8_t* end = at + kRecordHeaderSize + userDataSize;
  if (userDataSize != 0 && (end[-1] | end[-2]) != 0) return RecordResult::kNoTerminator;
  *record = {LoadU32(at),      LoadU32(at + 4), LoadU32(at + 8),
             LoadU32(at + 12), userDataSize,    at + kRecordHeaderSize};
  *position += kRecordHeaderSize + userDataSize;
  return RecordResult::kRecord;
}

bool MeasureTable(const uint8_t* bytes, uint32_t size, TableMeasure* measure) {
  *measure = {size, 0};
  StoredRecord record;
  RecordResult result;
  for (uint32_t position = 0;
       (result = DecodeRecord(bytes, size, &position, &record)) == RecordResult::kRecord;) {
    ++measure->records;
  }
  return result == RecordResult::kEnd;
}

bool LoadTable(const uint8_t* bytes, const TableMeasure& measure, IdTable* table) {
  if (!table->reserve(measure.records)) return false;
  StoredRecord stored;
  for (uint32_t position = 0;
       DecodeRecord(bytes, measure.size, &position, &stored) == RecordResult::kRecord;) {
    ItemIdRecord* record = IdTable::make(stored.itemId, stored.kind, stored.userData, stored.userDataSize);
    if (record == nullptr) return false;
    record->reserved0 = stored.reserved0;
    record->reserved1 = stored.reserved1;
    table->add(record);
  }
  return true;
}

}  // namespace catalogue
