#include "storage/journalreader.h"

#include <algorithm>
#include <cstring>

namespace storage {

namespace {

// A window of the journal that moves on.
class Cursor {
 public:
  Cursor(const platform::File& file, uint64_t position) : file_(file), base_(position) {
    platform::FileIdentity journal;
    unreadable_ = !file.identify(&journal);
    size_ = journal.size;
  }
  ~Cursor() { platform::Wipe(buffer_, held_); }
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  static constexpr size_t kSize = size_t{16} * kBlockSize;

  // The next `size` bytes, at most kSize, which stay until the next call; null when the file has not so many.
  const uint8_t* take(size_t size) {
    if (held_ - at_ < size) {
      std::memmove(buffer_, buffer_ + at_, held_ - at_);
      base_ += at_;
      held_ -= at_;
      at_ = 0;
      held_ += file_.readAt(base_ + held_, buffer_ + held_, kSize - held_);
      // What comes up short at the end of the file is no error.
      unreadable_ = unreadable_ || (held_ < kSize && base_ + held_ < size_);
      if (held_ < size || unreadable_) return nullptr;
    }
    at_ += size;
    return buffer_ + at_ - size;
  }

  uint64_t position() const { return base_ + at_; }
  FrameOutcome notWhole() const { return unreadable_ ? FrameOutcome::kUnreadable : FrameOutcome::kNotWhole; }

 private:
  const platform::File& file_;
  uint64_t size_;
  bool unreadable_;
  uint64_t base_;  // where in the file the buffer begins
  uint8_t buffer_[kSize];
  size_t held_ = 0, at_ = 0;
};

// Whether a journal may speak of these blocks at all: a bound for the memory that it can ask for.
bool InReach(const RecordHead& head) {
  return head.first <= kMaxBlocks && head.count <= kMaxBlocks - head.first;
}

// Hands out the units of one record. False when they are not all there, or when the sink ends the reading.
bool TakeUnits(Cursor* cursor, const RecordHead& head, uint64_t* hash, RecordSink* sink) {
  const uint32_t unit = UnitSize(head.type);
  if (unit == 0) return sink->take(head, nullptr, 0);
  const auto most = static_cast<uint32_t>(Cursor::kSize / unit);
  for (uint32_t done = 0, num; done < head.count; done += num) {
    num = std::min(most, head.count - done);
    const uint64_t offset = cursor->position();
    const uint8_t* units = cursor->take(size_t{num} * unit);
    if (units == nullptr) return false;
    *hash = HashBytes(*hash, units, size_t{num} * unit);
    if (!sink->take({head.type, head.first + done, num}, units, offset)) return false;
  }
  return true;
}

}  // namespace

FrameOutcome ReadFrame(const platform::File& journal, uint64_t* position, uint64_t salt, uint64_t number,
                       FrameHead* head, RecordSink* sink) {
  Cursor cursor(journal, *position);
  const uint8_t* bytes = cursor.take(kFrameHeadSize);
  if (bytes == nullptr) return cursor.notWhole();
  if (!DecodeFrameHead(bytes, head) || head->salt != salt || head->number != number)
    return FrameOutcome::kNotWhole;
  uint64_t hash = HashBytes(0, bytes, kFrameHeadSize);
  while ((bytes = cursor.take(kRecordHeadSize)) != nullptr) {
    const RecordHead record = DecodeRecordHead(bytes);
    if (UnitSize(record.type) == kNoUnit || !InReach(record)) return FrameOutcome::kNotWhole;
    hash = HashBytes(hash, bytes, kRecordHeadSize);
    if (record.type == kCommitRecord) {
      bytes = cursor.take(UnitSize(kCommitRecord));
      if (bytes == nullptr || LoadU64(bytes) != hash) break;
      *position = NextPage(cursor.position());
      return FrameOutcome::kWhole;
    }
    if (!TakeUnits(&cursor, record, &hash, sink)) break;
  }
  return cursor.notWhole();
}

// Notes what a frame says; what a frame that is not whole said can be taken back.
class JournalContents::Collector : public RecordSink {
 public:
  Collector(JournalContents* contents, uint32_t mostBlocks) : contents_(contents), mostFree_(mostBlocks) {}

  bool take(const RecordHead& piece, const uint8_t* units, uint64_t offset) override {
    if (units == nullptr) {
      free_ += piece.count;
      if (free_ > 2 * mostFree_) return false;
    } else {
      mostFree_ += piece.count;
    }
    const uint32_t unit = UnitSize(piece.type);
    for (uint32_t i = 0; i < piece.count && !failed_; ++i) {
      const size_t at = size_t{i} * unit;
      if (piece.type == kFoundRecord) {
        noteFound(piece.first + i, units + at);
      } else {
        noteWord(piece, i, units == nullptr ? nullptr : units + at, offset + at);
      }
    }
    return !failed_;
  }

  bool failed() const { return failed_; }

 private:
  void noteFound(uint32_t block, const uint8_t* unit) {
    auto& found = contents_->found_;
    failed_ = !found.reserve(found.size() + 1);
    if (!failed_) found.add({block, LoadU64(unit + 16), {{LoadU64(unit), LoadU64(unit + 8)}}});
  }

  void noteWord(const RecordHead& piece, uint32_t i, const uint8_t* unit, uint64_t offset) {
    auto& words = contents_->words_;
    failed_ = !words.reserve(words.size() + 1);
    if (failed_) return;
    JournalWord word{piece.first + i, words.size(), piece.type, offset, {}};
    if (piece.type == kImageRecord) word.halves = HashHalves(unit);
    if (piece.type == kDirectRecord) word.halves = {{LoadU64(unit), LoadU64(unit + 8)}};
    if (piece.type == kAheadRecord) word.halves = {{LoadU64(unit), 0}};
    words.add(word);
  }

  JournalContents* contents_;
  uint64_t mostFree_;  // blocks that can have become free, and marked
  uint64_t free_ = 0;
  bool failed_ = false;
};

JournalContents::Outcome JournalContents::read(const platform::File& journal, uint32_t fileBlocks) {
  platform::FileIdentity found;
  uint8_t page[kJournalHeaderSize];
  if (!journal.identify(&found)) return kUnreadable;
  if (found.size < kJournalPage) return kNotWhole;
  if (journal.readAt(0, page, sizeof page) != sizeof page) return kUnreadable;
  // The file was longer only by what the journal has found in blocks that it cut off.
  const uint64_t mostBlocks = fileBlocks + found.size / UnitSize(kFoundRecord);
  if (!DecodeJournalHeader(page, &header_) || header_.blockNum > std::min<uint64_t>(mostBlocks, kMaxBlocks))
    return kNotWhole;
  blockNum_ = header_.blockNum;
  if (!lengths_.reserve(1)) return kUnreadable;
  lengths_.add(blockNum_);
  const Outcome outcome = readFrames(journal, found.size, static_cast<uint32_t>(mostBlocks));
  if (outcome == kWhole) sort();
  return outcome;
}

JournalContents::Outcome JournalContents::readFrames(const platform::File& journal, uint64_t size,
                                                     uint32_t mostBlocks) {
  Collector collector(this, mostBlocks);
  for (end_ = kJournalPage;; ++next_) {
    const uint32_t words = words_.size(), found = found_.size();
    FrameHead head;
    uint64_t next = end_;
    const FrameOutcome outcome = ReadFrame(journal, &next, header_.salt, next_, &head, &collector);
    if (outcome == FrameOutcome::kUnreadable || collector.failed() || !lengths_.reserve(lengths_.size() + 1))
      return kUnreadable;
    if (outcome == FrameOutcome::kNotWhole || head.blockNum > kMaxBlocks) {
      while (words_.size() > words) words_.removeLast();
      while (found_.size() > found) found_.removeLast();
      bool unreadable = false;
      const bool damaged = hasFrameBehind(journal, size, &unreadable);
      return unreadable ? kUnreadable : damaged ? kNotWhole : kWhole;
    }
    end_ = next;
    if (head.kind != kChangeFrame) continue;
    blockNum_ = head.blockNum;
    lengths_.add(blockNum_);
  }
}

// Whether a frame of this journal begins behind the one that is not whole.
bool JournalContents::hasFrameBehind(const platform::File& journal, uint64_t size, bool* unreadable) const {
  for (uint64_t page = end_; page + kFrameHeadSize <= size; page += kJournalPage) {
    uint8_t bytes[kFrameHeadSize];
    FrameHead head;
    *unreadable = journal.readAt(page, bytes, sizeof bytes) != sizeof bytes;
    if (*unreadable) return false;
    if (DecodeFrameHead(bytes, &head) && head.salt == header_.salt && head.number > next_) return true;
  }
  return false;
}

void JournalContents::sort() {
  std::sort(words_.begin(), words_.end(), [](const JournalWord& a, const JournalWord& b) {
    return a.block != b.block ? a.block < b.block : a.order < b.order;
  });
  std::sort(found_.begin(), found_.end(),
            [](const FoundBlock& a, const FoundBlock& b) { return a.block < b.block; });
}

bool JournalContents::lengthUpTo(uint32_t blockNum, uint32_t* length) const {
  bool any = false;
  for (const uint32_t named : lengths_) {
    if (named > blockNum || (any && named <= *length)) continue;
    *length = named;
    any = true;
  }
  return any;
}

LastWord JournalContents::lastWord(uint32_t* first) const {
  LastWord last{0, false};
  for (const uint32_t block = words_[*first].block; *first < words_.size() && words_[*first].block == block;
       ++*first) {
    const JournalWord& word = words_[*first];
    if (word.type == kImageRecord) last = {word.offset, false};
    if (word.type == kDirectRecord) last = {0, false};
    if (word.type == kMarkRecord || word.type == kFreedRecord) last.isFree = true;
  }
  return last;
}

uint32_t JournalContents::firstWord(uint32_t block) const {
  const auto* place = std::lower_bound(words_.begin(), words_.end(), block,
                                       [](const JournalWord& word, uint32_t b) { return word.block < b; });
  return static_cast<uint32_t>(place - words_.begin());
}

bool JournalContents::hasImage(uint32_t block) const {
  for (uint32_t i = firstWord(block); i < words_.size() && words_[i].block == block; ++i) {
    if (words_[i].type == kImageRecord) return true;
  }
  return false;
}

bool JournalContents::hasFound(uint32_t block) const {
  return std::binary_search(found_.begin(), found_.end(), FoundBlock{block, 0, {}},
                            [](const FoundBlock& a, const FoundBlock& b) { return a.block < b.block; });
}

}  // namespace storage
