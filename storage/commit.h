// Making a change happen.
//
//   PrepareToChange   the file is locked, and still the one that was opened; what is behind is carried out; the
//                     journal stands, durable, or starts over
//   backup            made, as far as it is not there or not up to date: not flushed
//   room              for what file and backup grow by
//   many new blocks   ahead frame, FLUSHED; the blocks behind the file's end, FLUSHED
//   frame             FLUSHED: from here on the change has happened
//   carrying out      the data file written from memory, not flushed; from the frame where that failed
//   backup            brought up to date, not flushed
//
// Invariants:
//  1. Before the frame is durable nothing has changed but the backup. A failure undoes the change and gives its code.
//  2. Behind the frame the result is 0, whatever fails: the journal is behind then, and the next change, the close or
//     the next open carries it out.
//  3. While a journal's name stands, nothing trusts the backup: it may be written without a flush.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Readies a file for a change, before anything of it is staged: 0; kCannotOpen when another program holds the file or
// has changed it, when the path names another one by now, or when the journal cannot be made; kWriteFailed when what
// is behind cannot be carried out, or the journal cannot be written.
int32_t PrepareToChange(FileInfo* file);

// Makes the change under way happen, or undoes it: 0, kCannotOpen or kWriteFailed. Ends it.
int32_t CommitChange();

// Carries out what is behind; false when that failed.
bool CarryOut(FileInfo* file);

}  // namespace storage
