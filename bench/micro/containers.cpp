// The exported containers, and the engine's set of numbers.
#include <benchmark/benchmark.h>

#include <vector>

#include "commonbase/src/numberset.h"
#include "pmstore.h"

namespace {

// Different values for the numbers from 0 on, in no order.
uint32_t Scatter(uint32_t number) {
  return (number + 1) * 2654435761U;
}

void* AsElement(uint32_t value) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(value));
}

// A tree of plain values: its elements need no storage and so no release.
AvlTree* NewTree(uint32_t count) {
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, static_cast<int32_t>(count), nullptr, 0);
  tree->FreeAvlElement = [](void*, void*) {};
  for (uint32_t i = 0; i < count; ++i) InsertAvlNode(AsElement(Scatter(i)), tree, tree->root);
  return tree;
}

void NodePoolTakeAndGive(benchmark::State& state) {
  CommonPool* pool = CreateCommonPool(256, 32);
  for (auto _ : state) {
    void* node = pool->GetCommonNode(pool);
    benchmark::DoNotOptimize(node);
    pool->FreeCommonNode(node, pool);
  }
  pool->FreeCommonPool(pool);
}
BENCHMARK(NodePoolTakeAndGive);

void SListAppend(benchmark::State& state) {
  const auto count = static_cast<int32_t>(state.range(0));
  for (auto _ : state) {
    SList* list = CreateEmptysList(count);
    for (int32_t i = 0; i < count; ++i) AppendNodeTosList(AsElement(static_cast<uint32_t>(i)), list);
    FreesList(list);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(SListAppend)->Arg(10)->Arg(1000);

void AvlTreeInsert(benchmark::State& state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) ReleaseAvlTree(NewTree(count));
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(AvlTreeInsert)->Arg(1000)->Arg(100000);

void AvlTreeFind(benchmark::State& state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  AvlTree* tree = NewTree(count);
  uint32_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(FindAvlNode(AsElement(Scatter(next)), tree, tree->root));
    next = (next + 7919) % count;
  }
  state.SetItemsProcessed(state.iterations());
  ReleaseAvlTree(tree);
}
BENCHMARK(AvlTreeFind)->Arg(1000)->Arg(100000);

void DListInsert(benchmark::State& state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    DList list;
    DLCreate(&list);
    for (uint32_t i = 0; i < count; ++i) DLInsert(&i, sizeof i, &list);
    DLDestroy(&list);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(DListInsert)->Arg(1000);

// Fills a set of so many numbers in no order and takes the lowest until it is empty.
void NumberSetFillAndDrain(benchmark::State& state) {
  const auto count = static_cast<uint32_t>(state.range(0));
  commonbase::NumberSet set;
  if (!set.reserve(count)) state.SkipWithError("no memory");
  for (auto _ : state) {
    for (uint32_t i = 0; i < count; ++i) set.insert(Scatter(i) % count);
    while (!set.empty()) set.erase(set.lowest());
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(NumberSetFillAndDrain)->Arg(1000)->Arg(1000000);

}  // namespace
