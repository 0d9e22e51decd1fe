// Opening: the index of a data file and its free blocks, rebuilt from the block headers in one pass, behind the
// recovery of what a crash left.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Opens the file of a record, or makes it where it is missing, without reading it. 0; kBadData when an existing one
// cannot be opened, kCannotOpen when a missing one cannot be made, or when the names beside it cannot be had.
int32_t OpenOrCreate(FileInfo* file);

// Fills a new record from its open `file`: 0, kBadData when it is not a valid data file, kIncomplete when it
// shrank meanwhile, kCannotOpen when there is no memory.
int32_t ReadDataFile(FileInfo* file);

// Opens a record's file with what a recovery leaves, reads it and lists the record as open: 0, or the result of what
// failed.
int32_t EnterDataFile(FileInfo* file);

}  // namespace storage
