// The block checksum over 1016 bytes (header and data area): the definition, the fast way, and the memory's
// speed.
#include "storage/checksum.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

constexpr size_t kLength = 1016;
constexpr size_t kBlocks = 4096;  // 4 MiB: more than the fastest caches hold

std::vector<uint8_t> MakeBlocks() {
  std::vector<uint8_t> bytes(kBlocks * 1024);
  uint32_t value = 1;
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((value = value * 1664525 + 1013904223) >> 24);
  return bytes;
}

// Runs `work` over block after block.
template <typename Work>
void OverBlocks(benchmark::State& state, Work work) {
  const std::vector<uint8_t> bytes = MakeBlocks();
  size_t block = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(work(&bytes[block * 1024]));
    block = (block + 1) % kBlocks;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLength));
}

void ChecksumBitwise(benchmark::State& state) {
  OverBlocks(state, [](const uint8_t* bytes) {
    uint32_t sum = 0;
    for (size_t i = 0; i < kLength; ++i)
      sum = storage::UpdateCRCValue(sum, bytes[i], storage::kCrcPolynomial);
    return sum;
  });
}
BENCHMARK(ChecksumBitwise);

void Checksum(benchmark::State& state) {
  OverBlocks(state, [](const uint8_t* bytes) { return storage::GetCRCValue(bytes, kLength); });
}
BENCHMARK(Checksum);

void SumOfWords(benchmark::State& state) {
  OverBlocks(state, [](const uint8_t* bytes) {
    uint64_t sum = 0;
    for (size_t i = 0; i < kLength; i += sizeof sum) {
      uint64_t word;
      std::memcpy(&word, bytes + i, sizeof word);
      sum += word;
    }
    return sum;
  });
}
BENCHMARK(SumOfWords);

}  // namespace
