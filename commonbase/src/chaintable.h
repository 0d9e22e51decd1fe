// A hash table that chains its members through a link of their own and owns nothing.
//
// Invariants:
//  1. Inserting never fails: without memory for more buckets the chains only grow longer.
//  2. The buckets are drawn anew for every table, so that no file can be made to collide in them by its
//     hashes.
#pragma once

#include <cstdint>
#include <cstring>
#include <ctime>

#include "commonbase/src/memorypool.h"
#include "platform/compiler.h"

namespace commonbase {

template <typename T, T* T::*kNext, uint32_t (*kHash)(const T*)>
class ChainTable {
 public:
  ChainTable() : multiplier_(drawMultiplier()) {}
  ~ChainTable() { release(buckets_, bits_); }
  ChainTable(const ChainTable&) = delete;
  ChainTable& operator=(const ChainTable&) = delete;

  uint32_t count() const { return count_; }

  // Makes buckets for `members` in one go, where there is memory.
  void expect(uint32_t members) {
    uint32_t bits = bits_;
    while (bits < kMaxBits && members >> bits != 0) ++bits;
    if (bits > bits_) rehash(bits);
  }

  // The first member of the chain that holds every member of that hash, among others; the rest by the link.
  T* chain(uint32_t hash) const { return buckets_[bucketOf(hash)]; }

  // Where chain() will look, for whoever fetches it ahead. (A method that only fetches is one without an effect
  // to the compiler, which leaves the call out.)
  const void* placeOf(uint32_t hash) const { return &buckets_[bucketOf(hash)]; }

  void insert(T* member) {
    if (count_ >> bits_ != 0 && bits_ < kMaxBits) rehash(bits_ + 1);
    push(member);
    ++count_;
  }

  void remove(T* member) {
    T** link = &buckets_[bucketOf(kHash(member))];
    while (*link != member) link = &((*link)->*kNext);
    *link = member->*kNext;
    --count_;
  }

  // Calls `visit` for every member, in no particular order, until it returns false; whether it never did.
  template <typename Visit>
  bool forEach(Visit visit) const {
    for (uint32_t i = 0; i >> bits_ == 0; ++i) {
      for (T* member = buckets_[i]; member != nullptr; member = member->*kNext) {
        if (!visit(member)) return false;
      }
    }
    return true;
  }

  // Empties the table, handing every member to `release`.
  template <typename Release>
  void clear(Release release) {
    for (uint32_t i = 0; i >> bits_ == 0; ++i) {
      // Members lie all over memory: those of a bucket further on are fetched meanwhile.
      constexpr uint32_t kAhead = 32;
      if ((i + kAhead) >> bits_ == 0) platform::Prefetch(buckets_[i + kAhead]);
      while (T* member = buckets_[i]) {
        buckets_[i] = member->*kNext;
        release(member);
      }
    }
    count_ = 0;
  }

 private:
  static constexpr uint32_t kMaxBits = 26;

  uint64_t drawMultiplier() const {
    uint64_t x = reinterpret_cast<uintptr_t>(this) ^ static_cast<uint64_t>(std::time(nullptr)) << 20;
    x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9U;
    x = (x ^ x >> 27) * 0x94D049BB133111EBU;
    return (x ^ x >> 31) | 1;
  }

  uint32_t bucketOf(uint32_t hash) const {
    return bits_ == 0 ? 0 : static_cast<uint32_t>((hash + uint64_t{1}) * multiplier_ >> (64 - bits_));
  }

  void push(T* member) {
    T*& bucket = buckets_[bucketOf(kHash(member))];
    member->*kNext = bucket;
    bucket = member;
  }

  void rehash(uint32_t bits) {
    const size_t size = sizeof(T*) << bits;
    auto** buckets = static_cast<T**>(SharedMemory().take(size));
    if (buckets == nullptr) return;
    std::memset(static_cast<void*>(buckets), 0, size);
    T** const old = buckets_;
    const uint32_t oldBits = bits_;
    buckets_ = buckets;
    bits_ = bits;
    for (uint32_t i = 0; i >> oldBits == 0; ++i) {
      while (T* member = old[i]) {
        old[i] = member->*kNext;
        push(member);
      }
    }
    release(old, oldBits);
  }

  void release(T** buckets, uint32_t bits) {
    if (buckets != &first_) SharedMemory().give(buckets, sizeof(T*) << bits);
  }

  T* first_ = nullptr;  // the one bucket that always exists
  T** buckets_ = &first_;
  uint32_t bits_ = 0;  // there are 2 to this many buckets
  uint32_t count_ = 0;
  uint64_t multiplier_;
};

}  // namespace commonbase
