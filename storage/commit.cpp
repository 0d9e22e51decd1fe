#include "storage/commit.h"

#include <algorithm>
#include <cstring>

#include "storage/backup.h"
#include "storage/blockio.h"
#include "storage/blockwindow.h"
#include "storage/change.h"
#include "storage/framewriter.h"
#include "storage/largebuffer.h"
#include "storage/pack.h"
#include "storage/room.h"
#include "storage/storage.h"

namespace storage {

namespace {

// So many new blocks behind the file's end are written there at once instead of into the journal first. They begin on
// a page of their own: what is written before the frame must not share a page with what stands.
constexpr uint32_t kDirectBlocks = 256;

// So many are worth a large buffer.
constexpr uint32_t kManyBlocks = 4096;

// How many blocks a change writes or marks; no more than `most`.
uint32_t CountWrites(const Change& change, uint32_t most) {
  uint32_t count = 0;
  const auto one = [&](uint32_t) { return ++count < most; };
  if (change.forEachWrite([&](uint32_t block, const Change::Write&) { return one(block); }))
    change.forEachMark(one);
  return count;
}

// The first of the new blocks that are written directly; none when there are too few.
uint32_t FirstDirectBlock(const Change& change) {
  const uint32_t end = change.file()->blockNum;
  const uint32_t first = (change.oldBlockNum() + kPageBlocks - 1) / kPageBlocks * kPageBlocks;
  return end >= kDirectBlocks && first <= end - kDirectBlocks ? first : end;
}

// The blocks that share a page with those that a change overwrites or marks, and are neither. The journal carries them
// along: a medium whose power fails may lose the whole page that it was writing. Where a change touches very many pages
// in part, that is too much, and it carries none.
class PageMates {
 public:
  // Reads which blocks are touched, up to `end`: what lies behind begins on a page of its own. False when there is no
  // memory.
  bool find(const Change& change, uint32_t end) {
    const auto touch = [&](uint32_t block) {
      if (block >= end) return true;
      if (!touched_.reserve(touched_.size() + 1)) return false;
      touched_.add(block);
      return true;
    };
    return change.forEachWrite([&](uint32_t block, const Change::Write&) { return touch(block); }) &&
           change.forEachMark(touch) && collect(std::min(change.oldBlockNum(), change.file()->blockNum));
  }

  const uint32_t* begin() const { return mates_.begin(); }
  const uint32_t* end() const { return mates_.end(); }

 private:
  static constexpr uint32_t kMost = 4096;

  bool collect(uint32_t blockNum) {
    std::sort(touched_.begin(), touched_.end());
    const uint32_t* next = touched_.begin();
    while (next != touched_.end()) {
      const uint32_t page = *next / kPageBlocks * kPageBlocks;
      for (uint32_t block = page; block < page + kPageBlocks; ++block) {
        if (next == touched_.end() || *next != block) {
          if (block < blockNum && !add(block)) return false;
        }
        while (next != touched_.end() && *next == block) ++next;
      }
    }
    if (mates_.size() > kMost) mates_.clear();
    return true;
  }

  bool add(uint32_t block) {
    if (mates_.size() > kMost) return true;
    if (!mates_.reserve(mates_.size() + 1)) return false;
    mates_.add(block);
    return true;
  }

  commonbase::GrowArray<uint32_t> touched_;
  commonbase::GrowArray<uint32_t> mates_;
};

// Blocks on their way into the data file: those that follow each other are written at once.
class BlockRun {
 public:
  enum class Flush { kSoon, kLater };  // of the data file

  BlockRun(FileInfo* file, uint32_t blocks, Flush flush) : file_(file), flush_(flush), buffer_(blocks) {}

  // The place for a block, to be filled before the next call; null when what came before it could not be written.
  uint8_t* add(uint32_t block) {
    if ((count_ == buffer_.blocks() || block != first_ + count_) && !write()) return nullptr;
    if (count_ == 0) first_ = block;
    return buffer_.bytes() + size_t{count_++} * kBlockSize;
  }

  bool write() {
    if (count_ == 0) return true;
    if (!WriteBlocks(file_, first_, buffer_.bytes(), count_)) return false;
    if (flush_ == Flush::kSoon)
      file_->file.startSync(uint64_t{first_} * kBlockSize, uint64_t{count_} * kBlockSize);
    count_ = 0;
    return true;
  }

 private:
  FileInfo* file_;
  Flush flush_;
  LargeBuffer buffer_;
  uint32_t first_ = 0, count_ = 0;
};

// Writes a change into the journal, and its many new blocks into the data file.
class ChangeFrame {
 public:
  explicit ChangeFrame(const Change& change)
      : change_(change),
        file_(change.file()),
        journal_(change.file()->journal),
        direct_(FirstDirectBlock(change)),
        old_(file_->file),
        source_(change.source()),
        sum_(change.file()->blockSum) {}

  // 0 when the frame is durable, kWriteFailed otherwise.
  int32_t write() {
    if (!mates_.find(change_, direct_)) return kWriteFailed;
    if (direct_ < file_->blockNum && !writeAhead()) return kWriteFailed;
    journal_.makeRoom(estimate());
    FrameWriter frame(journal_.file(), journal_.end(), journal_.nextFrame(file_->blockNum, kChangeFrame));
    if (!addFound(&frame) || !addImages(&frame) || !writeDirect(&frame)) return abandon();
    addFree(&frame);
    if (const int32_t result = journal_.append(&frame); result != kOk) return result;
    file_->blockSum = sum_;
    return kOk;
  }

 private:
  // About what the frame takes, for few blocks; many are no matter of zeros written ahead.
  uint64_t estimate() const {
    const uint64_t mates = static_cast<uint64_t>(mates_.end() - mates_.begin());
    return (1 + mates + CountWrites(change_, kDirectBlocks)) * (kBlockSize + 64);
  }

  // Gives up a frame that nothing has made whole: what stands behind the end may go.
  int32_t abandon() {
    journal_.spend();
    CutBlocks(file_, change_.oldBlockNum());
    return kWriteFailed;
  }

  // Names the blocks that are about to be written behind the file's end, so that a recovery knows them for ours.
  bool writeAhead() {
    uint8_t header[kHeaderSize];
    FrameWriter frame(journal_.file(), journal_.end(), journal_.nextFrame(file_->blockNum, kAheadFrame));
    const bool named = change_.forEachWrite([&](uint32_t number, const Change::Write& write) {
      if (number < direct_) return true;
      if (!Change::header(write, &source_, header)) return false;
      StoreU64(frame.add(kAheadRecord, number), HashHeader(header));
      return true;
    });
    if (!named) return abandon() == kOk;
    if (journal_.append(&frame) != kOk) return false;
    journal_.noteCarriedOut();
    return true;
  }

  // Notes what a block holds, when the journal overwrites, marks or cuts it off for the first time; and takes what goes
  // out of the sum. Its bytes, until the next call; null when they cannot be read.
  const uint8_t* note(FrameWriter* frame, uint32_t block) {
    const uint8_t* bytes = old_.get(block);
    if (bytes == nullptr) return nullptr;
    sum_ -= BlockPart(block, bytes);
    if (block < journal_.blockNum() && !journal_.covered().contains(block)) {
      journal_.covered().insert(block);
      AddFound(frame, block, bytes);
    }
    return bytes;
  }

  bool addFound(FrameWriter* frame) {
    const uint32_t oldEnd = change_.oldBlockNum();
    if (!change_.forEachWrite([&](uint32_t block, const Change::Write&) {
          return block >= oldEnd || note(frame, block) != nullptr;
        }))
      return false;
    for (uint32_t block = file_->blockNum; block < oldEnd; ++block) {
      if (note(frame, block) == nullptr) return false;
    }
    // A block that the power destroys while it is marked is free all the same, but its part of the sum would be lost.
    return change_.forEachMark([&](uint32_t block) {
      const uint8_t* bytes = note(frame, block);
      if (bytes != nullptr) sum_ += BlockPart(block, bytes);
      return bytes != nullptr;
    });
  }

  bool addImages(FrameWriter* frame) {
    const bool added = change_.forEachWrite([&](uint32_t block, const Change::Write& write) {
      if (block >= direct_) return true;
      uint8_t* image = frame->add(kImageRecord, block);
      if (!Change::fill(write, &source_, image)) return false;
      sum_ += BlockPart(block, image);
      return true;
    });
    return added && std::all_of(mates_.begin(), mates_.end(), [&](uint32_t block) {
             const uint8_t* bytes = note(frame, block);
             if (bytes == nullptr) return false;
             std::memcpy(frame->add(kImageRecord, block), bytes, kBlockSize);
             sum_ += BlockPart(block, bytes);
             return true;
           });
  }

  // Which blocks get the free mark, and which are free in memory only: those that no frame has named before, and those
  // whose image would end what an earlier one said.
  void addFree(FrameWriter* frame) const {
    change_.forEachMark([&](uint32_t block) {
      frame->add(kMarkRecord, block);
      return true;
    });
    const auto& unlisted = file_->unlistedBlocks;
    for (uint32_t block = unlisted.lowest(); block != commonbase::NumberSet::kNone;
         block = unlisted.next(block + 1))
      frame->add(kFreedRecord, block);
    for (const uint32_t block : mates_) {
      if (file_->unmarkedBlocks.contains(block) && !unlisted.contains(block)) frame->add(kFreedRecord, block);
    }
  }

  bool writeDirect(FrameWriter* frame) {
    if (direct_ == file_->blockNum) return true;
    BlockRun run(file_, file_->blockNum - direct_, BlockRun::Flush::kSoon);
    const bool packed = change_.forEachWrite([&](uint32_t block, const Change::Write& write) {
      if (block < direct_) return true;
      uint8_t* bytes = run.add(block);
      if (bytes == nullptr || !Change::fill(write, &source_, bytes)) return false;
      sum_ += BlockPart(block, bytes);
      AddDirect(frame, block, bytes);
      return true;
    });
    return packed && run.write() && FlushDataFile(file_);
  }

  const Change& change_;
  FileInfo* file_;
  Journal& journal_;
  uint32_t direct_;
  PageMates mates_;
  BlockWindow old_;     // the file before the change
  BlockWindow source_;  // what moves copy
  uint64_t sum_;
};

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
  platform::FileIdentity now;
  if (!file->file.identify(&now)) return false;
  if (now.size <= uint64_t{file->blockNum} * kBlockSize) return true;
  if (!CutBlocks(file, file->blockNum)) return false;
  StampDataFile(file);
  return true;
}

// Puts a change whose frame is durable into the data file, from memory.
bool PutIntoFile(const Change& change) {
  FileInfo* file = change.file();
  const uint32_t direct = FirstDirectBlock(change);
  BlockWindow source(change.source()), marked(file->file);
  BlockRun run(file, CountWrites(change, kManyBlocks), BlockRun::Flush::kLater);
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
         run.write() && CutTail(file);
}

// Whether the blocks of a file are what they were when it was opened. The sum leaves out which of them are free.
bool BlocksAreTheSame(const FileInfo* file) {
  BlockWindow blocks(file->file);
  uint64_t sum = 0;
  for (uint32_t block = 0; block < file->blockNum; ++block) {
    const uint8_t* bytes = blocks.get(block);
    if (bytes == nullptr) return false;
    const bool wasFree = file->freeBlocks.contains(block) && !file->unmarkedBlocks.contains(block);
    if (wasFree != (bytes[kPacketTypeOffset] == kFreeBlock)) return false;
    sum += BlockPart(block, bytes);
  }
  return sum == file->blockSum;
}

void NoteCarriedOut(FileInfo* file) {
  file->journal.noteCarriedOut();
  StampDataFile(file);
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
  return ChangeFrame(change).write();
}

}  // namespace

void StampDataFile(FileInfo* file) {
  if (!file->file.note(&file->dataStamp)) file->backup.close();
}

bool HoldsTheSame(FileInfo* file) {
  platform::FileIdentity now;
  if (file->file.isAs(file->dataStamp)) return true;
  file->isFlushed = false;  // who wrote the same bytes need not have flushed them
  return file->file.identify(&now) && now.size == file->dataStamp.size && BlocksAreTheSame(file);
}

Naming WhatPathNames(const FileInfo* file) {
  platform::FileIdentity opened, named;
  if (!file->file.identify(&opened)) return Naming::kUnknown;
  if (!platform::IdentityOf(file->path, &named))
    return platform::IsMissing(file->path) ? Naming::kOther : Naming::kUnknown;
  return opened.sameFile(named) ? Naming::kSame : Naming::kOther;
}

bool TakeOver(FileInfo* file) {
  if (file->overlay != nullptr || !file->file.lock()) return false;
  if (WhatPathNames(file) == Naming::kSame && platform::IsMissing(file->journal.path()) && HoldsTheSame(file))
    return true;
  file->file.unlock();
  return false;
}

bool FlushDataFile(FileInfo* file) {
  if (file->isFlushed) return true;
  file->isFlushed = file->file.sync();
  if (!file->isFlushed) file->journal.poison();
  return file->isFlushed;
}

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
  if (!journal.replay(&carrying)) return false;
  if (!CutTail(file)) return false;
  NoteCarriedOut(file);
  return true;
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
  const bool done = PutIntoFile(change);
  if (done) NoteCarriedOut(file);
  change.finish();
  if (done && backsUp) BackupDataFile(file);
  return kOk;
}

OneChange::OneChange() : began_(!change.isOpen() && CurrentFile() != nullptr) {
  if (began_) change.begin(CurrentFile());
}

OneChange::~OneChange() {
  end(kNoItem);
}

int32_t OneChange::end(int32_t result) {
  if (!began_) return result;
  began_ = false;
  if (result >= 0) return CommitChange();
  change.undo();
  return result;
}

}  // namespace storage
