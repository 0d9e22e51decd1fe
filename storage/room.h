// Room on the medium for what a data file and its backup grow by, taken before a change happens.
//
// Invariant: the files keep their lengths, where the system can do that; else the data file is cut again by whoever
// undoes the change.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Takes room for the blocks from `oldBlockNum` up to the file's new length, and in the backup, if it is brought up to
// date. 0 or kWriteFailed.
int32_t TakeRoom(FileInfo* file, uint32_t oldBlockNum, bool inBackup);

// Gives back what was taken ahead and is not needed, and what a change that failed could not cut off. False when that
// failed.
bool ReleaseRoom(FileInfo* file);

}  // namespace storage
