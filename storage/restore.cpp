// Restoring a data file from its backup: a change like any other, its blocks in the journal before they are in the
// file.
//
// Invariants:
//  1. A recovery comes first. One that carried a journal out has brought the last state back: nothing is copied. Where
//     the data file is missing, its journal is set aside and the backup copied. A restore that was cut off before it
//     happened is begun again: its journal says that the backup was there before it.
//  2. A backup that would not open, or of which a packet or the table of IDs is damaged, is refused before the data
//     file is touched.
//  3. The copy goes into the data file in place, so that a vault behind a symbolic link, its owner and its access
//     rights stay.

#include <algorithm>

#include "commonbase/src/pmstring.h"
#include "storage/blockio.h"
#include "storage/change.h"
#include "storage/commit.h"
#include "storage/names.h"
#include "storage/open.h"
#include "storage/pack.h"
#include "storage/read.h"
#include "storage/recovery.h"
#include "storage/scratch.h"
#include "storage/storage.h"

namespace storage {

namespace {

using commonbase::GrowArray;
using commonbase::LengthOf;
using platform::Access;
using platform::File;

// Whether all packets of a data file pass their check.
bool PacketsAreSound(const FileInfo* file) {
  for (uint32_t block = 0; block < file->blockNum; ++block) {
    uint8_t* bytes = controller->blockBuffer;
    if (!ReadBlocks(file, block, bytes, 1)) return false;
    if (!file->freeBlocks.contains(block) && CheckPacket(bytes) != kOk) return false;
  }
  return true;
}

// Whether the backup is a valid data file whose ID table, when it has one, can be read and is well formed.
bool IsSound(const PmChar* path, TableCheck isWellFormed) {
  FileInfo* backup = NewFileInfo(path, 0);
  if (backup == nullptr) return false;
  bool sound =
      backup->file.open(path, Access::kRead) && ReadDataFile(backup) == kOk && PacketsAreSound(backup);
  if (sound) {
    ItemInfo* table = backup->index.find(kIdTableItem);
    sound =
        table == nullptr || (BuildItemData(backup, table) == kOk && isWellFormed(table->data, table->size));
  }
  ReleaseFileInfo(backup);
  return sound;
}

// The blocks of the backup that the data file does not hold.
bool FindDifferences(const FileInfo* file, const File& backup, uint32_t backupBlocks, uint32_t fileBlocks,
                     GrowArray<BlockMove>* moves) {
  Scratch<> wanted, held;
  for (uint32_t block = 0; block < backupBlocks; ++block) {
    const uint64_t offset = uint64_t{block} * kBlockSize;
    if (backup.readAt(offset, wanted.bytes, kBlockSize) != kBlockSize) return false;
    if (block < fileBlocks) {
      if (file->file.readAt(offset, held.bytes, kBlockSize) != kBlockSize) return false;
      if (std::equal(wanted.bytes, wanted.bytes + kBlockSize, held.bytes)) continue;
    }
    if (!moves->reserve(moves->size() + 1)) return false;
    moves->add({block, block});
  }
  return true;
}

bool CopyBackup(FileInfo* file, const PmChar* path) {
  File backup;
  platform::FileStamp data, copy;
  if (!backup.open(path, Access::kRead) || !backup.stamp(&copy) || !file->file.stamp(&data)) return false;
  if (data.size > kMaxFileSize) return false;
  file->blockNum = static_cast<uint32_t>(data.size / kBlockSize);
  file->dataStamp = data;
  GrowArray<BlockMove> moves;
  const auto blockNum = static_cast<uint32_t>(copy.size / kBlockSize);
  if (!SumBlocks(file->file, file->blockNum, &file->blockSum) || !file->staleBlocks.reserve(blockNum) ||
      !FindDifferences(file, backup, blockNum, file->blockNum, &moves))
    return false;
  file->journal.serveRestore();
  change.begin(file);
  if (change.stageMoves(&backup, &moves, blockNum) == kOk) return CommitChange() == kOk;
  change.undo();
  return false;
}

// Brings the data file of a record to the state of its journal, or else of its backup.
bool Restore(FileInfo* file, TableCheck isWellFormed) {
  const BackupName backup(file->path);
  if (!file->journal.setPath(file->path)) return false;
  bool hasJournal = !platform::IsMissing(file->journal.path());
  if (hasJournal && platform::IsMissing(file->path)) {
    // What it says is of a file that is gone; the backup is whole.
    if (!SetAside(file->journal.path(), kForeignJournalSuffix)) return false;
    hasJournal = false;
  }
  if (!hasJournal && !IsSound(backup.path, isWellFormed)) return false;
  if (OpenOrCreate(file) != kOk) return false;
  const Recovery recovery = RecoverDataFile(file);
  if (recovery == Recovery::kCarriedOut) return true;
  if (recovery == Recovery::kGivenUp)
    return IsSound(backup.path, isWellFormed) && CopyBackup(file, backup.path);
  // A journal that was set aside has taken the backup along.
  return recovery == Recovery::kNothing && !hasJournal && CopyBackup(file, backup.path);
}

}  // namespace

int32_t RestoreDataFile(const PmChar* path, TableCheck isWellFormed) {
  if (controller == nullptr || LengthOf(path) > kMaxPath) return kNoItem;
  uint32_t flags = 0;
  if (SelectDataFile(path) == kOk) {
    flags = CurrentFile()->openFlags;
    CloseCurrentFile();
  }
  const auto pathBytes = static_cast<uint32_t>(LengthOf(path) * sizeof(PmChar));
  FileInfo* file = NewFileInfo(path, pathBytes);
  if (file == nullptr) return kNoItem;
  const bool restored = Restore(file, isWellFormed);
  ReleaseFileInfo(file);
  return restored && OpenDataFile(path, &flags, pathBytes) == kOk ? kOk : kNoItem;
}

}  // namespace storage
