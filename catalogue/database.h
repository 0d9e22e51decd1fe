// The record of one open database; its address is the handle that the exports take.
//
// Invariants:
//  1. An ID stands in at most one of the two tables.
#pragma once

#include <cstdint>

#include "catalogue/idtable.h"
#include "pmstore.h"

namespace catalogue {

constexpr uint32_t kAllSaved = UINT32_MAX;

}  // namespace catalogue

struct DataBaseHandle {
  PmChar path[512] = {};
  int32_t openCount = 0;
  catalogue::IdTable committedIds;
  catalogue::IdTable pendingIds;
  uint32_t cursor = 0;  // the slot of committedIds where the enumeration goes on

  // The first slot whose record item 0 may not hold as it is now (catalogue/storedtable.h), or kAllSaved.
  uint32_t unsavedFrom = catalogue::kAllSaved;
};

namespace catalogue {

// A record for a path with one open counted; null when the path is longer than the engine takes (255
// characters) or when there is no memory. Release it with ReleaseDataBaseHandle.
DataBaseHandle* NewDataBaseHandle(const PmChar* path);
void ReleaseDataBaseHandle(DataBaseHandle* handle);

// The length of the handle's path in bytes, without the terminator.
uint32_t PathBytes(const DataBaseHandle* handle);

}  // namespace catalogue
