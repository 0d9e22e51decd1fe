// Pools, and what any of the containers prints when its caller breaks a precondition.
#include "nodepool.h"

#include <set>

#include "avltree.h"
#include "model.h"
#include "slist.h"

namespace {

TEST(CommonPool, HandsOutAndTakesBackLikeAStackWithAHeapBehindIt) {
  Random random;
  for (const int32_t nodeSize : {4, 5, 7, 8, 9, 16, 33, 9, 8, 7, 5, 4}) {  // in used memory as well
    SCOPED_TRACE(nodeSize);
    const auto size = static_cast<size_t>(nodeSize), link = std::min(size, sizeof(void*));
    CommonPool* pool = CreateCommonPool(1 + static_cast<int32_t>(random.below(40)), nodeSize);
    ASSERT_EQ(pool->nodeArea, reinterpret_cast<unsigned char*>(pool + 1));
    std::vector<unsigned char*> free, held;  // the free ones with the next one last
    for (int32_t i = pool->nodeNum; i-- > 0;) free.push_back(pool->nodeArea + i * nodeSize);
    const std::set<unsigned char*> area(free.begin(), free.end());
    const auto isZero = [](unsigned char* from, unsigned char* to) {
      return std::count(from, to, 0) == to - from;
    };
    for (int step = 0; step < 1000; ++step) {
      if (held.empty() || random.below(100) < 55) {
        held.push_back(static_cast<unsigned char*>(pool->GetCommonNode(pool)));
        EXPECT_TRUE(free.empty() ? area.count(held.back()) == 0 : held.back() == free.back());
        EXPECT_TRUE(free.empty() || isZero(held.back(), held.back() + size));
        std::memset(held.back(), 0xAA, size);
        if (!free.empty()) free.pop_back();
      } else {
        std::swap(held[random.below(held.size())], held.back());
        unsigned char* node = held.back();
        held.pop_back();
        pool->FreeCommonNode(node, pool);
        if (area.count(node) == 0) continue;
        free.push_back(node);
        EXPECT_TRUE(isZero(node + link, node + size)) << "wiped but for the link";
      }
      ASSERT_EQ(pool->freeNum, static_cast<int32_t>(free.size()));
      ASSERT_EQ(pool->freeList, free.empty() ? nullptr : free.back());
    }
    for (void* node : held) pool->FreeCommonNode(node, pool);
    ReleaseCommonPool(pool);
  }
  for (const int32_t nodeNum : {0, -1, INT32_MAX}) EXPECT_EQ(CreateCommonPool(nodeNum, 4096), nullptr);
}

TEST(Assertion, NamesThePlaceAndTheBrokenPrecondition) {
  SList* list = CreateEmptysList(1);
  const struct {
    const void* (*call)(SList* list);
    const char *place, *text;
  } rows[] = {{[](SList*) -> const void* { return InsertAvlNode(nullptr, nullptr, nullptr); },
               "avltree, InsertAvlNode, ", " ] Can't InsertAvlNode the empty tree!\n\n"},
              {[](SList* l) -> const void* { return FindInsList("x", l); }, "slist, FindInsList, ",
               " ] Must set the CmpsListNode function\n"},
              {[](SList*) -> const void* { return CreateCommonPool(1, 3); }, "nodepool, CreateCommonPool, ",
               " ] Node Size too small!\n"},
              {[](SList*) -> const void* { return CreateCommonPool(0, INT32_MIN); },
               "nodepool, CreateCommonPool, ", " ] Node Size too small!\n"}};
  for (const auto& [call, place, text] : rows) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(call(list), nullptr);
    const std::string printed = testing::internal::GetCapturedStdout();
    const std::string head = "[ Assert Failed! commonbase/src/" + std::string(place);
    const size_t line = printed.find_first_not_of("0123456789", head.size());
    EXPECT_EQ(printed.substr(0, head.size()), head);
    EXPECT_EQ(printed.substr(std::min(line, printed.size())), text);
    EXPECT_GT(std::atoi(printed.c_str() + std::min(head.size(), printed.size())), 0)
        << "the number of a line";
  }
  FreesList(list);
}

}  // namespace
