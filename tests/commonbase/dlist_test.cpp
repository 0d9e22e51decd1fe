#include "dlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "random.h"

namespace {

using Strings = std::vector<std::string>;

std::string Take(const void* data, uint32_t length) {
  return {static_cast<const char*>(data), length};
}

// By the first character only, so that elements can be equal in the caller's sense.
int32_t Order(const void* present, uint32_t presentLength, const void* added, uint32_t addedLength) {
  if (presentLength == 0 || addedLength == 0) return addedLength < presentLength ? 1 : 0;
  const auto a = *static_cast<const char*>(added), p = *static_cast<const char*>(present);
  return a < p ? 1 : a > p ? 2 : 0;  // 2 means no more than 0 does
}

// Elements that a search may meet are at least as long as the key.
int32_t Match(const void* present, const void* key, uint32_t keyLength) {
  return std::equal(static_cast<const char*>(key), static_cast<const char*>(key) + keyLength,
                    static_cast<const char*>(present))
             ? 1
             : -1;
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
  std::reverse(backward.begin(), backward.end());
  ASSERT_EQ(forward, model);
  ASSERT_EQ(backward, model);
  ASSERT_EQ(list->count, model.size());
  ASSERT_EQ(list->head == list->tail, model.empty());
}

TEST(DList, BehavesLikeASequenceUnderRandomOperations) {
  Random random;
  for (const bool sorted : {false, true}) {
    DList list;
    ASSERT_EQ(DLCreate(&list), 0);
    Strings model;
    for (int step = 0; step < 5000; ++step) {
      std::string text(1 + random.below(5), static_cast<char>('a' + random.below(8)));
      text.back() = static_cast<char>('a' + random.below(26));
      const auto length = static_cast<uint32_t>(text.size());
      if (model.size() < 30 && random.oneIn(2)) {
        if (sorted) {
          ASSERT_EQ(DLInsertSort(text.data(), length, Order, &list), 0);
          model.insert(std::find_if(model.begin(), model.end(), [&](auto& m) { return text[0] < m[0]; }),
                       text);
        } else {
          ASSERT_EQ(DLInsert(text.data(), length, &list), 0);
          model.push_back(text);
        }
        text.assign(text.size(), '!');  // the list has its own copy
      } else if (random.oneIn(3)) {
        ASSERT_EQ(DLDelToTail(&list), 0);
        if (!model.empty()) model.pop_back();
      } else {
        const auto found = std::find_if(model.begin(), model.end(), [&](auto& m) { return m[0] == text[0]; });
        const void* data = DLFindData(Match, text.data(), 1, &list);
        ASSERT_EQ(data != nullptr, found != model.end());
        if (data != nullptr) {
          ASSERT_EQ(Take(data, static_cast<uint32_t>(found->size())), *found);
        }
        const int32_t result = DLDelByData(Match, text.data(), 1, &list);
        ASSERT_EQ(result, found == model.end() ? -1 : model.size() == 1 ? 1 : 0);
        if (found != model.end()) model.erase(found);
      }
      CheckSame(&list, model);
    }
    ASSERT_EQ(DLDestroy(&list), 0);
  }
}

TEST(DList, RefusesBadArgumentsAndChangesNothing) {
  DList list;
  ASSERT_EQ(DLCreate(&list), 0);
  ASSERT_EQ(DLInsert("b", 1, &list), 0);
  uint32_t length = 77;
  DLGetFirstData(&length, &list);
  const DList before = list;

  EXPECT_EQ(DLCreate(nullptr), -1);
  EXPECT_EQ(DLInsert("a", 0, &list), -1);
  EXPECT_EQ(DLInsert(nullptr, 1, &list), -1);
  EXPECT_EQ(DLInsert("a", 1, nullptr), -1);
  EXPECT_EQ(DLInsertSort(nullptr, 1, Order, &list), -1);
  EXPECT_EQ(DLInsertSort("a", 1, nullptr, &list), -1);
  EXPECT_EQ(DLInsertSort("a", 1, Order, nullptr), -1);
  EXPECT_EQ(DLFindData(nullptr, "b", 1, &list), nullptr);
  EXPECT_EQ(DLFindData(Match, nullptr, 1, &list), nullptr);
  EXPECT_EQ(DLFindData(Match, "b", 0, &list), nullptr);
  EXPECT_EQ(DLFindData(Match, "b", 1, nullptr), nullptr);
  EXPECT_EQ(DLDelByData(nullptr, "b", 1, &list), -1);
  EXPECT_EQ(DLDelByData(Match, "b", 0, &list), -1);
  EXPECT_EQ(DLDelByData(Match, "c", 1, &list), -1);
  EXPECT_EQ(DLDelToTail(nullptr), -1);
  EXPECT_EQ(DLDestroy(nullptr), -1);
  EXPECT_EQ(DLGetFirstData(&length, nullptr), nullptr);
  EXPECT_EQ(DLGetNextData(&length, nullptr), nullptr);
  EXPECT_EQ(DLGetFirstDataR(&length, nullptr), nullptr);
  EXPECT_EQ(DLGetFirstDataR(nullptr, &list), nullptr);
  EXPECT_EQ(DLGetNextDataR(nullptr, &list), nullptr);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(list.count, before.count);
  EXPECT_EQ(list.tail, before.tail);
  EXPECT_EQ(list.cursor, before.cursor);

  EXPECT_EQ(DLInsertSort("", 0, Order, &list), 0);  // a length of 0 is one here
  EXPECT_NE(DLGetFirstData(&length, &list), nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(DLDestroy(&list), 0);
}

}  // namespace
