// Building a block from an item's bytes, by how full it gets, and checking one.
#include <benchmark/benchmark.h>

#include <string>

#include "storage/format.h"
#include "storage/pack.h"

namespace {

void PackItemData(benchmark::State& state) {
  const auto size = static_cast<uint32_t>(state.range(0));
  const std::string bytes(size, 'x');
  uint8_t block[storage::kBlockSize];
  for (auto _ : state) {
    storage::PackItemData(1, reinterpret_cast<const uint8_t*>(bytes.data()), size, 0, block);
    benchmark::DoNotOptimize(block);
  }
  state.SetBytesProcessed(state.iterations() * storage::kBlockSize);
}
BENCHMARK(PackItemData)->Arg(20)->Arg(500)->Arg(1000);

void CheckPacket(benchmark::State& state) {
  const auto size = static_cast<uint32_t>(state.range(0));
  const std::string bytes(size, 'x');
  uint8_t block[storage::kBlockSize];
  storage::PackItemData(1, reinterpret_cast<const uint8_t*>(bytes.data()), size, 0, block);
  for (auto _ : state) benchmark::DoNotOptimize(storage::CheckPacket(block));
  state.SetBytesProcessed(state.iterations() * storage::kBlockSize);
}
BENCHMARK(CheckPacket)->Arg(20)->Arg(500)->Arg(1000);

}  // namespace
