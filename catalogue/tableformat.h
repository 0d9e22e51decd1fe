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
// All numbers are little-endian.
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

// What loading a stored table takes.
struct TableMeasure {
  uint32_t records;
  size_t memory;
};

// Goes over the table's `size` bytes without building anything. False when a record is malformed: when it
// runs past the end, when its userDataSize is negative or odd, or when its user data lacks the terminator.
// One byte behind the last record is no record and no damage.
bool MeasureTable(const uint8_t* bytes, uint32_t size, TableMeasure* measure);

// Loads a sound stored table into an empty one. False when there is no memory.
bool LoadTable(const uint8_t* bytes, const TableMeasure& measure, IdTable* table);

}  // namespace catalogue
