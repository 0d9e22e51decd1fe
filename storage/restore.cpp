// Restoring a data file from its backup.
//
// Invariants:
//  1. A backup that would not open is refused before the data file is touched.
//  2. The copy goes into the data file in place, so that a vault behind a symbolic link, its owner and its
//     access rights stay; the backup stands until the copy is durable, so that a crash in between loses
//     nothing.

#include "commonbase/src/pmstring.h"
#include "storage/backup.h"
#include "storage/controller.h"
#include "storage/open.h"
#include "storage/read.h"
#include "storage/storage.h"

namespace storage {

namespace {

using commonbase::LengthOf;
using platform::Access;
using platform::File;

// Whether the backup is a valid data file whose ID table, when it has one, can be read and is well formed.
bool IsSound(const PmChar* backup, TableCheck isWellFormed) {
  FileInfo* file = NewFileInfo(backup, 0);
  if (file == nullptr) return false;
  bool sound = file->file.open(backup, Access::kRead) && ReadDataFile(file) == kOk;
  if (sound) {
    ItemInfo* table = file->index.find(kIdTableItem);
    sound = table == nullptr || (BuildItemData(file, table) == kOk && isWellFormed(table->data, table->size));
  }
  ReleaseFileInfo(file);
  return sound;
}

bool CopyInPlace(const PmChar* from, const PmChar* to) {
  File source, target;
  platform::FileStamp stamp;
  if (!source.open(from, Access::kRead) || !source.stamp(&stamp)) return false;
  const bool opened = platform::Exists(to) ? target.open(to, Access::kReadWrite)
                                           : target.createNew(to) && platform::SyncFolder(to);
  if (!opened) return false;
  const bool copied = target.copyRange(source, 0, stamp.size) && target.setSize(stamp.size) && target.sync();
  return target.close() && copied;
}

}  // namespace

int32_t RestoreDataFile(const PmChar* path, TableCheck isWellFormed) {
  if (controller == nullptr || LengthOf(path) > kMaxPath) return kNoItem;
  uint32_t flags = 0;
  if (SelectDataFile(path) == kOk) {
    flags = CurrentFile()->openFlags;
    CloseCurrentFile();
  }
  PmChar backup[kMaxBackupPath + 1] = {};
  GetBackupFileName(backup, path);
  if (!platform::Exists(backup) || !IsSound(backup, isWellFormed) || !CopyInPlace(backup, path))
    return kNoItem;
  const auto pathBytes = static_cast<uint32_t>(LengthOf(path) * sizeof(PmChar));
  return OpenDataFile(path, &flags, pathBytes) == kOk ? kOk : kNoItem;
}

}  // namespace storage
