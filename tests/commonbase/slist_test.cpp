#include "slist.h"

#include <gtest/gtest.h>

#include <list>
#include <vector>

#include "random.h"

namespace {

void* Element(intptr_t value) {
  return reinterpret_cast<void*>(value);
}
intptr_t Value(const void* element) {
  return reinterpret_cast<intptr_t>(element);
}

int32_t Compare(const void* a, const void* b) {
  return (Value(a) > Value(b)) - (Value(a) < Value(b));
}

std::vector<intptr_t> Elements(const SList* list) {
  std::vector<intptr_t> values;
  for (const SListNode* node = FirstListNode(list->header); node != nullptr;
       node = NextsListNode(node, list->header))
    values.push_back(Value(ListNodeElement(node)));
  return values;
}

SListNode* NodeAt(const SList* list, size_t index) {
  SListNode* node = FirstListNode(list->header);
  while (index-- > 0) node = node->next;
  return node;
}

SList* ListOf(const std::vector<intptr_t>& values) {
  SList* list = CreateEmptysList(2);
  for (const intptr_t value : values) EXPECT_EQ(AppendNodeTosList(Element(value), list), 0);
  list->CmpsListNode = Compare;
  return list;
}

TEST(SList, BehavesLikeASequenceUnderRandomOperations) {
  Random random;
  SList* list = CreateEmptysList(5);
  list->CmpsListNode = Compare;
  std::vector<intptr_t> model;
  uint32_t used = 1;
  for (int step = 0; step < 20000; ++step) {
    const auto value = static_cast<intptr_t>(random.below(20));
    const size_t at = random.below(model.size() + 1);
    switch (model.size() > 30 ? 3 : random.below(5)) {
      case 0:
        ASSERT_EQ(AppendNodeTosList(Element(value), list), 0);
        model.push_back(value), ++used;
        break;
      case 1: {  // behind the header, behind an element, or at the null position
        SListNode* position = at == 0 ? random.oneIn(2) ? nullptr : list->header : NodeAt(list, at - 1);
        ASSERT_EQ(InsertNodeTosList(Element(value), list, position), 0);
        model.insert(model.begin() + static_cast<ptrdiff_t>(at), value), ++used;
        break;
      }
      case 2:
        if (!random.oneIn(100)) break;
        ClearsList(list);
        model.clear();
        break;
      default: {
        if (at == model.size()) {
          SListNode stranger = {};
          DeletesListNode(&stranger, list);
          ASSERT_EQ(PrevsListNode(&stranger, list->header), ListTail(list->header));
          break;
        }
        SListNode* node = NodeAt(list, at);
        ASSERT_EQ(PrevsListNode(node, list->header), at == 0 ? list->header : NodeAt(list, at - 1));
        DeletesListNode(node, list);
        model.erase(model.begin() + static_cast<ptrdiff_t>(at)), --used;
      }
    }
    ASSERT_EQ(Elements(list), model);
    ASSERT_EQ(list->usedNodeNum, used);
    ASSERT_EQ(CountSlist(list->header), static_cast<int32_t>(model.size()));
    ASSERT_EQ(IsListEmpty(list->header), model.empty() ? 1 : 0);
    ASSERT_EQ(IsLastInList(ListTail(list->header)), 1);
    const auto found = std::find(model.begin(), model.end(), value);
    SListNode* expected =
        found == model.end() ? nullptr : NodeAt(list, static_cast<size_t>(found - model.begin()));
    ASSERT_EQ(FindInsList(Element(value), list), expected);
  }
  FreesList(list);
}

TEST(SList, FindsExtremesWithTheTieTheCallerAsksFor) {
  struct {
    std::vector<intptr_t> values;
    int32_t tie;
    int least, greatest;  // positions, -1 for none
  } const cases[] = {{{}, 0, -1, -1},         {{7}, 1, 0, 0},           {{3, 1, 1}, 0, 1, 0},
                     {{3, 1, 1}, 1, 2, 0},    {{3, 1, 1}, 2, 1, 0},     {{2, 5, 5, 2}, 0, 0, 1},
                     {{2, 5, 5, 2}, 1, 3, 2}, {{2, 5, 5, 2}, -1, 0, 1}, {{4, 4, 4}, 1, 2, 2}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.values) + " tie " + std::to_string(c.tie));
    SList* list = ListOf(c.values);
    const auto at = [&](int i) { return i < 0 ? nullptr : NodeAt(list, static_cast<size_t>(i)); };
    EXPECT_EQ(FindMinInsList(list, c.tie), at(c.least));
    EXPECT_EQ(FindMaxInsList(list, c.tie), at(c.greatest));
    FreesList(list);
  }
}

TEST(SList, ReusesAreaNodesAndIsUnchangedWithoutMemory) {
  SList* list = ListOf({1, 2});
  SListNode* second = NodeAt(list, 1);
  EXPECT_EQ(list->pool->freeNum, 0);
  DeletesListNode(second, list);
  EXPECT_EQ(list->pool->freeNum, 1);
  EXPECT_EQ(AppendNodeTosList(Element(3), list), 0);
  EXPECT_EQ(NodeAt(list, 1), second);
  EXPECT_EQ(NextsListNode(second, nullptr), nullptr);
  EXPECT_EQ(NextsListNode(NodeAt(list, 0), nullptr), nullptr);
  EXPECT_EQ(ListHeader(list->header), list->header);

  list->pool->GetCommonNode = [](CommonPool*) -> void* { return nullptr; };
  EXPECT_EQ(AppendNodeTosList(Element(4), list), -1);
  EXPECT_EQ(InsertNodeTosList(Element(4), list, list->header), -1);
  EXPECT_EQ(Elements(list), (std::vector<intptr_t>{1, 3}));
  EXPECT_EQ(list->usedNodeNum, 3u);
  FreesList(list);

  for (const int32_t count : {-1, INT32_MIN, INT32_MAX}) EXPECT_EQ(CreateEmptysList(count), nullptr) << count;
}

TEST(SList, ReleasesItsElementsWhenAskedTo) {  // a leak or a double release shows under the sanitizers
  SList* list = CreateEmptysList(1);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(AppendNodeTosList(i == 1 ? nullptr : Malloc(8), list), 0);
  FreesListWithElements(list);
}

TEST(SList, ReportsALookupWithoutACompareFunction) {
  SList* list = ListOf({1});
  list->CmpsListNode = nullptr;
  EXPECT_EQ(FindMinInsList(list, 0), nullptr);
  EXPECT_EQ(FindMaxInsList(list, 0), nullptr);
  for (int i = 0; i < 2; ++i) {  // with an element and without
    testing::internal::CaptureStdout();
    EXPECT_EQ(FindInsList(Element(1), list), nullptr);
    const std::string report = testing::internal::GetCapturedStdout();
    EXPECT_EQ(report.find("[ Assert Failed! commonbase/src/slist, FindInsList, "), 0u) << report;
    EXPECT_NE(report.find(" ] Must set the CmpsListNode function\n"), std::string::npos) << report;
    ClearsList(list);
  }
  FreesList(list);
}

}  // namespace
