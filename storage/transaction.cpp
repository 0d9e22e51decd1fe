// Transactions: one mark on a file that holds both kinds of sync back until it is taken off.

#include "storage/freeblocks.h"
#include "storage/save.h"
#include "storage/storage.h"

namespace storage {

int32_t StartTransaction() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  file->inTransaction = true;
  return kOk;
}

int32_t StopTransaction() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return kNoItem;
  file->inTransaction = false;
  const int32_t marked = SyncFreeBlock(file);
  return marked != kOk ? marked : SyncFile(file);
}

bool InTransaction() {
  const FileInfo* file = CurrentFile();
  return file != nullptr && file->inTransaction;
}

}  // namespace storage
