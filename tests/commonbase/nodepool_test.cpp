#include "nodepool.h"

#include <set>

#include "model.h"

namespace {

TEST(CommonPool, HandsOutAndTakesBackLikeAStackWithAHeapBehindIt) {
  Random random;
  for (const int32_t nodeSize : {4, 5, 7, 8, 9, 16, 33, 9, 8, 7, 5, 4}) {  // in used memory as well
    SCOPED_TRACE(nodeSize);
    const auto size = static_cast<size_t>(nodeSize), link = std::min(size, sizeof(void*));
    CommonPool* pool = CreateCommonPool(1 + static_cast<int32_t>(random.below(40)), nodeSize);
    ASSERT_EQ(pool->nodeArea, reinterpret_cast<unsigned char*>(pool + 1));
    std::vector<unsigned char*> free, held;  // the free ones with the next one last
    for (int32_t i = pool->nodeNum; i > 0; --i) free.push_back(pool->nodeArea + (i - 1) * nodeSize);
    const std::set<unsigned char*> area(free.begin(), free.end());
    const std::vector<unsigned char> zeros(size);
    for (int step = 0; step < 1000; ++step) {
      if (held.empty() || random.below(100) < 55) {
        auto* node = static_cast<unsigned char*>(pool->GetCommonNode(pool));
        EXPECT_TRUE(free.empty() ? area.count(node) == 0 : node == free.back());
        if (!free.empty()) {
          EXPECT_EQ(std::memcmp(node, zeros.data(), size), 0);
          free.pop_back();
        }
        held.push_back(static_cast<unsigned char*>(std::memset(node, 0xAA, size)));
      } else {
        std::swap(held[random.below(held.size())], held.back());
        unsigned char* node = held.back();
        held.pop_back();
        pool->FreeCommonNode(node, pool);
        if (area.count(node) == 1) {
          free.push_back(node);
          EXPECT_EQ(std::memcmp(node + link, zeros.data(), size - link), 0) << "wiped but for the link";
        }
      }
      ASSERT_EQ(pool->freeNum, static_cast<int32_t>(free.size()));
      ASSERT_EQ(pool->freeList, free.empty() ? nullptr : free.back());
    }
    for (void* node : held) pool->FreeCommonNode(node, pool);
    ReleaseCommonPool(pool);
  }
  for (const int32_t nodeNum : {0, -1, INT32_MAX}) EXPECT_EQ(CreateCommonPool(nodeNum, 4096), nullptr);
}

}  // namespace
