// The backup beside a data file: a hidden byte copy, made around every sync and before a compaction.
//
// Its name is seen only while it is whole and durable; whatever is not yet, or no longer, goes by the
// temporary name:
//
//   full copy:    temporary file written, durable  -> renamed to the backup's name -> folder durable
//   stale blocks: backup renamed to the temporary name -> folder durable -> the stale blocks copied, durable
//                 -> renamed back -> folder durable
//
// Only a backup that this engine left itself is brought up to date by its stale blocks: the identity, size
// and time of both files, noted when they were last equal, must still hold. Anything else is copied whole,
// and so is a file of which much is stale: the new copy then takes the old one's name.
//
// Invariants:
//  1. While the backup's name is seen, its bytes are a state of the data file, durable.
//  2. While backupKnown holds, data file and backup differ at most in staleBlocks and in length.
//  3. A failure removes the temporary file. A full copy that fails leaves an older backup alone: beside a newer,
//     whole data file the caller has to drop it. An update that fails leaves none.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

constexpr uint32_t kMaxBackupPath = kMaxPath + 5;  // "." before the name, ".bak" behind it

// Puts the backup's path into `backup`, a zeroed buffer of kMaxBackupPath + 1 characters.
void GetBackupFileName(PmChar* backup, const PmChar* path);

// Makes the backup equal to the data file: 0; kCannotOpen when a file cannot be opened, created or renamed;
// kWriteFailed when the copy could not be written or made durable.
int32_t BackupDataFile(FileInfo* file);

// Notes the data file's state after the engine's own writes, so that they do not count as somebody else's.
void StampDataFile(FileInfo* file);

// Whether the path still names the file that was opened: another one put in its place must not be backed up,
// nor written for.
bool PathNamesDataFile(const FileInfo* file);

// Deletes the backup and makes that durable; true also when there is none.
bool DropBackup(FileInfo* file);

// Deletes the backup of a file that is being closed, whole. A backup that the engine left itself holds the
// same items as the file, so nothing is lost should it come back with a power failure. Any other is gone for
// good, and so is one that still has the items whose blocks a dropped transaction freed.
void DeleteBackupFile(FileInfo* file);

// Deletes a temporary backup that a crash left beside the data file.
void DeleteTemporaryBackup(const PmChar* path);

}  // namespace storage
