#include "nodepool.h"

#include "model.h"

namespace {

// Every free node in the order in which it will be handed out, kept beside the pool.
void PlayPool(Random& random, int32_t nodeNum, int32_t nodeSize) {
  CommonPool* pool = CreateCommonPool(nodeNum, nodeSize);
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(pool->nodeArea, reinterpret_cast<unsigned char*>(pool + 1));
  const auto size = static_cast<size_t>(nodeSize), link = std::min(size, sizeof(void*));
  std::vector<unsigned char*> free, held;
  for (int32_t i = nodeNum; i > 0; --i) free.push_back(pool->nodeArea + (i - 1) * nodeSize);
  const std::vector<unsigned char*> area(free.rbegin(), free.rend());
  const std::vector<unsigned char> zeros(size);
  for (int step = 0; step < 500; ++step) {
    if (held.empty() || random.below(100) < 55) {
      held.push_back(static_cast<unsigned char*>(pool->GetCommonNode(pool)));
      ASSERT_NE(held.back(), nullptr);
      if (free.empty()) {
        EXPECT_EQ(std::count(area.begin(), area.end(), held.back()), 0);
      } else {
        EXPECT_EQ(held.back(), free.back());
        EXPECT_EQ(std::memcmp(held.back(), zeros.data(), size), 0);
        free.pop_back();
      }
      std::memset(held.back(), 0xAA, size);
    } else {
      std::swap(held[random.below(held.size())], held.back());
      unsigned char* node = held.back();
      held.pop_back();
      pool->FreeCommonNode(node, pool);
      if (std::count(area.begin(), area.end(), node) == 1) {
        free.push_back(node);
        // What the caller left in it is gone, but for the link.
        EXPECT_EQ(std::memcmp(node + link, zeros.data(), size - link), 0);
      }
    }
    ASSERT_EQ(pool->freeNum, static_cast<int32_t>(free.size()));
    ASSERT_EQ(pool->freeList, free.empty() ? nullptr : free.back());
  }
  for (void* node : held) pool->FreeCommonNode(node, pool);
  ReleaseCommonPool(pool);
}

TEST(CommonPool, HandsOutAndTakesBackLikeAStackWithAHeapBehindIt) {
  Random random;
  for (const int32_t nodeNum : {1, 3, 40}) {
    for (const int32_t nodeSize : {4, 5, 7, 8, 9, 16, 33}) {
      SCOPED_TRACE(testing::Message() << nodeNum << " nodes of " << nodeSize);
      PlayPool(random, nodeNum, nodeSize);
    }
  }
  for (const int32_t nodeNum : {0, -1, INT32_MAX}) EXPECT_EQ(CreateCommonPool(nodeNum, 4096), nullptr);
}

}  // namespace
