#include "commonbase/src/numberset.h"

#include <cstring>

#include "platform/compiler.h"
#include "platform/heap.h"

namespace commonbase {

namespace {

uint32_t WordsFor(uint32_t bits) {
  return bits / 64 + (bits % 64 != 0 ? 1 : 0);
}

uint64_t Bit(uint32_t number) {
  return uint64_t{1} << (number % 64);
}

}  // namespace

NumberSet::~NumberSet() {
  for (uint64_t* words : words_) platform::Release(words);
}

bool NumberSet::reserve(uint32_t limit) {
  if (limit <= uint64_t{wordNum_[0]} * 64) return true;
  uint32_t grown = limit + limit / 2;  // so that reserving one by one stays linear
  for (int level = 0; level < kLevels; ++level) {
    const uint32_t wanted = WordsFor(grown);
    uint64_t* words = platform::Resize(words_[level], wanted);
    if (words == nullptr) return false;
    words_[level] = words;
    grown = wanted;
  }
  // Only now, with all levels grown, do the sizes change: a failure above leaves the set as it was.
  grown = limit + limit / 2;
  for (int level = 0; level < kLevels; ++level) {
    const uint32_t wanted = WordsFor(grown);
    std::memset(words_[level] + wordNum_[level], 0, (wanted - wordNum_[level]) * sizeof(uint64_t));
    wordNum_[level] = wanted;
    grown = wanted;
  }
  return true;
}

void NumberSet::insert(uint32_t number) {
  if (contains(number)) return;
  ++count_;
  for (uint64_t* words : words_) {
    words[number / 64] |= Bit(number);
    number /= 64;
  }
}

void NumberSet::erase(uint32_t number) {
  if (!contains(number)) return;
  --count_;
  for (uint64_t* words : words_) {
    words[number / 64] &= ~Bit(number);
    if (words[number / 64] != 0) return;
    number /= 64;
  }
}

bool NumberSet::contains(uint32_t number) const {
  return number / 64 < wordNum_[0] && (words_[0][number / 64] & Bit(number)) != 0;
}

void NumberSet::clear() {
  for (int level = 0; level < kLevels; ++level) {
    if (wordNum_[level] != 0) std::memset(words_[level], 0, wordNum_[level] * sizeof(uint64_t));
  }
  count_ = 0;
}

uint32_t NumberSet::next(uint32_t from) const {
  // Up, until some word holds a member at or behind the position; then down again along the lowest bits.
  int level = 0;
  uint32_t position = from;
  for (;; ++level, position = position / 64 + 1) {
    if (level == kLevels || position / 64 >= wordNum_[level]) return kNone;
    const uint64_t rest = words_[level][position / 64] & ~(Bit(position) - 1);
    if (rest == 0) continue;
    position = position / 64 * 64 + platform::LowestBit(rest);
    break;
  }
  while (level > 0) {
    --level;
    position = position * 64 + platform::LowestBit(words_[level][position]);
  }
  return position;
}

}  // namespace commonbase
