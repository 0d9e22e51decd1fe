// A set of numbers below a limit that was reserved for it: bits, with a summary bit above every 64 of them.
//
// Insert, erase, contains, lowest and next cost a handful of word operations whatever the set holds, and
// memory is one bit a possible number.
//
// Invariants:
//  1. Every member is below the reserved limit, so that only reserve() allocates and can fail.
//  2. A bit of a level above is set exactly when the word under it is not 0.
#pragma once

#include <cstdint>

namespace commonbase {

class NumberSet {
 public:
  static constexpr uint32_t kNone = UINT32_MAX;

  NumberSet() = default;
  ~NumberSet();
  NumberSet(const NumberSet&) = delete;
  NumberSet& operator=(const NumberSet&) = delete;

  // Makes room for the numbers below `limit`. False when there is no memory; the set is unchanged then.
  bool reserve(uint32_t limit);

  void insert(uint32_t number);  // a member already: nothing happens
  void erase(uint32_t number);   // not a member: nothing happens
  bool contains(uint32_t number) const;
  void clear();

  uint32_t count() const { return count_; }
  bool empty() const { return count_ == 0; }

  uint32_t lowest() const { return next(0); }
  // The lowest member that is not below `from`, or kNone.
  uint32_t next(uint32_t from) const;

 private:
  static constexpr int kLevels = 5;  // 64 to the fifth: a billion numbers

  uint64_t* words_[kLevels] = {};
  uint32_t wordNum_[kLevels] = {};
  uint32_t count_ = 0;
};

}  // namespace commonbase
