// What hands out pieces of memory: the pool of nodes, a tree's areas of nodes and elements, and the library's own pool.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "avltree.h"
#include "commonbase/src/memorypool.h"
#include "nodepool.h"
#include "tests/support/random.h"

namespace {

TEST(CommonPool, HandsOutAndTakesBackLikeAStackWithAHeapBehindIt) {
  constexpr int kOrder[] = {6, 3, 0, 4, 1, 2, 5};                          // 5 and 6 are from the heap
  for (const int32_t nodeSize : {4, 5, 7, 8, 9, 16, 33, 9, 8, 7, 5, 4}) {  // in used memory as well
    SCOPED_TRACE(nodeSize);
    const auto size = static_cast<size_t>(nodeSize), link = std::min(size, sizeof(void*));
    CommonPool* pool = CreateCommonPool(5, nodeSize);
    ASSERT_EQ(pool->nodeArea, reinterpret_cast<unsigned char*>(pool + 1));
    unsigned char* held[7];
    for (int i = 0; i < 7; ++i) {
      held[i] = static_cast<unsigned char*>(pool->GetCommonNode(pool));
      EXPECT_EQ(held[i] == pool->nodeArea + i * nodeSize, i < 5);
      EXPECT_EQ(i < 5 ? std::count(held[i], held[i] + size, 0) : nodeSize, nodeSize);
      EXPECT_EQ(pool->freeNum, std::max(4 - i, 0));
      std::memset(held[i], 0xAA, size);
    }
    for (const int i : kOrder) {
      pool->FreeCommonNode(held[i], pool);
      if (i >= 5) continue;
      EXPECT_EQ(pool->freeList, held[i]);
      EXPECT_EQ(std::count(held[i] + link, held[i] + size, 0), size - link) << "wiped but for the link";
    }
    for (const int i : {2, 1, 4, 0, 3}) EXPECT_EQ(pool->GetCommonNode(pool), held[i]);
    EXPECT_EQ(pool->freeList, nullptr);
    ReleaseCommonPool(pool);
  }
  for (const int32_t nodeNum : {0, -1, INT32_MAX}) EXPECT_EQ(CreateCommonPool(nodeNum, 4096), nullptr);
}

TEST(AvlTree, CyclesItsAreasAndGoesToTheHeapPastThem) {
  for (const int32_t size : {4, 6, 8, 40}) {
    SCOPED_TRACE(size);
    AvlTree* tree = CreateAvlTree(nullptr, nullptr, 2, nullptr, size);
    tree->CmpAvlNode = [](const void* a, const void* b) {
      return static_cast<int32_t>(std::memcmp(a, b, 4));
    };
    auto* area = static_cast<unsigned char*>(tree->elementArea);
    void* elements[3];
    for (int i = 0; i < 3; ++i) {
      elements[i] = std::memset(tree->GetAvlElement(tree), 'a' + i, static_cast<size_t>(size));
      InsertAvlNode(elements[i], tree, tree->root);
    }
    EXPECT_EQ(elements[0], area);
    EXPECT_EQ(elements[1], area + size);
    EXPECT_EQ(tree->freeElements, nullptr);
    EXPECT_EQ(tree->root, &tree->nodeArea[1]);
    for (const int freed : {0, 1}) {  // the heap's, and then the area's
      DeleteAvlNode(freed == 0 ? "cccc" : "aaaa", tree, tree->root);
      EXPECT_EQ(tree->freeElementNum, freed);
      EXPECT_EQ(tree->freeNodeNum, freed);
    }
    EXPECT_EQ(tree->freeNodes, tree->nodeArea);
    EXPECT_EQ(tree->GetAvlElement(tree), area);
    EXPECT_EQ(std::count(area, area + size, '\0'), size);
    for (void* element : {area, static_cast<unsigned char*>(nullptr)}) tree->FreeAvlElement(tree, element);
    ReleaseAvlTree(tree);
  }
}

TEST(AvlTree, CreationTakesOnlyWhatCanWork) {
  EXPECT_EQ(GetAvlNodeSize(), sizeof(AvlNode));
  auto header = static_cast<AvlTree*>(std::memset(Malloc(sizeof(AvlTree)), 0, sizeof(AvlTree)));
  const int32_t kRefused[][2] = {{0, 8},        {-1, 8}, {1, 1}, {1, 3}, {INT32_MAX, 8}, {1 << 20, 1 << 20},
                                 {1, INT32_MIN}};
  for (const auto& [count, size] : kRefused) {
    for (AvlTree* own : {static_cast<AvlTree*>(nullptr), header})  // which stays the caller's
      EXPECT_EQ(CreateAvlTree(own, nullptr, count, nullptr, size), nullptr) << count << ", " << size;
  }
  EXPECT_EQ(CreateAvlTree(header, nullptr, 70000, nullptr, -24), header);
  EXPECT_EQ(header->elementSize, 24);
  EXPECT_EQ(header->elementArea, nullptr);
  EXPECT_EQ(header->freeNodeNum, static_cast<int16_t>(70000 - 65536));
  InsertAvlNode(header->GetAvlElement(header), header, header->root);
  ReleaseAvlTree(header);
}

TEST(MemoryPool, HandsOutBlocksThatKeepWhatIsPutIntoThem) {
  Random random;
  commonbase::MemoryPool pool;
  std::vector<std::pair<unsigned char*, size_t>> held;  // filled with the low byte of their sizes
  for (int step = 0; step < 20000 || !held.empty(); ++step) {
    if (random.oneIn(50)) pool.expect(random.below(8 << 20));
    if (step < 20000 && !random.oneIn(step / 2000 % 2 == 0 ? 3 : 2)) {
      const size_t size = random.below(random.oneIn(300) ? 3 << 20 : random.oneIn(3) ? 30000 : 100);
      held.emplace_back(static_cast<unsigned char*>(pool.take(size)), size);
      ASSERT_EQ(reinterpret_cast<uintptr_t>(held.back().first) % alignof(std::max_align_t), 0u);
      std::memset(held.back().first, static_cast<int>(size & 0xFF), size);
    } else if (!held.empty()) {
      std::swap(held[random.below(held.size())], held.back());
      const auto [bytes, size] = held.back();
      held.pop_back();
      ASSERT_EQ(std::count(bytes, bytes + size, size & 0xFF), static_cast<ptrdiff_t>(size));
      pool.give(bytes, size);
    }
  }
  ASSERT_EQ(pool.taken(), 0u);
}

}  // namespace
