// Closing a data file: the order is fixed, and each step leaves a state that the recovery rule gets right.
//
//   sync       as ever; inside a transaction nothing is written, and its changes are dropped with the file
//   compact    when the file holds an item; behind its own backup. Not when the last sync outside a transaction
//   failed: blocks that are free in memory alone still hold items that the file lists
//   backup     deleted only beside the whole data file: a torn one keeps it for the next restore, a lost one
//   too release

#include "storage/backup.h"
#include "storage/compact.h"
#include "storage/save.h"
#include "storage/storage.h"

namespace storage {

int32_t CloseDataFile(const PmChar* path) {
  if (SelectDataFile(path) != kOk) return kOk;
  FileInfo* file = CurrentFile();
  SyncFile(file);
  if (!file->syncFailed && file->index.count() != 0) CompactDataFile(file);
  if (!file->torn && PathNamesDataFile(file)) DeleteBackupFile(file);
  CloseCurrentFile();
  return kOk;
}

}  // namespace storage
