#include "slist.h"

#include "model.h"

namespace {

int32_t Compare(const void* a, const void* b) {
  return Letter(a) - Letter(b);
}

std::string Letters(const SList* list) {
  std::string letters;
  for (const SListNode* node = FirstListNode(list->header); node != nullptr;
       node = NextsListNode(node, list->header))
    letters += Letter(ListNodeElement(node));
  return letters;
}

// The node at an index of the model; null for npos.
SListNode* NodeAt(const SList* list, size_t index) {
  SListNode* node = index == std::string::npos ? nullptr : list->header->next;
  while (node != nullptr && index-- > 0) node = node->next;
  return node;
}

void CheckSame(const SList* list, const std::string& model, char letter) {
  ASSERT_EQ(Letters(list), model);
  ASSERT_EQ(CountSlist(list->header), static_cast<int32_t>(model.size()));
  ASSERT_EQ(IsListEmpty(list->header), model.empty() ? 1 : 0);
  ASSERT_EQ(IsLastInList(list->header), model.empty() ? 1 : 0);
  ASSERT_EQ(ListTail(list->header), model.empty() ? list->header : NodeAt(list, model.size() - 1));
  ASSERT_EQ(FindInsList(Element(letter), list), NodeAt(list, model.find(letter)));
  const char least = model.empty() ? '\0' : *std::min_element(model.begin(), model.end());
  const char greatest = model.empty() ? '\0' : *std::max_element(model.begin(), model.end());
  for (const int32_t tie : {-1, 0, 1, 2}) {
    const auto found = [&](char c) { return NodeAt(list, tie == 1 ? model.rfind(c) : model.find(c)); };
    ASSERT_EQ(FindMinInsList(list, tie), found(least)) << tie;
    ASSERT_EQ(FindMaxInsList(list, tie), found(greatest)) << tie;
  }
}

TEST(SList, BehavesLikeASequenceUnderRandomOperations) {
  Random random;
  SList* list = CreateEmptysList(2);
  list->CmpsListNode = Compare;
  std::string model;
  uint32_t used = 1;
  for (int step = 0; step < 10000 && !testing::Test::HasFailure(); ++step) {
    const char letter = random.letter(20);
    const size_t at = random.below(model.size() + 1);
    SListNode* previous = at == 0 ? list->header : NodeAt(list, at - 1);
    if (random.below(10) < (step / 50 % 2 == 0 ? 7u : 2u)) {
      SListNode* position = at == 0 && random.oneIn(2) ? nullptr : previous;
      const bool append = at == model.size() && random.oneIn(2);
      EXPECT_EQ(append ? AppendNodeTosList(Element(letter), list)
                       : InsertNodeTosList(Element(letter), list, position),
                0);
      model.insert(at, 1, letter), ++used;
    } else if (random.oneIn(200)) {
      ClearsList(list);
      model.clear();
    } else {
      SListNode stranger = {};
      SListNode* node = at == model.size() ? &stranger : NodeAt(list, at);
      EXPECT_EQ(PrevsListNode(node, list->header), previous);
      DeletesListNode(node, list);
      if (at < model.size()) model.erase(at, 1), --used;
    }
    EXPECT_EQ(list->usedNodeNum, used);
    CheckSame(list, model, letter);
  }
  FreesList(list);
}

TEST(SList, ReusesAreaNodesAndIsUnchangedWithoutMemory) {
  SList* list = CreateEmptysList(2);
  for (const char letter : {'a', 'b', 'c'}) EXPECT_EQ(AppendNodeTosList(Element(letter), list), 0);
  SListNode* second = NodeAt(list, 1);
  EXPECT_EQ(list->pool->freeNum, 0);
  DeletesListNode(second, list);
  EXPECT_EQ(list->pool->freeNum, 1);
  EXPECT_EQ(AppendNodeTosList(Element('d'), list), 0);
  EXPECT_EQ(ListTail(list->header), second);
  EXPECT_EQ(NextsListNode(list->header, nullptr), nullptr);
  EXPECT_EQ(ListHeader(list->header), list->header);

  list->pool->GetCommonNode = [](CommonPool*) -> void* { return nullptr; };
  EXPECT_EQ(AppendNodeTosList(Element('e'), list), -1);
  EXPECT_EQ(InsertNodeTosList(Element('e'), list, list->header), -1);
  EXPECT_EQ(Letters(list), "acd");
  EXPECT_EQ(list->usedNodeNum, 4u);
  EXPECT_EQ(FindMinInsList(list, 0), nullptr);  // without a compare function
  EXPECT_EQ(FindMaxInsList(list, 0), nullptr);
  FreesList(list);
  for (const int32_t count : {-1, INT32_MIN, INT32_MAX}) EXPECT_EQ(CreateEmptysList(count), nullptr) << count;

  list = CreateEmptysList(1);  // elements that leak or go twice show under the sanitizers
  for (const uint32_t size : {8, 0, 8}) AppendNodeTosList(size == 0 ? nullptr : Malloc(size), list);
  FreesListWithElements(list);
}

}  // namespace
