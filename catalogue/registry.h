// The catalogue's state: how often it was brought up, and the databases that are open.
//
// Invariants:
//  1. A handle is accepted exactly when it stands in the registry.
//  2. There is at most one record a path; paths are compared code unit by code unit.
#pragma once

#include <cstdint>

#include "catalogue/database.h"
#include "catalogue/slotarray.h"

namespace catalogue {

struct PmTotalDataController {
  int32_t refCount = 0;
  SlotArray<DataBaseHandle>* registry = nullptr;  // null while the catalogue is down
};

extern PmTotalDataController totalController;

bool IsValidDataBaseHandle(const DataBaseHandle* handle);

// The record of that path, or null.
DataBaseHandle* FindDataBaseByPath(const PmChar* path);

// The record whose data file is current in the engine, or null.
DataBaseHandle* CurrentDataBase();

}  // namespace catalogue
