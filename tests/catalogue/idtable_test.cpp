// An ID table against a plain list by slot: what each key finds, however many records share it.

#include "catalogue/idtable.h"

#include <map>

#include "tests/commonbase/random.h"

namespace {

using catalogue::ItemIdRecord;

TEST(IdTable, FindsTheLowestSlotOfEveryKey) {
  static const PmChar kTexts[][2] = {{}, {'a'}};
  Random random;
  catalogue::IdTable table;
  std::map<uint32_t, ItemIdRecord*> model;  // by slot
  const auto first = [&](auto matches) {
    const auto found =
        std::find_if(model.begin(), model.end(), [&](auto& entry) { return matches(entry.second); });
    return found == model.end() ? nullptr : found->second;
  };
  for (uint32_t step = 0; step < 6000; ++step) {
    const auto id = static_cast<uint32_t>(random.below(50));
    const auto kind = static_cast<uint32_t>(random.below(2));
    const PmChar* text = kTexts[random.below(2)];
    if (random.below(10) < (step % 2000 < 1000 ? 7 : 3)) {
      const auto size = static_cast<uint32_t>(random.oneIn(9) ? 0 : catalogue::UserDataSize(text));
      ItemIdRecord* record = table.make(id, kind, text, size);
      ASSERT_TRUE(record != nullptr && table.reserve());
      table.add(record);
      ASSERT_TRUE(model.emplace(record->slot, record).second);
    } else if (!model.empty()) {
      const auto taken = random.oneIn(3)
                             ? model.begin()
                             : std::next(model.begin(), static_cast<ptrdiff_t>(random.below(model.size())));
      table.remove(taken->second);
      table.release(taken->second);
      model.erase(taken);
    }
    if (step < 500) continue;  // the indexes are made when they are first asked for
    ASSERT_EQ(table.find(id), first([&](ItemIdRecord* record) { return record->itemId == id; }));
    ASSERT_EQ(table.findByUserData(kind, text), first([&](ItemIdRecord* record) {
                return record->kind == kind && record->userDataSize != 0 && record->userData()[0] == *text;
              }));
  }
}

}  // namespace
