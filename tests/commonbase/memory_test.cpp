// What hands out pieces of memory, how a caller's broken precondition is reported, and the set of numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>

#include "avltree.h"
#include "commonbase/src/numberset.h"
#include "nodepool.h"
#include "slist.h"
#include "tests/support/random.h"

namespace {

using commonbase::NumberSet;

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

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  SList* list = CreateEmptysList(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(InsertAvlNode(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(FindInsList("x", list), nullptr);
  for (const auto& [nodeNum, size] : {std::pair(1, 3), {0, INT32_MIN}})
    EXPECT_EQ(CreateCommonPool(nodeNum, size), nullptr);
  const std::string place = "[ Assert Failed! commonbase/src/",
                    tooSmall = "nodepool, CreateCommonPool,  ] Node Size too small!\n";
  std::string printed = testing::internal::GetCapturedStdout();
  printed.erase(std::remove_if(printed.begin(), printed.end(), [](char c) { return std::isdigit(c) != 0; }),
                printed.end());
  EXPECT_EQ(printed, place + "avltree, InsertAvlNode,  ] Can't InsertAvlNode the empty tree!\n\n" + place +
                         "slist, FindInsList,  ] Must set the CmpsListNode function\n" + place + tooSmall +
                         place + tooSmall);
  FreesList(list);
}

TEST(NumberSet, IsASetWhateverTheLimit) {
  Random random;
  for (const uint32_t limit : {1u, 64u, 65u, 4096u, 4097u, 300000u}) {
    SCOPED_TRACE(limit);
    NumberSet set;
    std::set<uint32_t> model;
    uint32_t room = 0;
    for (int step = 0; step < 4000; ++step) {
      if (room < limit && (room == 0 || random.oneIn(1000))) {
        room = step > 3000 ? limit : 1 + random.below(limit);
        ASSERT_TRUE(set.reserve(room));
      }
      // The bounds of words are where such a set goes wrong.
      uint32_t number = random.below(room);
      if (random.oneIn(2)) number = std::min(number / 64 * 64 + (random.oneIn(2) ? 0 : 63), room - 1);
      if (random.oneIn(2)) {
        set.insert(number);
        model.insert(number);
      } else {
        if (random.oneIn(2) && !model.empty()) number = *model.lower_bound(std::min(number, *model.rbegin()));
        set.erase(number);
        model.erase(number);
      }
      if (random.oneIn(1500)) set.clear(), model.clear();
      const auto next = model.lower_bound(number);
      ASSERT_EQ(set.next(number), next == model.end() ? NumberSet::kNone : *next);
      ASSERT_EQ(set.lowest(), model.empty() ? NumberSet::kNone : *model.begin());
      ASSERT_EQ(set.contains(number), model.count(number) == 1);
      ASSERT_EQ(set.count(), model.size());
    }
  }
}

}  // namespace
