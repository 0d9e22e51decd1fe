#include "storage/recovery.h"

#include "storage/blockio.h"
#include "storage/commit.h"
#include "storage/journalmatch.h"
#include "storage/names.h"

namespace storage {

namespace {

using platform::Access;
using platform::File;

// Writes what was read of a journal to a new one in its place, durably.
bool MakeDurable(const File& journal, uint64_t size, const PmChar* path) {
  PmChar name[kMaxJournalPath + 1];
  ChangeSuffix(name, path, ".pmt");
  platform::Remove(name);
  File fresh;
  if (!fresh.createNew(name)) return false;
  const bool written = fresh.copyAccessRights(journal) && fresh.copyRange(journal, 0, size) && fresh.sync();
  platform::SetHidden(name, true);
  return fresh.close() && written;
}

bool PutInPlace(const PmChar* path) {
  PmChar name[kMaxJournalPath + 1];
  ChangeSuffix(name, path, ".pmt");
  return platform::Rename(name, path) && platform::SyncFolder(path);
}

// Writes the last word on each block.
bool WriteLastWords(FileInfo* file, const JournalContents& contents, const File& journal) {
  for (uint32_t word = 0; word < contents.words().size();) {
    const uint32_t block = contents.words()[word].block;
    const LastWord last = contents.lastWord(&word);
    if (block >= contents.blockNum()) break;
    uint8_t bytes[kBlockSize];
    if (last.imageAt != 0) {
      if (journal.readAt(last.imageAt, bytes, sizeof bytes) != sizeof bytes) return false;
      if (!WriteBlocks(file, block, bytes, 1)) return false;
    }
    if (last.isFree && !WriteFreeMarks(file, block, 1)) return false;
  }
  return true;
}

bool CarryOutAll(FileInfo* file, const JournalContents& contents, const File& journal) {
  if (!file->staleBlocks.reserve(contents.blockNum())) return false;
  return WriteLastWords(file, contents, journal) && CutBlocks(file, contents.blockNum()) && file->file.sync();
}

bool SetAsideBoth(const FileInfo* file) {
  PmChar backup[kMaxBackupPath + 1];
  GetBackupFileName(backup, file->path);
  return SetAside(backup, ".bko") && SetAside(file->journal.path(), ".pmo") &&
         platform::SyncFolder(file->journal.path()) && platform::SyncFolder(file->path);
}

Recovery RecoverFrom(FileInfo* file, File* journal) {
  platform::FileStamp stamp;
  if (!journal->stamp(&stamp)) return Recovery::kFailed;
  const PmChar* path = file->journal.path();
  if (stamp.size == 0) {
    // A close emptied it, since it could not remove it: it says nothing any more.
    journal->close();
    platform::Remove(path);
    return Recovery::kNothing;
  }
  JournalContents contents;
  const JournalContents::Outcome outcome = contents.read(*journal);
  if (outcome == JournalContents::kUnreadable) return Recovery::kFailed;
  JournalMatch match = JournalMatch::kForeign;
  if (outcome == JournalContents::kWhole) match = MatchJournal(contents, file->file);
  if (match == JournalMatch::kUnreadable) return Recovery::kFailed;
  const bool made = match == JournalMatch::kOurs && MakeDurable(*journal, contents.end(), path);
  journal->close();  // not every system renames a file that is open, or over one that is
  if (match == JournalMatch::kForeign) return SetAsideBoth(file) ? Recovery::kNothing : Recovery::kFailed;
  if (!made || !PutInPlace(path) || !journal->open(path, Access::kRead)) return Recovery::kFailed;
  const bool carried = CarryOutAll(file, contents, *journal);
  journal->close();
  return carried && file->journal.adopt() ? Recovery::kCarriedOut : Recovery::kFailed;
}

// A journal that was being made when the process died, before there was one.
void RemoveUnfinished(FileInfo* file) {
  PmChar name[kMaxJournalPath + 1];
  ChangeSuffix(name, file->journal.path(), ".pmt");
  if (!platform::IsMissing(name) && file->file.lock()) platform::Remove(name);
}

}  // namespace

Recovery RecoverDataFile(FileInfo* file) {
  if (platform::IsMissing(file->journal.path())) {
    RemoveUnfinished(file);
    return Recovery::kNothing;
  }
  if (!file->file.lock()) return Recovery::kHeld;
  // Whoever held it may have closed it, replaced it or removed its journal in the meantime.
  if (!NamesDataFile(file)) return Recovery::kFailed;
  if (platform::IsMissing(file->journal.path())) return Recovery::kNothing;
  File journal;
  if (!journal.open(file->journal.path(), Access::kRead)) return Recovery::kFailed;
  return RecoverFrom(file, &journal);
}

bool SetStrayJournalAside(const FileInfo* file) {
  return platform::IsMissing(file->journal.path()) || SetAsideBoth(file);
}

}  // namespace storage
