#include "cli/journalimages.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "cli/bytes.h"
#include "storage/pack.h"
#include "storage/result.h"

namespace cli {

namespace {

using storage::HalfHashes;
using storage::RecordHead;

// Keeps what one frame says until it is known whether it is whole.
class FrameSink : public storage::RecordSink {
 public:
  bool take(const RecordHead& piece, const uint8_t* units, uint64_t offset) override {
    if (units == nullptr && (free_ += piece.count) > storage::kMaxBlocks) return false;
    const uint32_t size = storage::UnitSize(piece.type);
    for (uint32_t i = 0; i < piece.count; ++i) {
      const uint8_t* unit = units == nullptr ? nullptr : units + size_t{i} * size;
      words_.push_back(
          {piece.first + i, 0, piece.type, offset + uint64_t{i} * size, HalvesOf(piece.type, unit)});
      if (piece.type == storage::kImageRecord && storage::CheckPacket(unit) == storage::kOk)
        intact_[piece.first + i] = words_.back().offset;
    }
    return true;
  }

  const std::map<uint32_t, uint64_t>& intact() const { return intact_; }

  void putInto(JournalImages& images) const {
    for (const storage::JournalWord& word : words_) {
      if (word.type == storage::kImageRecord) images.last[word.block] = {word.offset, false};
      if (word.type == storage::kDirectRecord) images.last[word.block] = {0, false};
      if (word.type == storage::kMarkRecord || word.type == storage::kFreedRecord)
        images.last[word.block].isFree = true;
      if (word.type == storage::kImageRecord || word.type == storage::kDirectRecord)
        images.put[word.block].push_back(word.halves);
      if (word.type == storage::kFoundRecord) images.found[word.block].push_back(word.halves);
    }
  }

 private:
  static HalfHashes HalvesOf(uint32_t type, const uint8_t* unit) {
    if (type == storage::kImageRecord) return storage::HashHalves(unit);
    if (type != storage::kDirectRecord && type != storage::kFoundRecord) return {};
    return {{storage::LoadU64(unit), storage::LoadU64(unit + 8)}};
  }

  std::vector<storage::JournalWord> words_;
  std::map<uint32_t, uint64_t> intact_;  // images with a right checksum
  uint64_t free_ = 0;
};

bool HoldsHalf(const std::map<uint32_t, std::vector<HalfHashes>>& known, uint32_t block, int half,
               const HalfHashes& halves) {
  const auto there = known.find(block);
  return there != known.end() &&
         std::any_of(there->second.begin(), there->second.end(),
                     [&](const HalfHashes& one) { return one.half[half] == halves.half[half]; });
}

// Where the next frame begins from `at` on: at a page, or anywhere when the journal is out of step.
std::optional<uint64_t> FindFrame(const platform::File& journal, uint64_t at) {
  uint8_t magic[8];
  storage::StoreU64(magic, storage::kFrameMagic);
  Bytes window(size_t{1} << 16);
  for (;;) {
    const size_t held = journal.readAt(at, window.data(), window.size());
    const auto end = window.begin() + static_cast<std::ptrdiff_t>(held);
    const auto found = std::search(window.begin(), end, std::begin(magic), std::end(magic));
    if (found != end) return at + static_cast<uint64_t>(found - window.begin());
    if (held < window.size()) return std::nullopt;
    at += held - (sizeof magic - 1);
  }
}

}  // namespace

bool IsJournal(const platform::File& file) {
  uint8_t magic[8];
  return file.readAt(0, magic, sizeof magic) == sizeof magic &&
         storage::LoadU64(magic) == storage::kJournalMagic;
}

JournalImages ReadJournalImages(const platform::File& journal) {
  JournalImages images;
  uint64_t salt = 0;
  uint64_t number = 0;  // of the last whole frame
  for (std::optional<uint64_t> at = FindFrame(journal, 0); at; at = FindFrame(journal, *at)) {
    const uint64_t begin = *at;
    uint8_t bytes[storage::kFrameHeadSize];
    storage::FrameHead head{};
    FrameSink sink;
    ++*at;
    const bool isNext = journal.readAt(begin, bytes, sizeof bytes) == sizeof bytes &&
                        storage::DecodeFrameHead(bytes, &head) && head.number > number &&
                        (number == 0 || head.salt == salt);
    if (!isNext) continue;
    uint64_t next = begin;
    images.endsTorn = storage::ReadFrame(journal, &next, head.salt, head.number, &head, &sink) !=
                      storage::FrameOutcome::kWhole;
    images.torn = images.endsTorn ? sink.intact() : std::map<uint32_t, uint64_t>();
    if (images.endsTorn) continue;
    images.isGapless = images.isGapless && head.number == number + 1;
    salt = head.salt;
    number = head.number;
    // The next one begins there, or before it where bytes are missing.
    *at = std::max(*at, next - storage::kJournalPage);
    if (head.kind != storage::kChangeFrame) continue;
    sink.putInto(images);
    images.blockNum = head.blockNum;
  }
  return images;
}

bool IsFileOf(const JournalImages& journal, const platform::File& data, uint32_t fileBlocks) {
  bool hasChanged = false;
  for (const auto& [block, word] : journal.last) {
    const bool isCovered = journal.put.count(block) != 0 || journal.found.count(block) != 0;
    Bytes bytes(storage::kBlockSize);
    if (block >= fileBlocks || !isCovered) continue;
    if (data.readAt(uint64_t{block} * bytes.size(), bytes.data(), bytes.size()) != bytes.size()) return false;
    if (!storage::IsAsPacked(bytes.data())) continue;  // torn, or damaged otherwise
    const HalfHashes halves = storage::HashHalves(bytes.data());
    for (int half = 0; half < 2; ++half) {
      const bool wasFound = HoldsHalf(journal.found, block, half, halves);
      const bool wasPut = HoldsHalf(journal.put, block, half, halves);
      if (!wasFound && !wasPut) return false;
      hasChanged = hasChanged || (wasPut && !wasFound);
    }
  }
  return hasChanged;
}

}  // namespace cli
