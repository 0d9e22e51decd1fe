#include "storage/recovery.h"

#include <algorithm>

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/commit.h"
#include "storage/framewriter.h"
#include "storage/journalmatch.h"
#include "storage/names.h"
#include "storage/ownership.h"
#include "storage/scratch.h"

namespace storage {

namespace {

using platform::Access;
using platform::File;

// Names beside the journal's own.
struct Unfinished {
  PmChar path[kMaxJournalPath + 1];
  explicit Unfinished(const PmChar* journal) { ChangeSuffix(path, journal, kNewJournalSuffix); }
};

// Adds a frame with the pages of the blocks that a recovery marks: a page that the power destroys then is mended by the
// next one.
class MarkedPages {
 public:
  MarkedPages(const FileInfo* file, const JournalContents& contents, FrameWriter* frame)
      : file_(file), contents_(contents), frame_(frame) {}

  bool add() {
    uint32_t done = 0;  // up to where pages have been added
    for (uint32_t word = 0; word < contents_.words().size();) {
      const uint32_t block = contents_.words()[word].block;
      if (block >= contents_.blockNum()) break;
      if (!contents_.lastWord(&word).isFree || block < done) continue;
      const uint32_t page = block / kPageBlocks * kPageBlocks;
      done = std::min(page + kPageBlocks, contents_.blockNum());
      for (uint32_t mate = page; mate < done; ++mate) {
        if (!addBlock(mate)) return false;
      }
    }
    return true;
  }

 private:
  bool addBlock(uint32_t block) {
    if (contents_.hasImage(block)) return true;
    Scratch<> scratch;
    const uint8_t* bytes = scratch.bytes;
    if (file_->file.readAt(uint64_t{block} * kBlockSize, scratch.bytes, kBlockSize) != kBlockSize)
      return false;
    uint32_t word = contents_.firstWord(block);
    const bool known = word < contents_.words().size() && contents_.words()[word].block == block;
    const bool isFree = known && contents_.lastWord(&word).isFree;
    // What the power destroyed while it was being marked is free, and nothing of it is to be kept.
    if (isFree && !IsBlock(bytes, DecodeHeader(bytes))) return true;
    if (block < contents_.header().blockNum && !contents_.hasFound(block)) AddFound(frame_, block, bytes);
    std::copy(bytes, bytes + kBlockSize, frame_->add(kImageRecord, block));
    if (isFree) frame_->add(kFreedRecord, block);
    return true;
  }

  const FileInfo* file_;
  const JournalContents& contents_;
  FrameWriter* frame_;
};

// Writes what was read of a journal to a new one, durably, and what the recovery itself is about to touch.
bool MakeDurable(const FileInfo* file, const File& journal, const JournalContents& contents, File* fresh) {
  const uint64_t end = contents.end();
  if (!fresh->copyAccessRights(journal) || !CopyBytes(journal, fresh, 0, end, LargeBuffer(end / kBlockSize)))
    return false;
  FrameWriter frame(fresh, end,
                    {contents.header().salt, contents.nextNumber(), contents.blockNum(), kChangeFrame});
  return MarkedPages(file, contents, &frame).add() && frame.finish() && fresh->sync();
}

// Puts a new journal with all that into the place of the old one, which is closed then.
bool ReplaceJournal(const FileInfo* file, File* journal, const JournalContents& contents) {
  const PmChar* path = file->journal.path();
  const Unfinished name(path);
  platform::Remove(name.path);
  File fresh;
  const bool made = fresh.createNew(name.path) && MakeDurable(file, *journal, contents, &fresh);
  platform::SetHidden(name.path, true);
  journal->close();  // not every system renames a file that is open, or over one that is
  if (fresh.close() && made && platform::Rename(name.path, path)) return platform::SyncFolder(path);
  platform::Remove(name.path);
  return false;
}

// Writes the last word on each block.
bool WriteLastWords(FileInfo* file, const JournalContents& contents, const File& journal) {
  BlockWindow window(file->file);
  Scratch<> image;
  for (uint32_t word = 0; word < contents.words().size();) {
    const uint32_t block = contents.words()[word].block;
    const LastWord last = contents.lastWord(&word);
    if (block >= contents.blockNum()) break;
    if (last.imageAt != 0) {
      if (journal.readAt(last.imageAt, image.bytes, kBlockSize) != kBlockSize) return false;
      if (!WriteBlocks(file, block, image.bytes, 1)) return false;
      window.forget();
    }
    if (last.isFree && !WriteFreeMarks(file, block, 1, &window)) return false;
  }
  return true;
}

bool CarryOutAll(FileInfo* file, const JournalContents& contents, const File& journal) {
  if (!file->staleBlocks.reserve(contents.blockNum())) return false;
  return WriteLastWords(file, contents, journal) && CutBlocks(file, contents.blockNum());
}

bool SetAsideBoth(const FileInfo* file) {
  const BackupName backup(file->path);
  return SetAside(backup.path, kForeignBackupSuffix) &&
         SetAside(file->journal.path(), kForeignJournalSuffix) &&
         platform::SyncFolder(file->journal.path()) && platform::SyncFolder(file->path);
}

// Carries a journal out that is in its place and durable.
bool CarryOutDurable(FileInfo* file, uint32_t fileBlocks) {
  File journal;
  JournalContents contents;
  return journal.open(file->journal.path(), Access::kRead) &&
         contents.read(journal, fileBlocks) == JournalContents::kWhole &&
         CarryOutAll(file, contents, journal);
}

// A restore was cut off before it happened. The file is as it was, but for what it has behind its end; the next restore
// needs the backup as it is.
Recovery GiveUpRestore(FileInfo* file, File* journal, uint32_t fileBlocks, uint32_t blockNum) {
  journal->close();
  if (fileBlocks > blockNum && !(CutBlocks(file, blockNum) && file->file.sync())) return Recovery::kNotNow;
  if (!platform::Remove(file->journal.path())) return Recovery::kNotNow;
  file->file.unlock();
  return Recovery::kGivenUp;
}

Recovery RecoverFrom(FileInfo* file, File* journal) {
  platform::FileIdentity found, data;
  if (!journal->identify(&found) || !file->file.identify(&data)) return Recovery::kFailed;
  if (found.size == 0) {
    // A close emptied it, since it could not remove it: it says nothing any more.
    journal->close();
    platform::Remove(file->journal.path());
    return Recovery::kNothing;
  }
  const auto fileBlocks = static_cast<uint32_t>(data.size / kBlockSize);
  JournalContents contents;
  const JournalContents::Outcome outcome = contents.read(*journal, fileBlocks);
  if (outcome == JournalContents::kUnreadable) return Recovery::kFailed;
  JournalMatch match = JournalMatch::kForeign;
  if (outcome == JournalContents::kWhole) match = MatchJournal(contents, file->file);
  if (match == JournalMatch::kUnreadable) return Recovery::kFailed;
  if (match == JournalMatch::kForeign) {
    journal->close();
    return SetAsideBoth(file) ? Recovery::kNothing : Recovery::kFailed;
  }
  if (contents.isUndoneRestore()) return GiveUpRestore(file, journal, fileBlocks, contents.blockNum());
  bool replaced = ReplaceJournal(file, journal, contents);
  // The backup may take the very room that is missing, and no safety rests on it.
  if (!replaced && HasBackup(file) && DeleteBackupFile(file))
    replaced = journal->open(file->journal.path(), Access::kRead) && ReplaceJournal(file, journal, contents);
  const bool carried = replaced && CarryOutDurable(file, fileBlocks);
  return carried && file->journal.adopt() ? Recovery::kCarriedOut : Recovery::kNotNow;
}

// A journal that was being made when the process died, before there was one. Who is making one holds the lock, and
// looking for that must not take it for this session.
void RemoveUnfinished(const FileInfo* file) {
  const Unfinished name(file->journal.path());
  if (platform::IsMissing(name.path)) return;
  File other;
  if (other.open(file->path, Access::kReadWrite) && other.lock()) platform::Remove(name.path);
}

}  // namespace

Recovery RecoverDataFile(FileInfo* file) {
  if (platform::IsMissing(file->journal.path())) {
    RemoveUnfinished(file);
    return Recovery::kNothing;
  }
  if (!file->file.lock()) return Recovery::kHeld;
  // Whoever held it may have closed it, replaced it or removed its journal in the meantime.
  if (WhatPathNames(file) != Naming::kSame) return Recovery::kFailed;
  platform::Remove(Unfinished(file->journal.path()).path);
  if (platform::IsMissing(file->journal.path())) return Recovery::kNothing;
  File journal;
  if (!journal.open(file->journal.path(), Access::kRead)) return Recovery::kFailed;
  return RecoverFrom(file, &journal);
}

bool SetStrayJournalAside(const FileInfo* file) {
  return platform::IsMissing(file->journal.path()) || SetAsideBoth(file);
}

}  // namespace storage
