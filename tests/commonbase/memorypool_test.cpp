// The pool of memory beside what memory is: blocks that nobody else writes into, aligned, as large as asked for.
#include "commonbase/src/memorypool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "tests/support/random.h"

namespace {

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
