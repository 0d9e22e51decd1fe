// The ID table as item 0 of a data file holds it: the committed records in slot order, one behind the other,
// with nothing between them and nothing around them.
//
//   offset  size          content
//        0     4          reserved0
//        4     4          reserved1
//        8     4          kind
//       12     4          itemId
//       16     4          userDataSize
//       20  userDataSize  user data: UTF-16 code units, terminator included
//
// All numbers are little-endian. Whoever reads a stored table goes over it record by record with DecodeRecord.
#pragma once

#include <cstddef>
#include <cstdint>

#include "catalogue/idtable.h"
#include "storage/storage.h"

namespace catalogue {

using storage::kIdTableItem;
constexpr uint32_t kUserDataSizeOffset = 16;
constexpr uint32_t kRecordHeaderSize = 20;

inline uint64_t StoredSize(const ItemIdRecord* record) {
  return uint64_t{kRecordHeaderSize} + record->userDataSize;
}

// Writes the record at `bytes`; the position behind it.
uint8_t* StoreRecord(const ItemIdRecord* record, uint8_t* bytes);

// One record as it stands in the table's bytes.
struct StoredRecord {
  uint32_t reserved0 = 0;
  uint32_t reserved1 = 0;
  uint32_t kind = 0;
  uint32_t itemId = 0;
  uint32_t userDataSize = 0;          // bytes, terminator included; even
  const uint8_t* userData = nullptr;  // in the table's bytes, at any alignment
};

enum class RecordResult {
  kRecord,
  kEnd,           // no record follows: one byte behind the last one is no record and no damage
  kCutShort,      // the bytes end within the record's numbers
  kRunsPastEnd,   // its user data would end behind the bytes; so does a negative size
  kOddSize,       // the user data is no run of code units
  kNoTerminator,  // the user data does not end in a zero code unit
};

// Decodes the record at `*position` of a table of `size` bytes and moves `*position` behind it. For anything but
// kRecord neither has changed.
RecordResult DecodeRecord(const uint8_t* bytes, uint32_t size, uint32_t* position, StoredRecord* record);

// What loading a stored table takes.
struct TableMeasure {
  uint32_t size = 0;  // of the table in bytes
  uint32_t records = 0;
};

// Goes over the table's `size` bytes without building anything. False when a record is malformed.
bool MeasureTable(const uint8_t* bytes, uint32_t size, TableMeasure* measure);

// Loads a sound stored table into an empty one. False when there is no memory.
bool LoadTable(const uint8_t* bytes, const TableMeasure& measure, IdTable* table);

}  // namespace catalogue
