// Reading a journal: its frames one by one, and what all of them together say of the data file's blocks.
//
// Invariants:
//  1. Nothing is believed of a frame that is not whole, and nothing of what stands behind it.
//  2. Memory stays in proportion to the journal and to the data file; images stay in the journal. A record of marks
//     costs the journal nothing, so they are counted: a block is marked, or becomes free, once for each time that
//     something is put there.
//  3. A frame that is not whole with a whole one behind it is damage: the second was written only when the first had
//     reached the medium.
#pragma once

#include <cstdint>

#include "commonbase/src/growarray.h"
#include "platform/platform.h"
#include "storage/journalformat.h"

namespace storage {

// Takes the records of a frame, piece by piece.
class RecordSink {
 public:
  // `units` are those of the blocks piece.first and on, which stand at `offset` of the journal. False ends the
  // reading.
  virtual bool take(const RecordHead& piece, const uint8_t* units, uint64_t offset) = 0;

 protected:
  ~RecordSink() = default;
};

enum class FrameOutcome {
  kWhole,
  kNotWhole,    // or not the one that was looked for, or the sink ended the reading
  kUnreadable,  // the system did not give what the file holds
};

// Reads the frame at `*position`, handing its records out before it is known whether it is whole. When it is, and is
// the one of that salt and number, `*position` becomes that of the next one.
FrameOutcome ReadFrame(const platform::File& journal, uint64_t* position, uint64_t salt, uint64_t number,
                       FrameHead* head, RecordSink* sink);

// What one frame says of one block.
struct JournalWord {
  uint32_t block = 0;
  uint32_t order = 0;   // later words end earlier ones
  uint32_t type = 0;    // kImageRecord, kDirectRecord, kAheadRecord, kMarkRecord or kFreedRecord
  uint64_t offset = 0;  // of an image in the journal
  HalfHashes halves;    // of an image or a directly written block; half[0] is the header's hash of one ahead
};

// A block as the journal found it.
struct FoundBlock {
  uint32_t block = 0;
  uint64_t part = 0;
  HalfHashes halves;
};

// What a block is after all frames.
struct LastWord {
  uint64_t imageAt = 0;  // where its image stands in the journal; 0 when the file holds its bytes
  bool isFree = false;   // it gets the free mark
};

class JournalContents {
 public:
  enum Outcome { kWhole, kNotWhole, kUnreadable };

  // Reads the header and all whole frames of the journal beside a data file of so many blocks. kNotWhole when it is
  // damaged, or no journal of such a file; kUnreadable when it cannot be read or when there is no memory.
  Outcome read(const platform::File& journal, uint32_t fileBlocks);

  const JournalHeader& header() const { return header_; }
  uint64_t end() const { return end_; }            // behind the last whole frame
  uint64_t nextNumber() const { return next_; }    // of the frame that would come there
  uint32_t blockNum() const { return blockNum_; }  // the data file's length after all frames

  // Whether it begins with a restore that has not happened: the file and its backup are as they were.
  bool isUndoneRestore() const { return header_.isRestore && lengths_.size() < 2; }

  // The longest length that the file had by header or frames and that is not above `blockNum`; false when there
  // is none.
  bool lengthUpTo(uint32_t blockNum, uint32_t* length) const;

  // By ascending block; the words of one block in their order.
  const commonbase::GrowArray<JournalWord>& words() const { return words_; }
  const commonbase::GrowArray<FoundBlock>& found() const { return found_; }

  // The last word on the block that words()[first] is about; `first` becomes the number of the next block's first
  // word.
  LastWord lastWord(uint32_t* first) const;

  // The number of the first word on `block` or on one behind it.
  uint32_t firstWord(uint32_t block) const;
  // Whether a frame holds an image of the block; whether one notes what was found in it.
  bool hasImage(uint32_t block) const;
  bool hasFound(uint32_t block) const;

 private:
  class Collector;
  Outcome readFrames(const platform::File& journal, uint64_t size, uint32_t mostBlocks);
  bool hasFrameBehind(const platform::File& journal, uint64_t size, bool* unreadable) const;
  void sort();

  JournalHeader header_{};
  uint64_t end_ = 0;
  uint64_t next_ = 1;
  uint32_t blockNum_ = 0;
  commonbase::GrowArray<uint32_t> lengths_;
  commonbase::GrowArray<JournalWord> words_;
  commonbase::GrowArray<FoundBlock> found_;
};

}  // namespace storage
