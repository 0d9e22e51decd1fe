// An ID table: the records of the IDs that a database has stored, or has handed out, in slot order.
//
// A database has two: committedIds, which item 0 of its data file holds, and pendingIds, which live in memory
// only. A record is born pending, moves once to the committed table, and dies with its item or with the
// database.
//
// Invariants:
//  1. Every record of the table stands in its slot; under its ID, and, with user data, under kind and user
//     data, from the first time that one is looked for so. Opening a database does not wait for either.
//  2. Where several records match, the one in the lowest slot is found. Those that share kind and user data, however
//     many, are one heap, whose top alone stands under them.
//  3. kindBytes_ and ids_ say once more, slot by slot, the low byte of a record's kind and its ID, next to each other:
//     whoever goes over all records of a kind reads those and, unless some kind needs more than a byte, no record. A
//     free slot has 0 in both.
//  4. storedBytes() is the length of the table as item 0 holds it.
#pragma once

#include <cstdint>

#include "catalogue/slotheap.h"
#include "commonbase/src/chaintable.h"
#include "platform/pmtypes.h"

namespace catalogue {

struct ItemIdRecord {
  uint32_t reserved0 = 0;  // kept and stored back, never read
  uint32_t reserved1 = 0;
  uint32_t kind = 0;
  uint32_t itemId = 0;
  uint32_t userDataSize = 0;  // bytes, terminator included; 0 without user data

  uint32_t slot = 0;
  uint32_t branch[2] = {};  // of the heap of records with this kind and user data
  ItemIdRecord* nextById = nullptr;
  ItemIdRecord* nextByUserData = nullptr;

  // The zero-terminated string that stands behind the record; null without user data.
  const PmChar* userData() const {
    return userDataSize != 0 ? reinterpret_cast<const PmChar*>(this + 1) : nullptr;
  }
};

uint32_t HashId(const ItemIdRecord* record);
uint32_t HashUserData(const ItemIdRecord* record);

// The number of bytes of a string with its terminator; 0 for null.
uint64_t UserDataSize(const PmChar* userData);

class IdTable {
 public:
  IdTable() = default;
  ~IdTable();
  IdTable(const IdTable&) = delete;
  IdTable& operator=(const IdTable&) = delete;

  // How many slots an empty table starts with; see SlotArray.
  void setCapacity(uint32_t capacity) { slots_.setCapacity(capacity); }

  // Makes room for more records. False when there is no memory.
  bool reserve(uint32_t more = 1) {
    const uint32_t size = slots_.size() + more;
    return slots_.reserve(more) && kindBytes_.reserve(size) && ids_.reserve(size);
  }

  // A record with a copy of `userDataSize` bytes of user data, which end in a terminator; null when there is
  // no memory. It stands in no table yet.
  static ItemIdRecord* make(uint32_t id, uint32_t kind, const void* userData, uint32_t userDataSize);
  // Gives a record's memory back; it stands in no table any more.
  static void release(ItemIdRecord* record);

  // Takes the record over. Needs reserve().
  void add(ItemIdRecord* record);
  // Hands the record back to the caller.
  void remove(ItemIdRecord* record);

  ItemIdRecord* find(uint32_t id);
  ItemIdRecord* findByUserData(uint32_t kind, const PmChar* userData);
  // Puts the first slot from *slot on that holds a record of the kind into *slot, and its ID into *id. False when there
  // is none.
  bool nextOfKind(uint32_t kind, uint32_t* slot, uint32_t* id) const;

  const SlotArray<ItemIdRecord>& slots() const { return slots_; }
  uint64_t storedBytes() const { return storedBytes_; }

 private:
  void indexById();
  void indexByUserData();
  // Lists a record under kind and user data, or unlists it; it stands in its slot.
  void listUserData(ItemIdRecord* record);
  void unlistUserData(ItemIdRecord* record);
  // Puts another record of a heap on its top, or none.
  void setTop(ItemIdRecord* from, uint32_t to);
  // The top of the heap of that kind and user data, or null.
  ItemIdRecord* topOf(uint32_t kind, const PmChar* userData) const;

  // The first slot from `slot` on whose record may have the kind, or ids_.size().
  uint32_t skipOthers(uint32_t slot, uint32_t kind) const;

  SlotArray<ItemIdRecord> slots_;
  commonbase::GrowArray<uint8_t> kindBytes_;
  commonbase::GrowArray<uint32_t> ids_;
  bool hasWideKinds_ = false;
  commonbase::ChainTable<ItemIdRecord, &ItemIdRecord::nextById, HashId> byId_;
  commonbase::ChainTable<ItemIdRecord, &ItemIdRecord::nextByUserData, HashUserData> byUserData_;
  bool indexedById_ = false;
  bool indexedByUserData_ = false;
  uint64_t storedBytes_ = 0;
};

}  // namespace catalogue
