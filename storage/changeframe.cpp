#include "storage/changeframe.h"

#include <algorithm>
#include <cstring>

#include "storage/blockio.h"
#include "storage/blockrun.h"
#include "storage/blockwindow.h"
#include "storage/framewriter.h"
#include "storage/pack.h"
#include "storage/pagemates.h"
#include "storage/result.h"

namespace storage {

namespace {

// So many new blocks behind the file's end are written there at once instead of into the journal first. They begin on
// a page of their own: what is written before the frame must not share a page with what stands.
constexpr uint32_t kDirectBlocks = 256;

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
    return (1 + mates + change_.countWrites(kDirectBlocks)) * (kBlockSize + 64);
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
    if (!named) abandon();
    if (!named || journal_.append(&frame) != kOk) return false;
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

}  // namespace

uint32_t FirstDirectBlock(const Change& staged) {
  const uint32_t end = staged.file()->blockNum;
  const uint32_t first = (staged.oldBlockNum() + kPageBlocks - 1) / kPageBlocks * kPageBlocks;
  return end >= kDirectBlocks && first <= end - kDirectBlocks ? first : end;
}

int32_t WriteChangeFrame(const Change& staged) {
  return ChangeFrame(staged).write();
}

}  // namespace storage
