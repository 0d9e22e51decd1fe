#include "storage/backup.h"

#include <algorithm>

#include "storage/result.h"

namespace storage {

namespace {

using platform::Access;
using platform::File;

PmChar* Append(PmChar* end, const char* text) {
  while (*text != 0) *end++ = static_cast<PmChar>(*text++);
  return end;
}

constexpr int32_t kSuffixLength = 4;

// The names beside a data file.
struct BackupNames {
  PmChar backup[kMaxBackupPath + 1] = {};
  PmChar temporary[kMaxBackupPath + 1] = {};

  explicit BackupNames(const PmChar* path) {
    GetBackupFileName(backup, path);
    // As long as the backup's name, so that a file system that takes the one takes the other.
    PmChar* end = std::copy(backup, std::find(backup, backup + kMaxBackupPath, PmChar{0}), temporary);
    Append(end - kSuffixLength, ".pmt");
  }
};

// Gives the finished temporary file the backup's name. Hidden before, so that no unhidden backup is ever
// seen, and after, since a rename can drop the attribute.
int32_t Show(FileInfo* file, const BackupNames& names) {
  platform::SetHidden(names.temporary, true);
  if (!platform::Rename(names.temporary, names.backup)) {
    platform::Remove(names.temporary);
    return kCannotOpen;
  }
  platform::SetHidden(names.backup, true);
  if (!platform::SyncFolder(file->path)) return kWriteFailed;
  file->staleBlocks.clear();
  file->backupKnown =
      file->file.stamp(&file->dataStamp) && platform::StampOf(names.backup, &file->backupStamp);
  return kOk;
}

int32_t CopyWholeFile(FileInfo* file, const BackupNames& names) {
  file->backupKnown = false;
  File source, copy;
  platform::FileStamp stamp;
  if (!source.open(file->path, Access::kRead) || !source.stamp(&stamp)) return kCannotOpen;
  platform::Remove(names.temporary);
  if (!copy.createNew(names.temporary)) return kCannotOpen;
  // Of an empty file there is nothing to carry to the disk but the name, which Show does.
  const bool copied = copy.copyAccessRights(source) && copy.copyRange(source, 0, stamp.size) &&
                      (stamp.size == 0 || copy.sync());
  if (!copy.close() || !copied) {
    platform::Remove(names.temporary);
    return kWriteFailed;
  }
  return Show(file, names);
}

bool CopyStaleBlocks(const FileInfo* file, File* copy) {
  // What lies between blocks that are near each other is the same in both files: one longer copy is quicker.
  constexpr uint32_t kNear = 8;
  const auto& stale = file->staleBlocks;
  for (uint32_t block = stale.lowest(); block < file->blockNum;) {
    uint32_t end = block + 1;
    uint32_t next = stale.next(end);
    for (; next < file->blockNum && next - end < kNear; next = stale.next(end)) end = next + 1;
    if (!copy->copyRange(file->file, uint64_t{block} * kBlockSize, uint64_t{end - block} * kBlockSize))
      return false;
    block = next;
  }
  return copy->setSize(uint64_t{file->blockNum} * kBlockSize);
}

// Brings the known backup up to date, out of sight.
int32_t CopyChanges(FileInfo* file, const BackupNames& names) {
  file->backupKnown = false;
  if (!platform::Rename(names.backup, names.temporary)) return CopyWholeFile(file, names);
  File copy;
  const bool copied = platform::SyncFolder(file->path) && copy.open(names.temporary, Access::kReadWrite) &&
                      CopyStaleBlocks(file, &copy) && copy.sync();
  if (!copy.close() || !copied) {
    platform::Remove(names.temporary);
    return kWriteFailed;
  }
  return Show(file, names);
}

// Whether both files are still as this engine left them.
bool BothAreOurs(const FileInfo* file, const BackupNames& names) {
  platform::FileStamp data, backup;
  return file->backupKnown && platform::StampOf(file->path, &data) && data == file->dataStamp &&
         platform::StampOf(names.backup, &backup) && backup == file->backupStamp;
}

// Whether copying the whole file costs no more than copying the stale blocks, with a flush less.
bool MuchIsStale(const FileInfo* file) {
  return file->staleBlocks.count() > file->blockNum / 4 * 3;
}

// The index of the first character behind the last folder separator of a path, 0 without one.
int32_t GetFileNameOffset(const PmChar* path) {
  int32_t offset = 0;
  for (int32_t i = 0; path[i] != 0; ++i) {
    if (platform::IsFolderSeparator(path[i])) offset = i + 1;
  }
  return offset;
}

}  // namespace

void GetBackupFileName(PmChar* backup, const PmChar* path) {
  const int32_t nameOffset = GetFileNameOffset(path);
  PmChar* end = Append(std::copy(path, path + nameOffset, backup), ".");
  const PmChar* name = path + nameOffset;
  while (*name != 0) *end++ = *name++;
  Append(end, ".bak");
}

int32_t BackupDataFile(FileInfo* file) {
  const BackupNames names(file->path);
  if (!BothAreOurs(file, names) || MuchIsStale(file)) return CopyWholeFile(file, names);
  return file->staleBlocks.empty() ? kOk : CopyChanges(file, names);
}

void StampDataFile(FileInfo* file) {
  if (!file->file.stamp(&file->dataStamp)) file->backupKnown = false;
}

bool PathNamesDataFile(const FileInfo* file) {
  platform::FileStamp opened, named;
  return file->file.stamp(&opened) && platform::StampOf(file->path, &named) &&
         opened.volume == named.volume && opened.number == named.number;
}

bool DropBackup(FileInfo* file) {
  const BackupNames names(file->path);
  file->backupKnown = false;
  return (platform::Remove(names.backup) || platform::IsMissing(names.backup)) &&
         platform::SyncFolder(file->path);
}

void DeleteBackupFile(FileInfo* file) {
  const bool holdsTheSame = file->backupKnown && !file->inTransaction;
  platform::Remove(BackupNames(file->path).backup);
  if (!holdsTheSame) platform::SyncFolder(file->path);
}

void DeleteTemporaryBackup(const PmChar* path) {
  platform::Remove(BackupNames(path).temporary);
}

}  // namespace storage
