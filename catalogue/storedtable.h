// The stored ID table, item 0 of a database's file, kept in step with the committed table in memory.
//
// Invariants:
//  1. The committed table in memory is the authority: item 0 is read when the database is opened, and from then on
//     only written, here alone.
//  2. Item 0 as the engine holds it agrees with the committed table up to the record in slot unsavedFrom. Inside a
//     transaction, and behind a save that failed, that may stay behind; it is made up before the next sync.
#pragma once

#include <cstdint>

#include "catalogue/database.h"

namespace catalogue {

// Fills the committed table from item 0 of the current file. False when item 0 is there but cannot be read or
// is malformed, or when there is no memory.
bool LoadIdTable(DataBaseHandle* handle);

// The committed table as it is to be: with `record`, or with none, in `slot`.
struct SlotEdit {
  uint32_t slot = 0;
  const ItemIdRecord* record = nullptr;
};
constexpr SlotEdit kNoEdit = {kAllSaved, nullptr};

// The next four work on item 0 of the database's file, which must be current, within a change.

// Makes room in item 0 for the committed table as it will be with `moreBytes` more. False when there is no memory or
// when item 0 would grow larger than an item may be.
bool ReserveIdTable(DataBaseHandle* handle, uint64_t moreBytes);

// Brings item 0, as the engine holds it in memory, up to the committed table with an edit; the item of an emptied table
// is deleted. Inside a transaction nothing but that deletion is done: the transaction's end flushes the rest. kNoItem
// when there is no memory, or what kept the deletion from being staged.
int32_t StoreIdTable(DataBaseHandle* handle, const SlotEdit& edit);

// The same for what is still unsaved, also inside a transaction; NoteTableSaved when the change has happened.
int32_t FlushIdTable(DataBaseHandle* handle);
void NoteTableSaved(DataBaseHandle* handle);

// These two change the tables in memory, and leave item 0 behind.

// Moves the record of a pending ID to the committed table. Needs room there.
void CommitPendingId(DataBaseHandle* handle, ItemIdRecord* record);

// Takes a committed record out and frees it.
void RemoveCommittedId(DataBaseHandle* handle, ItemIdRecord* record);

}  // namespace catalogue
