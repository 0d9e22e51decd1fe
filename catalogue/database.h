// The record of one open database; its address is the handle that the exports take.
//
// Invariants:
//  1. An ID stands in at most one of the two tables.
//  2. The committed table in memory is the authority; item 0 of the data file is read when the database is
//     opened and rewritten by SaveIdTable alone.
//  3. Item 0 as the engine holds it agrees with the committed table up to the record in slot unsavedFrom. Inside a
//     transaction, and behind a save that failed, that may stay behind; it is made up before the next sync.
#pragma once

#include <cstdint>

#include "catalogue/idtable.h"
#include "pmstore.h"

struct DataBaseHandle {
  PmChar path[512] = {};
  int32_t openCount = 0;
  catalogue::IdTable committedIds;
  catalogue::IdTable pendingIds;
  uint32_t cursor = 0;  // the slot of committedIds where the enumeration goes on

  uint32_t unsavedFrom = 0;
};

namespace catalogue {

constexpr uint32_t kAllSaved = UINT32_MAX;

// A record for a path with one open counted; null when the path is longer than the engine takes (255
// characters) or when there is no memory. Release it with ReleaseDataBaseHandle.
DataBaseHandle* NewDataBaseHandle(const PmChar* path);
void ReleaseDataBaseHandle(DataBaseHandle* handle);

// The length of the handle's path in bytes, without the terminator.
uint32_t PathBytes(const DataBaseHandle* handle);

// Fills the committed table from item 0 of the current file. False when item 0 is there but cannot be read or
// is malformed, or when there is no memory.
bool LoadIdTable(DataBaseHandle* handle);

// The committed table as it is to be: with `record`, or with none, in `slot`.
struct SlotEdit {
  uint32_t slot = 0;
  const ItemIdRecord* record = nullptr;
};
constexpr SlotEdit kNoEdit = {kAllSaved, nullptr};

// What follows works on item 0 of the database's file, which must be current, within a change.

// Makes room in item 0 for the committed table as it will be with `moreBytes` more. False when there is no memory or
// when item 0 would grow larger than an item may be.
bool ReserveIdTable(DataBaseHandle* handle, uint64_t moreBytes);

// Brings item 0 up to the committed table with an edit, in memory; an emptied table goes. Inside a transaction, which
// ends in it, only that. 0; kNoItem when there is no memory, or what kept the removal from being staged.
int32_t StoreIdTable(DataBaseHandle* handle, const SlotEdit& edit);

// The same for what is still unsaved, also inside a transaction; NoteTableSaved when the change has happened.
int32_t FlushIdTable(DataBaseHandle* handle);
void NoteTableSaved(DataBaseHandle* handle);

// Moves the record of a pending ID to the committed table. Needs room there.
void CommitPendingId(DataBaseHandle* handle, ItemIdRecord* record);

// Takes a committed record out and frees it.
void RemoveCommittedId(DataBaseHandle* handle, ItemIdRecord* record);

}  // namespace catalogue
