#include "cli/blockplaces.h"

#include "cli/journalimages.h"
#include "cli/outofstep.h"
#include "storage/format.h"

namespace cli {

using storage::kBlockSize;

std::optional<BlockPlaces> FindShiftedPlaces(const platform::File& file, uint64_t size) {
  const std::vector<uint64_t> blocks = FindOutOfStep(file, size);
  if (blocks.empty()) return std::nullopt;
  BlockPlaces found;
  found.restAt = blocks.back() + kBlockSize;
  for (uint64_t offset : blocks) {
    if (!found.shifted && offset % kBlockSize != 0)
      found.shifted = static_cast<uint32_t>(found.places.size());
    found.places.push_back({offset, false, false});
  }
  return found;
}

std::optional<BlockPlaces> FindPlacesWithJournal(const platform::File& file, uint64_t size,
                                                 const platform::File& journal) {
  const JournalImages images = ReadJournalImages(journal);
  const auto there = static_cast<uint32_t>(size / kBlockSize);
  if (!images.isGapless || !IsFileOf(images, file, there)) return std::nullopt;
  BlockPlaces found;
  const bool endIsLost = images.blockNum > there && images.last.count(there) == 0;
  found.restAt = endIsLost ? uint64_t{there} * kBlockSize : size;
  for (uint32_t block = 0; block < images.blockNum; ++block) {
    const auto word = images.last.find(block);
    const bool hasImage = word != images.last.end() && word->second.imageAt != 0;
    if (hasImage || block < there) {
      found.places.push_back({hasImage ? word->second.imageAt : uint64_t{block} * kBlockSize, hasImage,
                              word != images.last.end() && word->second.isFree});
    } else {
      ++found.missing;
    }
  }
  return found;
}

BlockPlaces FindPlacesInJournal(const platform::File& journal, uint64_t size) {
  const JournalImages images = ReadJournalImages(journal);
  BlockPlaces found;
  found.restAt = size;
  found.mayBeOlder = !images.isGapless;
  found.endsTorn = images.endsTorn;
  found.missing = images.blockNum;
  for (const auto& [block, word] : images.last) {
    if (block >= images.blockNum) continue;
    if (word.imageAt != 0 && !word.isFree) found.places.push_back({word.imageAt, false, false});
    if (word.imageAt != 0 || word.isFree) --found.missing;
  }
  if (!images.last.empty()) return found;
  for (const auto& [block, offset] : images.torn) found.places.push_back({offset, false, false});
  found.mayBeOlder = found.mayBeOlder || !found.places.empty();
  return found;
}

}  // namespace cli
