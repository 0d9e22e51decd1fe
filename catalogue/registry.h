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

using DataBaseRegistry = SlotArray<DataBaseHandle>;

struct PmTotalDataController {
  int32_t refCount = 0;
  DataBaseRegistry* registry = nullptr;  // null while the catalogue is down
};

extern PmTotalDataController totalController;

// Makes an empty registry. False when there is no memory.
bool InitDataBaseRegistry();

// Releases the registry, and the records that stand in it.
void ReleaseDataBaseRegistry();

// Takes a record out of the registry and releases it.
void RemoveDataBaseFromRegistry(DataBaseHandle* handle);

bool IsValidDataBaseHandle(const DataBaseHandle* handle);

// The record of that path, or null.
DataBaseHandle* FindDataBaseByPath(const PmChar* path);

// The record whose data file is current in the engine, or null.
DataBaseHandle* CurrentDataBase();

}  // namespace catalogue
