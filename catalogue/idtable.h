// An ID table: the records of the IDs that a database has stored, or has handed out, in slot order.
//
// A database has two: committedIds, which item 0 of its data file holds, and pendingIds, which live in memory only.
// A record is born pending, moves once to the committed table, and dies with its item or with the database.
//
// Invariants:
//  1. Every record of the table stands in its slot, under its ID, and, with user data, under kind and user data.
//  2. Where several records match, the one in the lowest slot is found.
//  3. storedBytes() is the length of the table as item 0 holds it.
#pragma once

#include <cstdint>

#include "catalogue/slotarray.h"
#include "commonbase/src/chaintable.h"
#include "platform/pmtypes.h"

namespace catalogue {

struct ItemIdRecord {
  uint32_t reserved0;  // kept and stored back, never read
  uint32_t reserved1;
  uint32_t kind;
  uint32_t itemId;
  uint32_t userDataSize;   // bytes, terminator included; 0 without user data
  const PmChar* userData;  // zero-terminated, in the same allocation; null without user data

  uint32_t slot;
  ItemIdRecord* nextById;
  ItemIdRecord* nextByUserData;
};

uint32_t HashId(const ItemIdRecord* record);
uint32_t HashUserData(const ItemIdRecord* record);

// The number of bytes of a string with its terminator; 0 for null.
uint64_t UserDataSize(const PmChar* userData);

// A record with a copy of `userDataSize` bytes of user data, which end in a terminator; null when there is no
// memory. Release it with ReleaseIdRecord.
ItemIdRecord* NewIdRecord(uint32_t id, uint32_t kind, const void* userData, uint32_t userDataSize);
void ReleaseIdRecord(ItemIdRecord* record);

class IdTable {
 public:
  IdTable() = default;
  ~IdTable();
  IdTable(const IdTable&) = delete;
  IdTable& operator=(const IdTable&) = delete;

  // Makes room for one more record. False when there is no memory.
  bool reserve() { return slots_.reserve(1); }

  // Takes the record over. Needs reserve().
  void add(ItemIdRecord* record);
  // Hands the record back to the caller.
  void remove(ItemIdRecord* record);

  ItemIdRecord* find(uint32_t id) const;
  ItemIdRecord* findByUserData(uint32_t kind, const PmChar* userData) const;

  const SlotArray<ItemIdRecord>& slots() const { return slots_; }
  uint64_t storedBytes() const { return storedBytes_; }

 private:
  SlotArray<ItemIdRecord> slots_;
  commonbase::ChainTable<ItemIdRecord, &ItemIdRecord::nextById, HashId> byId_;
  commonbase::ChainTable<ItemIdRecord, &ItemIdRecord::nextByUserData, HashUserData> byUserData_;
  uint64_t storedBytes_ = 0;
};

}  // namespace catalogue
