#include "catalogue/itemid.h"

#include <cstdlib>
#include <ctime>

#include "catalogue/registry.h"
#include "catalogue/tableformat.h"
#include "storage/format.h"

namespace catalogue {

namespace {

constexpr int32_t kSeedSize = 260;  // the time, and 128 values of rand at 16 bits each
constexpr int32_t kTimeSize = 4;

uint32_t DrawId() {
  uint8_t seed[kSeedSize];
  storage::StoreU32(seed, static_cast<uint32_t>(std::time(nullptr)));
  for (int32_t i = kTimeSize; i < kSeedSize; i += 2) {
    const auto value = static_cast<unsigned>(std::rand());
    seed[i] = static_cast<uint8_t>(value);
    seed[i + 1] = static_cast<uint8_t>(value >> 8);
  }
  return GetIdHashValue(seed, kSeedSize);
}

bool IsIdAbsent(DataBaseHandle* handle, uint32_t id) {
  return handle->committedIds.find(id) == nullptr && handle->pendingIds.find(id) == nullptr;
}

bool IsIdUnusedInAllDataBases(uint32_t id) {
  const auto& registry = *totalController.registry;
  for (uint32_t slot = 0; slot < registry.usedEnd(); ++slot) {
    if (registry[slot] != nullptr && !IsIdAbsent(registry[slot], id)) return false;
  }
  return true;
}

bool AddPendingId(DataBaseHandle* handle, uint32_t id, uint32_t kind, const PmChar* userData) {
  const uint64_t size = UserDataSize(userData);
  // An ID whose record could never be stored is none.
  if (size > storage::kMaxItemSize - kRecordHeaderSize || !handle->pendingIds.reserve()) return false;
  ItemIdRecord* record = handle->pendingIds.make(id, kind, userData, static_cast<uint32_t>(size));
  if (record == nullptr) return false;
  handle->pendingIds.add(record);
  return true;
}

}  // namespace

uint32_t GetIdHashValue(const uint8_t* bytes, int32_t length) {
  if (bytes == nullptr || length <= 0) return 0;
  uint32_t mixed = 0;
  uint32_t sum = 0;
  for (uint32_t i = 1; i <= static_cast<uint32_t>(length); ++i) {
    const uint32_t term = (bytes[i - 1] * i) & 0xFF;
    mixed = (mixed ^ term) + mixed;
    sum += term;
  }
  return mixed << 16 | sum;
}

}  // namespace catalogue

using namespace catalogue;

extern "C" {

uint32_t CreateNewItemID(DataBaseHandle* handle, uint32_t kind, const PmChar* userData) {
  if (!IsValidDataBaseHandle(handle)) return 0;
  if (userData != nullptr && handle->committedIds.findByUserData(kind, userData) != nullptr) return 0;
  uint32_t id;
  do {
    id = DrawId();
    if (id == 0) return 0;
  } while (!IsIdUnusedInAllDataBases(id));
  return AddPendingId(handle, id, kind, userData) ? id : 0;
}

int32_t RetainID(DataBaseHandle* handle, uint32_t id, uint32_t kind, const PmChar* userData) {
  if (!IsValidDataBaseHandle(handle) || !IsIdAbsent(handle, id)) return 0;
  return AddPendingId(handle, id, kind, userData) ? 1 : 0;
}

uint32_t GetItemIDByUserdata(DataBaseHandle* handle, uint32_t kind, const PmChar* userData) {
  if (!IsValidDataBaseHandle(handle) || userData == nullptr) return 0;
  const ItemIdRecord* record = handle->committedIds.findByUserData(kind, userData);
  return record != nullptr ? record->itemId : 0;
}

}  // extern "C"
