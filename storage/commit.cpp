#include "storage/commit.h"

#include <cstring>

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/blockrun.h"
#include "storage/blockwindow.h"
#include "storage/change.h"
#include "storage/changeframe.h"
#include "storage/ownership.h"
#include "storage/pack.h"
#include "storage/result.h"
#include "storage/room.h"

namespace storage {

namespace {

// So many are worth a large buffer.
constexpr uint32_t kManyBlocks = 4096;

// Puts what frames say into the data file.
class Carrying : public RecordSink {
 public:
  explicit Carrying(FileInfo* file) : file_(file), marked_(file->file) {}
  bool take(const RecordHead& piece, const uint8_t* units, uint64_t) override {
    if (piece.type == kMarkRecord) return WriteFreeMarks(file_, piece.first, piece.count, &marked_);
    if (piece.type != kImageRecord) return true;
    marked_.forget();
    return WriteBlocks(file_, piece.first, units, piece.count);
  }

 private:
  FileInfo* file_;
  BlockWindow marked_;
};

// Cuts off what stands behind the file's end.
bool CutTail(FileInfo* file) {
  if (file->dataStamp.size <= uint64_t{file->blockNum} * kBlockSize) return true;
  if (!CutBlocks(file, file->blockNum)) return false;
  return StampDataFile(file);
}

// Puts a change whose frame is durable into the data file, from memory.
bool PutIntoFile(const Change& change) {
  FileInfo* file = change.file();
  const uint32_t direct = FirstDirectBlock(change);
  BlockWindow source(change.source()), marked(file->file);
  BlockRun run(file, change.countWrites(kManyBlocks), BlockRun::Flush::kLater);
  return change.forEachWrite([&](uint32_t block, const Change::Write& write) {
    if (block >= direct) return true;
    uint8_t* bytes = run.add(block);
    return bytes != nullptr && Change::fill(write, &source, bytes);
  }) && run.write() &&
         change.forEachMark([&](uint32_t block) {
           const uint8_t* found = marked.get(block);
           uint8_t* bytes = found != nullptr ? run.add(block) : nullptr;
           if (bytes == nullptr) return false;
           std::memcpy(bytes, found, kBlockSize);
           MarkFree(bytes);
           return true;
         }) &&
         run.write();
}

// Behind the writes of a carrying out.
bool EndCarryingOut(FileInfo* file) {
  if (!StampDataFile(file) || !CutTail(file)) return false;
  file->journal.noteCarriedOut();
  return true;
}

// The journal of a file that every change was carried out into.
int32_t PrepareJournal(FileInfo* file) {
  Journal& journal = file->journal;
  if (journal.state() == JournalState::kPoisoned) return journal.isInPlace() ? kOk : kWriteFailed;
  if (!journal.wantsStart(file->blockNum)) return kOk;
  int32_t result = kWriteFailed;
  if (FlushDataFile(file))
    result =
        journal.start(file->file, file->blockNum, file->blockSum, file->unmarkedBlocks, file->unlistedBlocks);
  // One that has only grown large may grow on.
  return journal.takesFrames() && journal.isInPlace() ? kOk : result != kOk ? result : kWriteFailed;
}

int32_t WriteChange() {
  FileInfo* file = change.file();
  if (change.backsUp()) {
    if (const int32_t result = BackupDataFile(file); result != kOk) return result;
  }
  if (const int32_t result = TakeRoom(file, change.oldBlockNum(), change.backsUp()); result != kOk) {
    CutBlocks(file, change.oldBlockNum());
    return result;
  }
  return WriteChangeFrame(change);
}

}  // namespace

int32_t PrepareToChange(FileInfo* file) {
  const JournalState state = file->journal.state();
  if (state == JournalState::kDead) return kWriteFailed;
  if (state == JournalState::kNone) {
    if (!TakeOver(file)) return kCannotOpen;
  } else {
    if (WhatPathNames(file) != Naming::kSame) return kCannotOpen;
    if (!CarryOut(file)) return kWriteFailed;
    if (!HoldsTheSame(file)) return kCannotOpen;
  }
  if (const int32_t result = PrepareJournal(file); result != kOk) return result;
  // A new journal cuts off what a change left behind the file's end that may have happened or not.
  return CarryOut(file) && CutTail(file) ? kOk : kWriteFailed;
}

bool CarryOut(FileInfo* file) {
  Journal& journal = file->journal;
  if (!journal.isBehind()) return true;
  Carrying carrying(file);
  return journal.replay(&carrying) && EndCarryingOut(file);
}

int32_t CommitChange() {
  FileInfo* file = change.file();
  if (!change.writes()) {
    change.finish();
    return kOk;
  }
  if (const int32_t result = WriteChange(); result != kOk) {
    StampDataFile(file);  // what it wrote behind the end, or cut off there, is ours
    change.undo();
    return result;
  }
  const bool backsUp = change.backsUp();
  const bool done = PutIntoFile(change) && EndCarryingOut(file);
  change.finish();
  if (done && backsUp) BackupDataFile(file);
  return kOk;
}

}  // namespace storage
