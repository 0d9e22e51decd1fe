#include "catalogue/tableformat.h"

#include <cstdlib>
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
  StoreU32(bytes + 16, record->userDataSize);
  if (record->userDataSize != 0) std::memcpy(bytes + kRecordHeaderSize, record->userData, record->userDataSize);
  return bytes + StoredSize(record);
}

ItemIdRecord* LoadRecord(const uint8_t* bytes, uint32_t size, uint32_t* position) {
  if (size - *position < kRecordHeaderSize) return nullptr;
  const uint8_t* header = bytes + *position;
  const uint8_t* userData = header + kRecordHeaderSize;
  const uint32_t userDataSize = LoadU32(header + 16);
  // A negative size is larger than any item.
  if (userDataSize > size - *position - kRecordHeaderSize || userDataSize % sizeof(PmChar) != 0) return nullptr;
  if (userDataSize != 0 && (userData[userDataSize - 1] | userData[userDataSize - 2]) != 0) return nullptr;
  ItemIdRecord* record = NewIdRecord(LoadU32(header + 12), LoadU32(header + 8), userData, userDataSize);
  if (record == nullptr) return nullptr;
  record->reserved0 = LoadU32(header);
  record->reserved1 = LoadU32(header + 4);
  *position += kRecordHeaderSize + userDataSize;
  return record;
}

}  // namespace catalogue
