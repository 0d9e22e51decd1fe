// The set of numbers beside the standard one.
#include "commonbase/src/numberset.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/support/random.h"

namespace {

using commonbase::NumberSet;

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
