#include "storage/journalmatch.h"

#include <algorithm>

#include "storage/pack.h"
#include "storage/result.h"
#include "storage/scratch.h"

namespace storage {

namespace {

bool IsZero(const uint8_t* block) {
  return std::all_of(block, block + kBlockSize, [](uint8_t byte) { return byte == 0; });
}

// Goes over the file's blocks in their order.
class Judge {
 public:
  Judge(const JournalContents& journal, uint32_t length)
      : journal_(journal), length_(length), sum_(journal.header().blockSum) {
    // What was cut off is covered and gone.
    for (const FoundBlock& found : journal.found()) sum_ -= found.part;
    shortest_ = UINT32_MAX;
    for (uint32_t upTo = UINT32_MAX, named; journal.lengthUpTo(upTo, &named); upTo = named - 1) {
      shortest_ = named;
      if (named == 0) break;
    }
  }

  // False when the block is not explained.
  bool accepts(uint32_t block, const uint8_t* bytes) {
    while (found_ < journal_.found().size() && journal_.found()[found_].block < block) ++found_;
    const FoundBlock* found = nullptr;
    if (found_ < journal_.found().size() && journal_.found()[found_].block == block)
      found = &journal_.found()[found_];
    const uint32_t first = word_;
    bool covered = found != nullptr;
    for (; word_ < journal_.words().size() && journal_.words()[word_].block <= block; ++word_) {
      const uint32_t type = journal_.words()[word_].type;
      covered = covered || type == kImageRecord || type == kDirectRecord;
    }
    if (block < length_ && !covered) {
      sum_ -= BlockPart(block, bytes);
      return true;
    }
    return explains(found, first, block, bytes);
  }

  // Whether the blocks that were not covered are those of the journal's file, or else some covered one has changed
  // as a frame says.
  bool isOurs() const { return sum_ == 0 || changed_; }

 private:
  bool explains(const FoundBlock* found, uint32_t firstWord, uint32_t block, const uint8_t* bytes) {
    const HalfHashes halves = HashHalves(bytes);
    bool explained = true;
    for (int half = 0; half < 2; ++half) {
      const bool isFound = found != nullptr && halves.half[half] == found->halves.half[half];
      bool isPut = false;
      for (uint32_t i = firstWord; i < word_; ++i) {
        const JournalWord& word = journal_.words()[i];
        const bool puts = word.type == kImageRecord || word.type == kDirectRecord;
        isPut = isPut || (puts && word.halves.half[half] == halves.half[half]);
      }
      explained = explained && (isFound || isPut);
      changed_ = changed_ || (isPut && !isFound);
    }
    // Torn is also a block of zeros, which has the checksum of no bytes, and one whose filler alone is.
    if (explained || !IsAsPacked(bytes)) return true;
    return (block >= shortest_ && IsZero(bytes)) || isAhead(firstWord, bytes);
  }

  bool isAhead(uint32_t firstWord, const uint8_t* bytes) const {
    const uint64_t header = HashHeader(bytes);
    for (uint32_t i = firstWord; i < word_; ++i) {
      const JournalWord& word = journal_.words()[i];
      if (word.type == kAheadRecord && word.halves.half[0] == header) return true;
    }
    return false;
  }

  const JournalContents& journal_;
  uint32_t length_;
  uint64_t sum_;  // of the blocks that are not covered: what is still missing of it
  uint32_t shortest_;
  uint32_t found_ = 0, word_ = 0;
  bool changed_ = false;
};

}  // namespace

JournalMatch MatchJournal(const JournalContents& journal, const platform::File& data) {
  platform::FileIdentity file;
  if (!data.identify(&file)) return JournalMatch::kUnreadable;
  const auto fileBlocks = static_cast<uint32_t>(std::min<uint64_t>(file.size / kBlockSize, UINT32_MAX));
  uint32_t length;
  if (!journal.lengthUpTo(fileBlocks, &length)) return JournalMatch::kForeign;
  Judge judge(journal, length);
  constexpr uint32_t kWindow = 16;
  Scratch<kWindow> window;
  for (uint32_t first = 0, count; first < fileBlocks; first += count) {
    count = std::min(kWindow, fileBlocks - first);
    const size_t size = size_t{count} * kBlockSize;
    if (data.readAt(uint64_t{first} * kBlockSize, window.bytes, size) != size)
      return JournalMatch::kUnreadable;
    for (uint32_t i = 0; i < count; ++i) {
      if (!judge.accepts(first + i, window.bytes + size_t{i} * kBlockSize)) return JournalMatch::kForeign;
    }
  }
  return judge.isOurs() ? JournalMatch::kOurs : JournalMatch::kForeign;
}

}  // namespace storage
