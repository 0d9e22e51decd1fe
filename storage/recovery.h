// Recovery: what a process that died, or a machine without power, left beside a data file is carried out.
//
//   read -> written to a new journal, FLUSHED, renamed over the old one -> one last word for each block, and the final
//   length, written -> the next change, or the close, FLUSHES the data file and starts the journal over
//
// Invariants:
//  1. All of it can be cut off at any point and begun again: until the data file is flushed, the journal stands and
//     says the same.
//  2. What is carried out is durable before: the last frame may be in the system's memory only, and a flush that
//     failed once may succeed the next time without having written.
//  3. A journal that is not this file's is set aside with the backup beside it; nothing is overwritten.
//  4. Where it cannot be carried out now, the disk being full, it stands, and can be read over the file.
#pragma once

#include "storage/controller.h"

namespace storage {

enum class Recovery {
  kNothing,     // no journal stands, or none of this file
  kGivenUp,     // a restore had not happened yet: no journal stands any more, and the backup is as it was
  kCarriedOut,  // and the file is locked, its journal taken over
  kHeld,        // another program has the file open and may be changing it
  kNotNow,      // the journal is this file's and could not be carried out; the file is locked
  kFailed,      // the file must not be used: what stands beside it could not be read or set aside
};

// Looks for the journal of a file that is open but not read yet.
Recovery RecoverDataFile(FileInfo* file);

// Sets a journal aside that stands where no data file is. False when that failed.
bool SetStrayJournalAside(const FileInfo* file);

}  // namespace storage
