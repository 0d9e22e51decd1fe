// Closing a data file.
//
//   sync       as ever; inside a transaction nothing is written, and its changes are dropped with the file
//   compact    when the file holds an item. Blocks that an open transaction freed are squeezed out, too; but not
//              while others are free in memory alone, since a sync failed: the file still lists their items
//   flush      the data file, into which everything was carried out
//   backup     deleted, durably; then the journal
//
// Invariants:
//  1. Where a step fails, or a flush failed before, backup and journal stay: the next open recovers. So it is when
//     blocks that were given up could be neither squeezed out nor marked.
//  2. A file that another program holds, or has changed, keeps what stands beside it.
//  3. Where the path names another file by now, only what is ours by its identity goes; the journal is set aside.

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/commit.h"
#include "storage/compact.h"
#include "storage/names.h"
#include "storage/ownership.h"
#include "storage/room.h"
#include "storage/storage.h"

namespace storage {

namespace {

// Whether the free blocks may be squeezed out: those that an open transaction freed go with it; else none may be free in
// memory alone.
bool MayCompact(const FileInfo* file) {
  if (file->index.count() == 0) return false;
  return file->transaction == Transaction::kOpen ||
         (file->transaction == Transaction::kNone && file->dirtyItems.empty() &&
          file->unlistedBlocks.empty());
}

// Whether only the journal knows that blocks are free: without it, what was deleted would be found again.
// A file that holds no item keeps its free blocks as they are.
bool JournalNamesFreeBlocks(const FileInfo* file) {
  return file->index.count() != 0 && file->unmarkedBlocks.count() > file->unlistedBlocks.count();
}

// A file that the path does not name any more is not compacted: what only the journal names free gets its mark.
bool MarkNamedBlocks(FileInfo* file) {
  if (WhatPathNames(file) != Naming::kOther || !file->journal.isTrusted() || !CarryOut(file)) return false;
  if (!HoldsTheSame(file)) return false;
  const auto& unmarked = file->unmarkedBlocks;
  BlockWindow window(file->file);
  for (uint32_t block = unmarked.lowest(); block != commonbase::NumberSet::kNone;) {
    const uint32_t next = unmarked.next(block + 1);
    if (!file->unlistedBlocks.contains(block)) {
      if (!WriteFreeMarks(file, block, 1, &window)) return false;
      file->unmarkedBlocks.erase(block);
    }
    block = next;
  }
  StampDataFile(file);
  return true;
}

// Brings everything into the data file, durably. What somebody else wrote into it is not ours to settle.
bool Settle(FileInfo* file) {
  // A change that may have happened or not is not left to chance: a new journal says that it has not.
  if (file->journal.state() == JournalState::kSpent && PrepareToChange(file) != kOk) return false;
  if (!file->journal.isTrusted() || !CarryOut(file) || !HoldsTheSame(file)) return false;
  return ReleaseRoom(file) && FlushDataFile(file);
}

void RemoveWhatIsBeside(FileInfo* file) {
  const Naming naming = WhatPathNames(file);
  if (naming == Naming::kSame) {
    if (DeleteBackupFile(file)) file->journal.remove();
  } else if (naming == Naming::kOther && DeleteOwnBackup(file) && file->journal.isInPlace()) {
    file->journal.leave();
    SetAside(file->journal.path(), kForeignJournalSuffix);
  }
}

// Of a file that was not changed there is only a backup to remove, if somebody left one.
void RemoveFoundBackup(FileInfo* file) {
  if (HasBackup(file) && TakeOver(file)) DeleteBackupFile(file);
}

}  // namespace

int32_t CloseDataFile(const PmChar* path) {
  if (SelectDataFile(path) != kOk) return kOk;
  FileInfo* file = CurrentFile();
  SyncDirtyData();
  const bool compacted = MayCompact(file) && CompactDataFile(file) == kOk;
  if (file->journal.state() == JournalState::kNone) {
    RemoveFoundBackup(file);
  } else if ((compacted || !JournalNamesFreeBlocks(file) || MarkNamedBlocks(file)) && Settle(file)) {
    RemoveWhatIsBeside(file);
  }
  CloseCurrentFile();
  return kOk;
}

}  // namespace storage
