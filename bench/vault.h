// The vault that every store is given: the same items, in the same order, in every run.
//
// Sizes are drawn evenly: 70% of the items of 200 to 900 bytes, 25% of up to 4,000, 5% of 4 to 40 KB. Kinds
// are 1 to 4; user data is 20 characters, unique, in UTF-16. Item bytes are slices of one pool of random bytes, as
// little compressible as the ciphertext of a password manager, so that making them costs nothing inside a
// measured step.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bench/store.h"

namespace bench {

uint64_t Checksum(std::string_view bytes);

// A deterministic generator of 64-bit numbers (splitmix64).
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  uint64_t next();
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>((next() >> 32) * limit >> 32); }
  uint32_t between(uint32_t low, uint32_t high) { return low + below(high - low + 1); }

 private:
  uint64_t state_;
};

class Vault {
 public:
  // A vault of `count` items, with `spare` more to be inserted later.
  Vault(uint32_t count, uint32_t spare);
  ~Vault();
  Vault(const Vault&) = delete;
  Vault& operator=(const Vault&) = delete;

  uint32_t count() const { return count_; }
  uint32_t total() const { return static_cast<uint32_t>(items_.size()); }

  // The item at a number; `id` is one above the number, or the one that the store has given it since.
  Item item(uint32_t number) const;
  // Notes the ID that the store gave the item; seen by the processes forked later, too.
  void setId(uint32_t number, uint32_t id) { ids_[number] = id; }

  // Gives the item other bytes of the same kind of size; seen by this process and those that it forks.
  void change(uint32_t number, Random* random);

  // The numbers below count() in an order drawn from `seed`.
  std::vector<uint32_t> shuffled(uint64_t seed) const;

  // Throws unless these are the item's bytes, by size and checksum.
  void verify(uint32_t number, std::string_view bytes) const;

  uint64_t payload() const { return payload_; }  // item bytes of the first count() items
  // Bytes of the fewest blocks that can hold these items and the table of their IDs; docs/format.md has the sizes.
  uint64_t leastSize(const std::vector<uint32_t>& numbers) const;

 private:
  static constexpr size_t kUserDataLength = 20;

  struct Entry {
    uint32_t kind;
    uint32_t offset;
    uint32_t size;
    uint64_t checksum;
    char16_t userData[kUserDataLength + 1];
  };

  void draw(Entry* entry, Random* random) const;
  std::string_view bytesOf(const Entry& entry) const { return {pool_.data() + entry.offset, entry.size}; }

  const uint32_t count_;
  std::string pool_;
  std::vector<Entry> items_;
  uint32_t* ids_;  // shared with forked processes
  uint64_t payload_ = 0;
};

}  // namespace bench
