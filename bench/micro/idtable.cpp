// An ID table of so many records: adding, both ways of finding, removing.
#include "catalogue/idtable.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

using catalogue::IdTable;
using catalogue::ItemIdRecord;

std::u16string UserData(uint32_t number) {
  char text[24];
  const int length = std::snprintf(text, sizeof text, "account-%012u", number);
  return {text, text + length};
}

uint32_t Id(uint32_t number) {
  return (number + 1) * 2654435761U;
}

void Fill(IdTable* table, uint32_t count) {
  for (uint32_t number = 0; number < count; ++number) {
    const std::u16string userData = UserData(number);
    const auto size = static_cast<uint32_t>((userData.size() + 1) * sizeof(char16_t));
    if (table->reserve()) table->add(table->make(Id(number), 1 + number % 4, userData.c_str(), size));
  }
}

void IdTableFill(benchmark::State& state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    IdTable table;
    Fill(&table, count);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(IdTableFill)->Arg(1000)->Arg(100000);

// Measures `step` on one record of a full table after the other, far from each other.
template <typename Step>
void OnEachRecord(benchmark::State& state, Step step) {
  const auto count = static_cast<uint32_t>(state.range(0));
  IdTable table;
  Fill(&table, count);
  uint32_t next = 0;
  for (auto _ : state) {
    step(&table, next);
    next = (next + 7919) % count;
  }
  state.SetItemsProcessed(state.iterations());
}

void IdTableFindById(benchmark::State& state) {
  OnEachRecord(state,
               [](IdTable* table, uint32_t number) { benchmark::DoNotOptimize(table->find(Id(number))); });
}
BENCHMARK(IdTableFindById)->Arg(1000)->Arg(100000);

void IdTableFindByUserData(benchmark::State& state) {
  std::vector<std::u16string> userData;
  for (uint32_t number = 0; number < state.range(0); ++number) userData.push_back(UserData(number));
  OnEachRecord(state, [&userData](IdTable* table, uint32_t number) {
    benchmark::DoNotOptimize(table->findByUserData(1 + number % 4, userData[number].c_str()));
  });
}
BENCHMARK(IdTableFindByUserData)->Arg(1000)->Arg(100000);

// Takes one record out and puts it back, which costs a freed slot and its use.
void IdTableRemoveAndAdd(benchmark::State& state) {
  OnEachRecord(state, [](IdTable* table, uint32_t number) {
    ItemIdRecord* record = table->find(Id(number));
    table->remove(record);
    if (table->reserve()) table->add(record);
  });
}
BENCHMARK(IdTableRemoveAndAdd)->Arg(1000)->Arg(100000);

}  // namespace
