#include "storage/backup.h"

#include "storage/blockio.h"
#include "storage/names.h"
#include "storage/result.h"

namespace storage {

namespace {

// Whether the backup is still as this engine left it, under its name.
bool IsOurs(const FileInfo* file, const PmChar* path) {
  platform::FileIdentity named;
  return file->backup.isOpen() && file->backup.isAs(file->backupStamp) &&
         platform::IdentityOf(path, &named) && named.sameFile(file->backupStamp);
}

bool AreEqual(const FileInfo* file) {
  return file->staleBlocks.empty() && file->backupStamp.size == file->dataStamp.size;
}

bool CopyStaleBlocks(FileInfo* file) {
  // What lies between blocks that are near each other is the same in both files: one longer copy is quicker.
  constexpr uint32_t kNear = 8;
  const auto& stale = file->staleBlocks;
  const LargeBuffer buffer(stale.count());
  for (uint32_t block = stale.lowest(); block < file->blockNum;) {
    uint32_t end = block + 1;
    uint32_t next = stale.next(end);
    for (; next < file->blockNum && next - end < kNear; next = stale.next(end)) end = next + 1;
    if (!CopyBytes(file->file, &file->backup, uint64_t{block} * kBlockSize,
                   uint64_t{end - block} * kBlockSize, buffer))
      return false;
    block = next;
  }
  // Room that was taken by writing zeros for a change that then failed stands behind the end.
  const uint64_t size = uint64_t{file->blockNum} * kBlockSize;
  return file->backupStamp.size <= size || file->backup.setSize(size);
}

int32_t CopyWholeFile(FileInfo* file, const PmChar* path) {
  file->backup.close();
  file->backupRoomEnd = 0;
  platform::FileIdentity data;
  if (!file->file.identify(&data)) return kCannotOpen;
  platform::Remove(path);
  if (!file->backup.createNew(path)) return kCannotOpen;
  // Writing where room was taken before costs systems less.
  if (file->backup.copyAccessRights(file->file) &&
      file->backup.reserve(0, data.size) != platform::File::Room::kNone &&
      CopyBytes(file->file, &file->backup, 0, data.size, LargeBuffer(data.size / kBlockSize)))
    return kOk;
  file->backup.close();
  platform::Remove(path);
  return kWriteFailed;
}

// Notes that both files are equal.
void NoteEqual(FileInfo* file) {
  while (!file->staleBlocks.empty()) file->staleBlocks.erase(file->staleBlocks.lowest());
  if (!file->backup.note(&file->backupStamp)) file->backup.close();
}

}  // namespace

int32_t BackupDataFile(FileInfo* file) {
  const BackupName name(file->path);
  if (IsOurs(file, name.path)) {
    if (AreEqual(file)) return kOk;
    if (!CopyStaleBlocks(file)) {
      file->backup.close();
      return kWriteFailed;
    }
  } else {
    if (const int32_t result = CopyWholeFile(file, name.path); result != kOk) return result;
    platform::SetHidden(name.path, true);
  }
  NoteEqual(file);
  return kOk;
}

bool HasBackup(const FileInfo* file) {
  return !platform::IsMissing(BackupName(file->path).path);
}

bool DeleteBackupFile(FileInfo* file) {
  const BackupName name(file->path);
  file->backup.close();
  // Where nothing stands any more, a removal before may still have to become durable.
  if (!platform::IsMissing(name.path) && !platform::Remove(name.path)) return false;
  return platform::SyncFolder(file->path);
}

bool DeleteOwnBackup(FileInfo* file) {
  const BackupName name(file->path);
  platform::FileIdentity named;
  if (platform::IsMissing(name.path)) return platform::SyncFolder(file->path);
  if (!file->backup.isOpen()) return true;
  if (!platform::IdentityOf(name.path, &named)) return false;
  return !named.sameFile(file->backupStamp) || DeleteBackupFile(file);
}

}  // namespace storage
