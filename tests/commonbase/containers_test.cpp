// The containers that the layers above keep their records in.

#include <set>

#include "commonbase/src/chaintable.h"
#include "commonbase/src/growarray.h"
#include "commonbase/src/numberset.h"
#include "commonbase/src/slabpool.h"
#include "model.h"

namespace {

TEST(NumberSet, IsASetWhateverTheLimit) {
  Random random;
  for (const uint32_t limit : {1u, 64u, 65u, 4096u, 4097u, 300000u}) {
    SCOPED_TRACE(limit);
    commonbase::NumberSet set;
    std::set<uint32_t> model;
    uint32_t room = 0;
    for (int step = 0; step < 4000; ++step) {
      if (room < limit && (room == 0 || random.oneIn(1000))) {
        room = step > 3000 ? limit : 1 + static_cast<uint32_t>(random.below(limit));
        ASSERT_TRUE(set.reserve(room));
      }
      // The bounds of words are where such a set goes wrong.
      auto number = static_cast<uint32_t>(random.below(room));
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
      ASSERT_EQ(set.next(number), next == model.end() ? commonbase::NumberSet::kNone : *next);
      ASSERT_EQ(set.lowest(), model.empty() ? commonbase::NumberSet::kNone : *model.begin());
      ASSERT_TRUE(set.contains(number) == (model.count(number) == 1) && set.count() == model.size());
    }
  }
}

struct Record {
  uint32_t hash;
  unsigned char bytes[37];
  Record* next;
};

uint32_t Hash(const Record* record) {
  return record->hash;
}

TEST(Containers, KeepEveryRecordOfThePoolInTableAndArray) {
  Random random;
  commonbase::SlabPool<Record> pool;
  commonbase::ChainTable<Record, &Record::next, Hash> table;
  commonbase::GrowArray<Record*> array;
  std::set<Record*> model;
  const Record zeros = {};
  for (int step = 0; step < 20000 && !HasFailure(); ++step) {
    if (array.empty() || random.below(10) < 6) {
      Record* record = pool.take();
      ASSERT_TRUE(record != nullptr && array.reserve(array.size() + 1));
      EXPECT_TRUE(model.insert(record).second) << "handed out twice";
      EXPECT_EQ(std::memcmp(record, &zeros, sizeof zeros), 0);
      std::memset(static_cast<void*>(record), 0xAA, sizeof *record);
      record->hash = static_cast<uint32_t>(random.below(300) << random.below(24));
      array.add(record);
      table.insert(record);
    } else {
      std::swap(array[static_cast<uint32_t>(random.below(array.size()))], *(array.end() - 1));
      Record* record = *(array.end() - 1);
      array.removeLast();
      table.remove(record);
      model.erase(record);
      pool.give(record);
    }
    if (random.oneIn(2000)) table.expect(static_cast<uint32_t>(random.below(10000)));
    if (step % 64 != 0) continue;
    std::set<Record*> listed, chained;
    for (Record* record : array) {
      Record* each = table.chain(record->hash);
      while (each != nullptr && each != record) each = each->next;
      listed.insert(each);
    }
    EXPECT_TRUE(table.forEach([&](Record* record) { return chained.insert(record).second; }));
    EXPECT_TRUE(listed == model && chained == model && table.count() == model.size());
    EXPECT_TRUE(model.empty() || !table.forEach([](Record*) { return false; }));
    EXPECT_FALSE(array.reserve(UINT32_MAX));
  }
  table.clear([&](Record* record) { EXPECT_EQ(model.erase(record), 1u); });
  EXPECT_TRUE(model.empty() && table.count() == 0);
}

}  // namespace
