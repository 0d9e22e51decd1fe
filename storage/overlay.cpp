#include "storage/overlay.h"

#include "storage/journalmatch.h"
#include "storage/pack.h"

namespace storage {

namespace {

class Nothing : public RecordSink {
 public:
  bool take(const RecordHead&, const uint8_t*, uint64_t) override { return true; }
};

}  // namespace

Overlay::Outcome Overlay::open(const PmChar* journalPath, const platform::File& data) {
  path_ = journalPath;
  if (!journal_.open(journalPath, platform::Access::kRead) || !journal_.identify(&identity_))
    return kUnreadable;
  platform::FileIdentity file;
  if (!data.identify(&file)) return kUnreadable;
  const auto fileBlocks = static_cast<uint32_t>(file.size / kBlockSize);
  const JournalContents::Outcome outcome = contents_.read(journal_, fileBlocks);
  if (outcome != JournalContents::kWhole)
    return outcome == JournalContents::kNotWhole ? kNotOurs : kUnreadable;
  const JournalMatch match = MatchJournal(contents_, data);
  return match == JournalMatch::kOurs ? kLaid : match == JournalMatch::kForeign ? kNotOurs : kUnreadable;
}

bool Overlay::read(const platform::File& data, uint32_t block, uint8_t* bytes, uint32_t count) const {
  if (block > blockNum() || count > blockNum() - block) return false;
  const size_t size = size_t{count} * kBlockSize;
  const size_t got = data.readAt(uint64_t{block} * kBlockSize, bytes, size);
  // What lies behind has to come from the journal.
  auto reached = static_cast<uint32_t>(got / kBlockSize);
  for (uint32_t word = contents_.firstWord(block); word < contents_.words().size();) {
    const uint32_t number = contents_.words()[word].block;
    if (number >= block + count) break;
    const LastWord last = contents_.lastWord(&word);
    uint8_t* at = bytes + size_t{number - block} * kBlockSize;
    if (last.imageAt != 0 && journal_.readAt(last.imageAt, at, kBlockSize) != kBlockSize) return false;
    if (last.isFree) MarkFree(at);
    if (number - block == reached && last.imageAt != 0) ++reached;
  }
  return reached >= count;
}

bool Overlay::isCurrent() const {
  platform::FileIdentity named;
  if (!platform::IdentityOf(path_, &named) || !named.sameFile(identity_)) return false;
  FrameHead head;
  Nothing nothing;
  uint64_t position = contents_.end();
  return ReadFrame(journal_, &position, contents_.header().salt, contents_.nextNumber(), &head, &nothing) ==
         FrameOutcome::kNotWhole;
}

}  // namespace storage
