#include "storage/pagemates.h"

#include <algorithm>

#include "storage/journalformat.h"

namespace storage {

bool PageMates::find(const Change& staged, uint32_t end) {
  const auto touch = [&](uint32_t block) {
    if (block >= end) return true;
    if (!touched_.reserve(touched_.size() + 1)) return false;
    touched_.add(block);
    return true;
  };
  return staged.forEachWrite([&](uint32_t block, const Change::Write&) { return touch(block); }) &&
         staged.forEachMark(touch) && collect(std::min(staged.oldBlockNum(), staged.file()->blockNum));
}

bool PageMates::collect(uint32_t blockNum) {
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

bool PageMates::add(uint32_t block) {
  if (mates_.size() > kMost) return true;
  if (!mates_.reserve(mates_.size() + 1)) return false;
  mates_.add(block);
  return true;
}

}  // namespace storage
