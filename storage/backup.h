// The backup beside a data file: a hidden byte copy, made around every sync, for PmRestoreBackupFile. No safety rests
// on it: it is never flushed, and what a crash leaves of it is replaced.
//
// Only a backup that is as this engine left it, beside a data file that nobody else has written into, is brought up to
// date by its stale blocks. Anything else is replaced by a copy of the whole file.
//
// Invariant: while file->backup is open, data file and backup differ at most in staleBlocks and in length.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Makes the backup equal to the data file, which is as its stamp says: 0; kCannotOpen when a file cannot be opened
// or created; kWriteFailed when the copy could not be written.
int32_t BackupDataFile(FileInfo* file);

// Whether something bears the backup's name.
bool HasBackup(const FileInfo* file);

// Deletes the backup at the file's path and makes that durable; true also when there is none.
bool DeleteBackupFile(FileInfo* file);

// The same, but only when it is the one that this engine made; true also when it is not, false when nobody can tell.
bool DeleteOwnBackup(FileInfo* file);

}  // namespace storage
