#include "catalogue/idtable.h"

#include <cstring>
#include <new>

#include "catalogue/tableformat.h"
#include "commonbase/src/memorypool.h"
#include "commonbase/src/pmstring.h"
#include "platform/compiler.h"
#include "storage/format.h"

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
  return HashString(record->kind, record->userData());
}

uint64_t UserDataSize(const PmChar* userData) {
  return userData != nullptr ? (uint64_t{commonbase::LengthOf(userData)} + 1) * sizeof(PmChar) : 0;
}

IdTable::~IdTable() {
  slots_.forEach(release);
}

ItemIdRecord* IdTable::make(uint32_t id, uint32_t kind, const void* userData, uint32_t userDataSize) {
  void* memory = commonbase::SharedMemory().take(sizeof(ItemIdRecord) + userDataSize);
  if (memory == nullptr) return nullptr;
  auto* record = new (memory) ItemIdRecord();
  record->kind = kind;
  record->itemId = id;
  record->userDataSize = userDataSize;
  if (userDataSize != 0) std::memcpy(record + 1, userData, userDataSize);
  return record;
}

void IdTable::release(ItemIdRecord* record) {
  commonbase::SharedMemory().give(record, sizeof(ItemIdRecord) + record->userDataSize);
}

void IdTable::add(ItemIdRecord* record) {
  record->slot = slots_.add(record);
  if (record->slot == ids_.size()) {
    ids_.add(0);
    kindBytes_.add(0);
  }
  ids_[record->slot] = record->itemId;
  kindBytes_[record->slot] = static_cast<uint8_t>(record->kind);
  hasWideKinds_ = hasWideKinds_ || record->kind > UINT8_MAX;
  if (indexedById_) byId_.insert(record);
  if (indexedByUserData_ && record->userDataSize != 0) listUserData(record);
  storedBytes_ += StoredSize(record);
}

void IdTable::remove(ItemIdRecord* record) {
  if (indexedById_) byId_.remove(record);
  if (indexedByUserData_ && record->userDataSize != 0) unlistUserData(record);
  slots_.remove(record->slot);
  ids_[record->slot] = kindBytes_[record->slot] = 0;
  storedBytes_ -= StoredSize(record);
}

void IdTable::indexById() {
  byId_.expect(slots_.count());
  slots_.forEach([this](ItemIdRecord* record) { byId_.insert(record); });
  indexedById_ = true;
}

void IdTable::indexByUserData() {
  byUserData_.expect(slots_.count());
  slots_.forEach([this](ItemIdRecord* record) {
    if (record->userDataSize != 0) listUserData(record);
  });
  indexedByUserData_ = true;
}

void IdTable::listUserData(ItemIdRecord* record) {
  ItemIdRecord* top = topOf(record->kind, record->userData());
  SlotHeap<ItemIdRecord> heap(slots_, top != nullptr ? top->slot : SlotHeap<ItemIdRecord>::kNone);
  heap.insert(record);
  setTop(top, heap.top());
}

void IdTable::unlistUserData(ItemIdRecord* record) {
  ItemIdRecord* top = topOf(record->kind, record->userData());
  SlotHeap<ItemIdRecord> heap(slots_, top->slot);
  heap.remove(record);
  setTop(top, heap.top());
}

void IdTable::setTop(ItemIdRecord* from, uint32_t to) {
  if (from != nullptr && from->slot == to) return;
  if (from != nullptr) byUserData_.remove(from);
  if (to != SlotHeap<ItemIdRecord>::kNone) byUserData_.insert(slots_[to]);
}

ItemIdRecord* IdTable::topOf(uint32_t kind, const PmChar* userData) const {
  ItemIdRecord* record = byUserData_.chain(HashString(kind, userData));
  while (record != nullptr &&
         (record->kind != kind || !commonbase::SameString(record->userData(), userData))) {
    record = record->nextByUserData;
  }
  return record;
}

ItemIdRecord* IdTable::find(uint32_t id) {
  if (!indexedById_) indexById();
  ItemIdRecord key{};
  key.itemId = id;
  ItemIdRecord* found = nullptr;
  for (ItemIdRecord* record = byId_.chain(HashId(&key)); record != nullptr; record = record->nextById) {
    if (record->itemId == id && (found == nullptr || record->slot < found->slot)) found = record;
  }
  return found;
}

ItemIdRecord* IdTable::findByUserData(uint32_t kind, const PmChar* userData) {
  if (!indexedByUserData_) indexByUserData();
  return topOf(kind, userData);
}

// Looks at eight slots at a time: which of them has the kind no processor foresees, so that a branch for each would
// cost more.
uint32_t IdTable::skipOthers(uint32_t slot, uint32_t kind) const {
  constexpr uint64_t kOnes = 0x0101010101010101U;
  const auto wanted = static_cast<uint8_t>(kind);
  for (; slot + 8 <= kindBytes_.size(); slot += 8) {
    const uint64_t others = storage::LoadU64(kindBytes_.begin() + slot) ^ (kOnes * wanted);
    // The lowest byte that is 0 gets its highest bit, and no byte below it does.
    const uint64_t found = (others - kOnes) & ~others & kOnes << 7;
    if (found != 0) return slot + platform::LowestBit(found) / 8;
  }
  while (slot < kindBytes_.size() && kindBytes_[slot] != wanted) ++slot;
  return slot;
}

bool IdTable::nextOfKind(uint32_t kind, uint32_t* slot, uint32_t* id) const {
  if (kind > UINT8_MAX && !hasWideKinds_) return false;
  for (uint32_t at = skipOthers(*slot, kind); at < ids_.size(); at = skipOthers(at + 1, kind)) {
    if ((hasWideKinds_ || ids_[at] == 0) && (slots_[at] == nullptr || slots_[at]->kind != kind)) continue;
    *slot = at;
    *id = ids_[at];
    return true;
  }
  return false;
}

}  // namespace catalogue
