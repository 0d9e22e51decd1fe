// Whether a data file is still ours to write: the one that the path names, and as this engine found or left it.
//
// Invariants:
//  1. No change begins in a file whose path names another one by now, beside which another program's journal stands,
//     or which another program has changed.
//  2. dataStamp is the file as the engine found or left it. Where somebody else has written since, the blocks decide, by
//     what their checksums cover: the same bytes are no change.
#pragma once

#include "storage/controller.h"

namespace storage {

// What the path names: the file that was opened, or another one, put in its place or none.
enum class Naming { kSame, kOther, kUnknown };
Naming WhatPathNames(const FileInfo* file);

// Notes the file as it is now: what was written was written here. False when the system does not tell; the backup is
// to be made anew then.
bool StampDataFile(FileInfo* file);

// Whether the file holds what it held when it was opened, or when a change here left it. Its length tells, and that
// nobody has written into it, or its time; where these differ, its blocks, and the medium is not known to hold it
// any more, and the backup is to be made anew.
bool HoldsTheSame(FileInfo* file);

// Locks the file and makes sure that it is as it was when it was opened. False, and not locked, when it is not ours to
// change.
bool TakeOver(FileInfo* file);

}  // namespace storage
