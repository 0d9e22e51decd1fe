#include "catalogue/idtable.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "catalogue/tableformat.h"
#include "commonbase/src/pmstring.h"

namespace catalogue {

namespace {

uint32_t HashString(uint32_t kind, const PmChar* text) {
  uint64_t hash = kind + 0x9E3779B97F4A7C15U;
  for (; *text != 0; ++text) hash = (hash ^ *text) * 0x100000001B3U;
  return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace

uint32_t HashId(const ItemIdRecord* record) {
  return record->itemId;
}

uint32_t HashUserData(const ItemIdRecord* record) {
  return HashString(record->kind, record->userData);
}

uint64_t UserDataSize(const PmChar* userData) {
  return userData != nullptr ? (uint64_t{commonbase::LengthOf(userData)} + 1) * sizeof(PmChar) : 0;
}

ItemIdRecord* NewIdRecord(uint32_t id, uint32_t kind, const void* userData, uint32_t userDataSize) {
  void* memory = std::calloc(1, sizeof(ItemIdRecord) + userDataSize);
  if (memory == nullptr) return nullptr;
  auto* record = new (memory) ItemIdRecord();
  record->kind = kind;
  record->itemId = id;
  record->userDataSize = userDataSize;
  if (userDataSize != 0) {
    std::memcpy(record + 1, userData, userDataSize);
    record->userData = reinterpret_cast<const PmChar*>(record + 1);
  }
  return record;
}

void ReleaseIdRecord(ItemIdRecord* record) {
  std::free(record);
}

IdTable::~IdTable() {
  for (uint32_t slot = 0; slot < slots_.usedEnd(); ++slot) {
    if (slots_[slot] != nullptr) ReleaseIdRecord(slots_[slot]);
  }
}

void IdTable::add(ItemIdRecord* record) {
  record->slot = slots_.add(record);
  byId_.insert(record);
  if (record->userData != nullptr) byUserData_.insert(record);
  storedBytes_ += StoredSize(record);
}

void IdTable::remove(ItemIdRecord* record) {
  slots_.remove(record->slot);
  byId_.remove(record);
  if (record->userData != nullptr) byUserData_.remove(record);
  storedBytes_ -= StoredSize(record);
}

ItemIdRecord* IdTable::find(uint32_t id) const {
  ItemIdRecord key{};
  key.itemId = id;
  ItemIdRecord* found = nullptr;
  for (ItemIdRecord* record = byId_.chain(HashId(&key)); record != nullptr; record = record->nextById) {
    if (record->itemId == id && (found == nullptr || record->slot < found->slot)) found = record;
  }
  return found;
}

ItemIdRecord* IdTable::findByUserData(uint32_t kind, const PmChar* userData) const {
  ItemIdRecord* found = nullptr;
  ItemIdRecord* record = byUserData_.chain(HashString(kind, userData));
  for (; record != nullptr; record = record->nextByUserData) {
    if (record->kind != kind || (found != nullptr && record->slot > found->slot)) continue;
    if (commonbase::SameString(record->userData, userData)) found = record;
  }
  return found;
}

}  // namespace catalogue
