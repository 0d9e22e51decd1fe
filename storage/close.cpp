// Closing a data file: the order is fixed, and each step leaves a state that the recovery rule gets right.
//
//   sync       as ever; inside a transaction nothing is written, and its changes are dropped with the file
//   compact    when the file holds an item; behind its own backup
//   backup     deleted only while the data file is whole: a torn one keeps its backup for the next restore
//   release

#include "storage/backup.h"
#include "storage/compact.h"
#include "storage/save.h"
#include "storage/storage.h"

namespace storage {

int32_t CloseDataFile(const PmChar* path) {
  if (SelectDataFile(path) != kOk) return kOk;
  FileInfo* file = CurrentFile();
  SyncFile(file);
  if (file->index.count() != 0) CompactDataFile(file);
  if (!file->torn) DropBackup(file);
  CloseCurrentFile();
  return kOk;
}

}  // namespace storage
