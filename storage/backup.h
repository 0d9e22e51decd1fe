// The backup beside a data file: a hidden byte copy, made around every sync and before a compaction, for
// PmRestoreBackupFile. No safety rests on it: it is never flushed, and what a crash leaves of it is replaced.
//
// Only a backup that this engine left itself is brought up to date by its stale blocks: the identity, size and time
// of both files, noted when they were last equal, must still hold. Anything else is replaced by a copy of the whole
// file.
//
// Invariant: while file->backup is open, data file and backup differ at most in staleBlocks and in length.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Sees, before the data file changes, that BackupDataFile() will find a backup to write to, with room for the file as it
// is: an empty one at first, or a copy where the system cannot promise room. 0; kCannotOpen when a file cannot be opened
// or created; kWriteFailed when there is no room.
int32_t BeginBackup(FileInfo* file);

// Makes the backup equal to the data file: 0, kCannotOpen or kWriteFailed.
int32_t BackupDataFile(FileInfo* file);

// Whether something bears the backup's name.
bool HasBackup(const FileInfo* file);

// Deletes the backup at the file's path and makes that durable; true also when there is none.
bool DeleteBackupFile(FileInfo* file);

// The same, but only when it is the one that this engine made; true also when it is not, false when nobody can tell.
bool DeleteOwnBackup(FileInfo* file);

}  // namespace storage
