#include "dlist.h"

#include "model.h"

namespace {

using Strings = std::vector<std::string>;

std::string Take(const void* data, size_t length) {
  return {static_cast<const char*>(data), length};
}

// By the first character only, so that elements can be equal in the caller's sense.
int32_t Order(const void* present, uint32_t presentLength, const void* added, uint32_t addedLength) {
  const int order = Take(added, addedLength).substr(0, 1).compare(Take(present, presentLength).substr(0, 1));
  return order < 0 ? 1 : order > 0 ? 2 : 0;  // 2 means no more than 0 does
}

// Elements that a search may meet are at least as long as the key.
int32_t Match(const void* present, const void* key, uint32_t keyLength) {
  return std::memcmp(present, key, keyLength) == 0 ? 1 : -1;
}

// What a walk meets, and the length that it ends with.
template <typename First, typename Next>
Strings Walk(DList* list, First first, Next next, uint32_t* length) {
  Strings met;
  for (void* data = first(length, list); data != nullptr; data = next(length, list))
    met.push_back(Take(data, *length));
  return met;
}

TEST(DList, BehavesLikeASequence) {
  Random random;
  for (const bool sorted : {false, true}) {
    DList list = {};
    Strings model;
    list.count = 77;
    EXPECT_EQ(DLCreate(&list), 0);
    for (int step = 0; step < 5000 && !testing::Test::HasFailure(); ++step) {
      std::string text(2 + random.below(4), random.letter(8));
      text.back() = random.letter(26);
      const auto length = static_cast<uint32_t>(text.size());
      const auto found = std::find_if(model.begin(), model.end(), [&](auto& m) { return m[0] == text[0]; });
      if (random.below(10) < (step / 50 % 2 == 0 ? 8u : 1u)) {  // grows, shrinks to nothing
        const auto goesBefore = [&](const std::string& m) { return sorted && text[0] < m[0]; };
        model.insert(std::find_if(model.begin(), model.end(), goesBefore), text);
        EXPECT_EQ(
            sorted ? DLInsertSort(text.data(), length, Order, &list) : DLInsert(text.data(), length, &list),
            0);
        text.assign(text.size(), '!');  // the list has its own copy
      } else if (random.oneIn(3)) {
        EXPECT_EQ(DLDelToTail(&list), 0);
        if (!model.empty()) model.pop_back();
      } else {
        const void* data = DLFindData(Match, text.data(), 1, &list);
        ASSERT_EQ(data != nullptr, found != model.end());
        EXPECT_TRUE(data == nullptr || Take(data, found->size()) == *found);
        EXPECT_EQ(DLDelByData(Match, text.data(), 1, &list), data == nullptr     ? -1
                                                             : model.size() == 1 ? 1
                                                                                 : 0);
        if (data != nullptr) model.erase(found);
      }
      uint32_t end = 77;
      ASSERT_EQ(Walk(&list, DLGetFirstData, DLGetNextData, &end), model);
      ASSERT_EQ(end, model.empty() ? 77 : model.back().size()) << "left as it was";
      ASSERT_EQ(Walk(&list, DLGetFirstDataR, DLGetNextDataR, &end), Strings(model.rbegin(), model.rend()));
      ASSERT_EQ(end, 0u);
      ASSERT_EQ(list.count, model.size());
      ASSERT_EQ(list.head == list.tail, model.empty());
    }
    EXPECT_EQ(DLDestroy(&list), 0);
  }
}

TEST(DList, RefusesBadArgumentsAndChangesNothing) {
  DList list;
  EXPECT_EQ(DLCreate(&list) + DLInsert("b", 1, &list), 0);
  uint32_t length = 77;
  EXPECT_NE(DLGetFirstData(nullptr, &list), nullptr);
  const DList before = list;
  for (DList* to : {&list, static_cast<DList*>(nullptr)}) {
    EXPECT_EQ(DLInsert("a", to == nullptr ? 1 : 0, to), -1);
    EXPECT_EQ(DLInsert(nullptr, 1, to), -1);
    EXPECT_EQ(DLInsertSort(nullptr, 1, Order, to), -1);
    EXPECT_EQ(DLInsertSort("a", 1, to == nullptr ? Order : nullptr, to), -1);
    EXPECT_EQ(DLDelByData(nullptr, "b", 1, to), -1);
    EXPECT_EQ(DLDelByData(Match, "b", 0, to), -1);
    EXPECT_EQ(DLDelByData(Match, "c", 1, to), -1);
    EXPECT_EQ(DLFindData(Match, nullptr, 1, to), nullptr);
    EXPECT_EQ(DLGetFirstDataR(nullptr, to), nullptr);
    EXPECT_EQ(DLGetNextDataR(nullptr, to), nullptr);
  }
  EXPECT_EQ(DLCreate(nullptr) + DLDelToTail(nullptr) + DLDestroy(nullptr), -3);
  for (const auto walk : {DLGetFirstData, DLGetNextData, DLGetFirstDataR, DLGetNextDataR})
    EXPECT_EQ(walk(&length, nullptr), nullptr);
  EXPECT_TRUE(length == 77 && std::memcmp(&list, &before, sizeof list) == 0);

  EXPECT_EQ(DLInsertSort("", 0, Order, &list), 0);  // a length of 0 is one here
  EXPECT_EQ(Walk(&list, DLGetFirstData, DLGetNextData, &length), (Strings{"", "b"}));
  EXPECT_EQ(DLDestroy(&list), 0);
}

}  // namespace
