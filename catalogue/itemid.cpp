// The exported functions that give item IDs: new ones, those that a caller chooses, and those found by user data.
//
// Invariants:
//  1. A new ID is in no table of any open database, and never 0, which is the ID table's own.
//  2. An ID begins as a pending one: nothing is written of it until its item is stored.

#include <cstdlib>
#include <ctime>

#include "catalogue/idhash.h"
#include "catalogue/registry.h"
#include "catalogue/tableformat.h"
#include "storage/format.h"

namespace catalogue {

namespace {

constexpr int kDraws = 32;  // of four values each

// A generator of 64 bits by multiplications that spread every bit of its state.
class Generator {
 public:
  void stir(uint64_t bits) { state_ ^= bits; }
  uint64_t next() {
    uint64_t bits = state_ += 0x9E3779B97F4A7C15U;
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EBU;
    return bits ^ bits >> 31;
  }
  // Goes on far from here.
  void leap() { state_ = next(); }

 private:
  uint64_t state_ = 0;
};

Generator generator;

// The hash of 260 bytes: the time, and 128 values at 16 bits each. A draw of rand takes a lock; two of them set off a
// generator that goes on from ID to ID.
uint32_t DrawId() {
  generator.stir(static_cast<uint64_t>(std::rand()) << 32 ^ static_cast<uint64_t>(std::rand()));
  uint8_t time[4];
  storage::StoreU32(time, static_cast<uint32_t>(std::time(nullptr)));
  IdHash hash;
  for (const uint8_t byte : time) hash.add(byte);
  for (int i = 0; i < kDraws; ++i) {
    uint64_t bits = generator.next();
    for (int byte = 0; byte < 8; ++byte, bits >>= 8) hash.add(static_cast<uint8_t>(bits));
  }
  return hash.value();
}

bool IsIdAbsent(DataBaseHandle* handle, uint32_t id) {
  return handle->committedIds.find(id) == nullptr && handle->pendingIds.find(id) == nullptr;
}

bool IsIdUnusedInAllDataBases(uint32_t id) {
  bool isUnused = true;
  totalController.registry->forEach(
      [&](DataBaseHandle* handle) { isUnused = isUnused && IsIdAbsent(handle, id); });
  return isUnused;
}

bool AddPendingId(DataBaseHandle* handle, uint32_t id, uint32_t kind, const PmChar* userData) {
  const uint64_t size = UserDataSize(userData);
  // An ID whose record could never be stored is none.
  if (size > storage::kMaxItemSize - kRecordHeaderSize || !handle->pendingIds.reserve()) return false;
  ItemIdRecord* record = IdTable::make(id, kind, userData, static_cast<uint32_t>(size));
  if (record == nullptr) return false;
  handle->pendingIds.add(record);
  return true;
}

}  // namespace

}  // namespace catalogue

using namespace catalogue;

extern "C" {

uint32_t CreateNewItemID(DataBaseHandle* handle, uint32_t kind, const PmChar* userData) {
  if (!IsValidDataBaseHandle(handle)) return 0;
  if (userData != nullptr && handle->committedIds.findByUserData(kind, userData) != nullptr) return 0;
  uint32_t id = DrawId();
  // A program that does not seed rand draws what it drew when it ran before. Where it meets an ID of then it leaves
  // that way, or it would meet all of them.
  while (id != 0 && !IsIdUnusedInAllDataBases(id)) {
    generator.leap();
    id = DrawId();
  }
  if (id == 0) return 0;
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
