#include "nodepool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "random.h"

namespace {

// Every free node in the order in which it will be handed out, kept beside the pool.
void PlayPool(Random& random, int32_t nodeNum, int32_t nodeSize) {
  CommonPool* pool = CreateCommonPool(nodeNum, nodeSize);
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(pool->nodeArea, reinterpret_cast<unsigned char*>(pool + 1));
  std::vector<void*> free, held;
  for (int32_t i = nodeNum; i > 0; --i) free.push_back(pool->nodeArea + (i - 1) * nodeSize);

  const auto size = static_cast<size_t>(nodeSize);
  const std::vector<unsigned char> zeros(size, 0);
  for (int step = 0; step < 500; ++step) {
    if (held.empty() || random.below(100) < 55) {
      void* node = pool->GetCommonNode(pool);
      ASSERT_NE(node, nullptr);
      if (free.empty()) {
        const auto* address = static_cast<unsigned char*>(node);
        EXPECT_TRUE(address < pool->nodeArea || address >= pool->nodeArea + nodeNum * nodeSize);
      } else {
        EXPECT_EQ(node, free.back());
        EXPECT_EQ(std::memcmp(node, zeros.data(), size), 0);
        free.pop_back();
      }
      std::memset(node, 0xAA, size);
      held.push_back(node);
    } else {
      std::swap(held[random.below(held.size())], held.back());
      const auto* address = static_cast<unsigned char*>(held.back());
      const bool ofArea = address >= pool->nodeArea && address < pool->nodeArea + nodeNum * nodeSize;
      if (ofArea) free.push_back(held.back());
      pool->FreeCommonNode(held.back(), pool);
      held.pop_back();
      // What the caller left in it is gone, but for the link.
      const size_t link = std::min(size, sizeof(void*));
      if (ofArea) {
        EXPECT_EQ(std::memcmp(address + link, zeros.data(), size - link), 0);
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
}

TEST(CommonPool, RefusesWhatItCannotHoldAndReportsTooSmallNodes) {
  struct {
    int32_t nodeNum, nodeSize;
    bool reported;
  } const cases[] = {{1, 3, true},
                     {0, -1, true},
                     {1, INT32_MIN, true},
                     {0, 8, false},
                     {-1, 8, false},
                     {INT32_MAX, INT32_MAX, false},
                     {INT32_MIN, INT32_MIN, true},
                     {1 << 20, 4096, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.nodeNum << " nodes of " << c.nodeSize);
    testing::internal::CaptureStdout();
    EXPECT_EQ(CreateCommonPool(c.nodeNum, c.nodeSize), nullptr);
    const std::string report = testing::internal::GetCapturedStdout();
    if (c.reported) {
      int line = 0, end = 0;
      std::sscanf(report.c_str(),
                  "[ Assert Failed! commonbase/src/nodepool, CreateCommonPool, %d ] Node Size too small!%n",
                  &line, &end);
      EXPECT_GT(line, 0) << report;
      EXPECT_EQ(report.substr(static_cast<size_t>(end)), "\n");
    } else {
      EXPECT_EQ(report, "");
    }
  }
}

}  // namespace
