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

void CheckSame(DList* list, const Strings& model) {
  Strings forward, backward;
  uint32_t length = 77;
  for (void* data = DLGetFirstData(&length, list); data != nullptr; data = DLGetNextData(&length, list))
    forward.push_back(Take(data, length));
  ASSERT_EQ(length, model.empty() ? 77 : model.back().size());  // as it was
  for (void* data = DLGetFirstDataR(&length, list); data != nullptr; data = DLGetNextDataR(&length, list))
    backward.push_back(Take(data, length));
  ASSERT_EQ(length, 0u);
  ASSERT_EQ(forward, model);
  ASSERT_EQ(backward, Strings(model.rbegin(), model.rend()));
  ASSERT_EQ(list->count, model.size());
  ASSERT_EQ(list->head == list->tail, model.empty());
}

TEST(DList, BehavesLikeASequenceUnderRandomOperations) {
  Random random;
  DList list = {};
  Strings model;
  bool sorted = false;
  for (int step = 0; step < 10000 && !testing::Test::HasFailure(); ++step) {
    if (step % 5000 == 0) {
      EXPECT_EQ(step == 0 ? 0 : DLDestroy(&list), 0);
      EXPECT_EQ(DLCreate(&list), 0);
      model.clear();
      sorted = step > 0;
    }
    std::string text(2 + random.below(4), random.letter(8));
    text.back() = random.letter(26);
    const auto length = static_cast<uint32_t>(text.size());
    const auto found = std::find_if(model.begin(), model.end(), [&](auto& m) { return m[0] == text[0]; });
    if (random.below(10) < (step / 50 % 2 == 0 ? 8u : 1u)) {  // grows, shrinks to nothing
      const auto goesBefore = [&](const std::string& m) { return sorted && text[0] < m[0]; };
      model.insert(std::find_if(model.begin(), model.end(), goesBefore), text);
      EXPECT_EQ(
          sorted ? DLInsertSort(text.data(), length, Order, &list) : DLInsert(text.data(), length, &list), 0);
      text.assign(text.size(), '!');  // the list has its own copy
    } else if (random.oneIn(3)) {
      EXPECT_EQ(DLDelToTail(&list), 0);
      if (!model.empty()) model.pop_back();
    } else {
      const void* data = DLFindData(Match, text.data(), 1, &list);
      ASSERT_EQ(data != nullptr, found != model.end());
      EXPECT_TRUE(data == nullptr || Take(data, found->size()) == *found);
      EXPECT_EQ(DLDelByData(Match, text.data(), 1, &list), data == nullptr ? -1 : model.size() == 1 ? 1 : 0);
      if (data != nullptr) model.erase(found);
    }
    CheckSame(&list, model);
  }
  EXPECT_EQ(DLDestroy(&list), 0);
}

TEST(DList, RefusesBadArgumentsAndChangesNothing) {
  DList list;
  EXPECT_EQ(DLCreate(&list), 0);
  EXPECT_EQ(DLInsert("b", 1, &list), 0);
  uint32_t length = 77;
  DLGetFirstData(&length, &list);
  const DList before = list;
  const int32_t codes[] = {DLCreate(nullptr),
                           DLInsert("a", 0, &list),
                           DLInsert(nullptr, 1, &list),
                           DLInsert("a", 1, nullptr),
                           DLInsertSort(nullptr, 1, Order, &list),
                           DLInsertSort("a", 1, nullptr, &list),
                           DLInsertSort("a", 1, Order, nullptr),
                           DLDelByData(nullptr, "b", 1, &list),
                           DLDelByData(Match, "b", 0, &list),
                           DLDelByData(Match, "c", 1, &list),
                           DLDelToTail(nullptr),
                           DLDestroy(nullptr)};
  for (const int32_t& code : codes) EXPECT_EQ(code, -1) << &code - codes;
  const void* const data[] = {DLFindData(nullptr, "b", 1, &list), DLFindData(Match, nullptr, 1, &list),
                              DLFindData(Match, "b", 0, &list),   DLFindData(Match, "b", 1, nullptr),
                              DLGetFirstData(&length, nullptr),   DLGetNextData(&length, nullptr),
                              DLGetFirstDataR(&length, nullptr),  DLGetFirstDataR(nullptr, &list),
                              DLGetNextDataR(nullptr, &list)};
  for (const void* const& each : data) EXPECT_EQ(each, nullptr) << &each - data;
  EXPECT_EQ(std::memcmp(&list, &before, sizeof list), 0);
  EXPECT_EQ(length, 1u);

  EXPECT_EQ(DLInsertSort("", 0, Order, &list), 0);  // a length of 0 is one here
  EXPECT_NE(DLGetFirstData(&length, &list), nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(DLDestroy(&list), 0);
}

}  // namespace
