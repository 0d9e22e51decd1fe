#include "bench/vault.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

constexpr uint64_t kSeed = 20240229;
constexpr uint32_t kMaxSize = 40 * 1024;
constexpr uint32_t kOffsets = 4 << 20;  // where in the pool an item may begin

uint32_t DrawSize(Random* random) {
  const uint32_t share = random->below(100);
  if (share < 70) return random->between(200, 900);
  if (share < 95) return random->between(901, 4000);
  return random->between(4 * 1024, kMaxSize);
}

}  // namespace

uint64_t Checksum(std::string_view bytes) {
  constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15U;
  uint64_t lanes[4] = {1, 2, 3, 4};
  const char* next = bytes.data();
  size_t left = bytes.size();
  for (; left >= sizeof lanes; left -= sizeof lanes, next += sizeof lanes) {
    uint64_t words[4];
    std::memcpy(words, next, sizeof words);
    for (int i = 0; i < 4; ++i) lanes[i] = (lanes[i] ^ words[i]) * kMultiplier;
  }
  uint64_t sum = bytes.size();
  for (; left > 0; --left) sum = (sum ^ static_cast<unsigned char>(*next++)) * kMultiplier;
  for (const uint64_t lane : lanes) sum = (sum ^ lane ^ lane >> 32) * kMultiplier;
  return sum ^ sum >> 29;
}

uint64_t Random::next() {
  uint64_t x = state_ += 0x9E3779B97F4A7C15U;
  x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9U;
  x = (x ^ x >> 27) * 0x94D049BB133111EBU;
  return x ^ x >> 31;
}

Vault::Vault(uint32_t count, uint32_t spare) : count_(count), items_(count + spare) {
  void* shared = mmap(nullptr, items_.size() * sizeof(uint32_t), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::runtime_error("no memory for the IDs");
  ids_ = static_cast<uint32_t*>(shared);

  Random random(kSeed);
  pool_.resize(kOffsets + kMaxSize);
  for (size_t i = 0; i < pool_.size(); i += sizeof(uint64_t)) {
    const uint64_t word = random.next();
    std::memcpy(&pool_[i], &word, sizeof word);
  }
  for (uint32_t number = 0; number < total(); ++number) {
    Entry& entry = items_[number];
    entry.kind = random.between(1, 4);
    char text[kUserDataLength + 1];
    std::snprintf(text, sizeof text, "%08x@%011u", static_cast<uint32_t>(random.next()), number);
    std::copy(text, text + sizeof text, entry.userData);
    draw(&entry, &random);
    ids_[number] = number + 1;
    if (number < count) payload_ += entry.size;
  }
}

Vault::~Vault() {
  munmap(ids_, items_.size() * sizeof(uint32_t));
}

void Vault::draw(Entry* entry, Random* random) const {
  entry->offset = random->below(kOffsets);
  entry->size = DrawSize(random);
  entry->checksum = Checksum(bytesOf(*entry));
}

uint64_t Vault::leastSize(const std::vector<uint32_t>& numbers) const {
  constexpr uint64_t kBlockSize = 1024, kPacketCapacity = 1000, kRecordHeaderSize = 20;
  constexpr uint64_t kRecordSize = kRecordHeaderSize + sizeof Entry::userData;
  const auto blocksFor = [](uint64_t size) { return (size + kPacketCapacity - 1) / kPacketCapacity; };
  uint64_t blocks = blocksFor(numbers.size() * kRecordSize);
  for (const uint32_t number : numbers) blocks += blocksFor(items_[number].size);
  return blocks * kBlockSize;
}

Item Vault::item(uint32_t number) const {
  const Entry& entry = items_[number];
  return {ids_[number], entry.kind, {entry.userData, kUserDataLength}, bytesOf(entry)};
}

void Vault::change(uint32_t number, Random* random) {
  draw(&items_[number], random);
}

std::vector<uint32_t> Vault::shuffled(uint64_t seed) const {
  std::vector<uint32_t> numbers(count_);
  std::iota(numbers.begin(), numbers.end(), 0U);
  Random random(seed);
  for (uint32_t left = count_; left > 1; --left) std::swap(numbers[left - 1], numbers[random.below(left)]);
  return numbers;
}

void Vault::verify(uint32_t number, std::string_view bytes) const {
  const Entry& entry = items_[number];
  if (bytes.size() == entry.size && Checksum(bytes) == entry.checksum) return;
  throw std::runtime_error("item " + std::to_string(number) + " came back wrong");
}

}  // namespace bench
