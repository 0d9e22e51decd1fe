// Whether a data file is still ours to write: the one that the path names, and as this engine found or left it.
//
// Invariants:
//  1. Nothing is written into a file whose path names another one by now, beside which another program's journal
//     stands, or which another program has changed.
//  2. dataStamp is the file as the engine found or left it; the same bytes written by somebody else are no change.
#pragma once

#include "storage/controller.h"

namespace storage {

// What the path names: the file that was opened, or another one, put in its place or none.
enum class Naming { kSame, kOther, kUnknown };
Naming WhatPathNames(const FileInfo* file);

// Notes the file as it is now: what was written was written here.
void StampDataFile(FileInfo* file);

// Whether the file holds what it held when it was opened, or when a change here left it. Its length tells, and that
// nobody has written into it, or its time; where these differ, its blocks, and the medium is not known to hold it
// any more.
bool HoldsTheSame(FileInfo* file);

// Locks the file and makes sure that it is as it was when it was opened. False, and not locked, when it is not ours to
// change.
bool TakeOver(FileInfo* file);

}  // namespace storage
