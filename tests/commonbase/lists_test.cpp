// Both lists beside a plain sequence: whatever happens to the one happens to the other.
#include "dlist.h"
#include "model.h"
#include "slist.h"

namespace {

bool outOfNodes = false;
void* (*getNode)(CommonPool*) = nullptr;

TEST(SList, BehavesLikeASequenceWithOrWithoutMemory) {
  Random random;
  std::string model;
  uint32_t used = 1;
  SList* list = CreateEmptysList(2);
  SListNode* const header = list->header;
  EXPECT_TRUE(FindMinInsList(list, 0) == nullptr && FindMaxInsList(list, 0) == nullptr) << "no comparison";
  list->CmpsListNode = [](const void* a, const void* b) -> int32_t { return Letter(a) - Letter(b); };
  getNode = list->pool->GetCommonNode;
  list->pool->GetCommonNode = [](CommonPool* pool) { return outOfNodes ? nullptr : getNode(pool); };
  std::vector<SListNode*> nodes = {
      nullptr};  // with that of the model's letter i at i + 1, so that npos has none
  for (int step = 0; step < 10000 && !HasFailure(); ++step) {
    const char letter = random.letter(20);
    const size_t at = random.below(model.size() + 1);
    SListNode stranger = {}, *previous = at == 0 ? header : nodes[at];
    SListNode* node = at == model.size() ? &stranger : nodes[at + 1];
    if (random.below(10) < (step / 50 % 2 == 0 ? 7u : 2u)) {
      outOfNodes = random.oneIn(10);
      const bool append = at == model.size() && random.oneIn(2);
      SListNode* position = at == 0 && random.oneIn(2) ? nullptr : previous;
      EXPECT_EQ(append ? AppendNodeTosList(Element(letter), list)
                       : InsertNodeTosList(Element(letter), list, position),
                outOfNodes ? -1 : 0);
      if (!outOfNodes) model.insert(at, 1, letter), ++used;
    } else if (random.oneIn(200)) {
      ClearsList(list);
      EXPECT_EQ(list->pool->freeNum, 2);
      model.clear();
    } else {
      EXPECT_EQ(PrevsListNode(node, header), previous);
      DeletesListNode(node, list);
      if (at < model.size()) model.erase(at, 1), --used;
    }
    std::string letters;
    nodes.resize(1);
    for (SListNode* n = FirstListNode(header); n != nullptr; n = NextsListNode(n, header))
      nodes.push_back(n), letters += Letter(ListNodeElement(n));
    ASSERT_EQ(letters, model);
    EXPECT_EQ(list->usedNodeNum, used);
    EXPECT_EQ(CountSlist(header), static_cast<int32_t>(model.size()));
    EXPECT_EQ(ListTail(header), model.empty() ? ListHeader(header) : nodes.back());
    EXPECT_TRUE(IsListEmpty(header) == model.empty() && IsLastInList(header) == model.empty());
    EXPECT_EQ(FindInsList(Element(letter), list), nodes[model.find(letter) + 1]);
    const std::string sorted = Sorted(model);
    for (const int32_t tie : {-1, 0, 1, 2}) {
      const auto found = [&](char c) { return nodes[(tie == 1 ? model.rfind(c) : model.find(c)) + 1]; };
      EXPECT_EQ(FindMinInsList(list, tie), found(sorted.c_str()[0])) << tie;
      EXPECT_EQ(FindMaxInsList(list, tie), found(model.empty() ? '\0' : sorted.back())) << tie;
    }
  }
  EXPECT_EQ(NextsListNode(header, nullptr), nullptr);
  FreesList(list);
  for (const int32_t count : {-1, INT32_MIN, INT32_MAX}) EXPECT_EQ(CreateEmptysList(count), nullptr) << count;
  SList* owner = CreateEmptysList(1);  // elements that leak or go twice show under the sanitizers
  for (void* element : {Malloc(8), static_cast<void*>(nullptr), Malloc(8)}) AppendNodeTosList(element, owner);
  FreesListWithElements(owner);
}

using Strings = std::vector<std::string>;

// By the first character only, so that elements can be equal in the caller's sense.
int32_t Order(const void* present, uint32_t, const void* added, uint32_t) {
  const int order = std::memcmp(added, present, 1);
  return order < 0 ? 1 : order > 0 ? 2 : 0;  // 2 means no more than 0 does
}

int32_t Match(const void* present, const void* key, uint32_t keyLength) {
  return std::memcmp(present, key, keyLength) == 0 ? 1 : -1;
}

// What a walk meets, and the length that it ends with.
template <typename First, typename Next>
Strings Walk(DList* list, First first, Next next, uint32_t* length) {
  Strings met;
  for (void* data = first(length, list); data != nullptr; data = next(length, list))
    met.emplace_back(static_cast<const char*>(data), *length);
  return met;
}

TEST(DList, BehavesLikeASequence) {
  Random random;
  for (const bool sorted : {false, true}) {
    DList list = {};
    Strings model;
    list.count = 77;
    EXPECT_EQ(DLCreate(&list), 0);
    for (int step = 0; step < 5000 && !HasFailure(); ++step) {
      std::string text(2 + random.below(4), random.letter(8));
      text.back() = random.letter(26);
      const auto length = static_cast<uint32_t>(text.size());
      const auto found = std::find_if(model.begin(), model.end(), [&](auto& m) { return m[0] == text[0]; });
      if (random.below(10) < (step / 50 % 2 == 0 ? 8u : 1u)) {  // grows, shrinks to nothing
        const auto goesBefore = [&](const std::string& m) { return sorted && text[0] < m[0]; };
        model.insert(std::find_if(model.begin(), model.end(), goesBefore), text);
        EXPECT_EQ(sorted ? DLInsertSort(&text[0], length, Order, &list) : DLInsert(&text[0], length, &list),
                  0);
        text.assign(length, '!');  // the list has its own copy
      } else if (random.oneIn(3)) {
        EXPECT_EQ(DLDelToTail(&list), 0);
        if (!model.empty()) model.pop_back();
      } else {
        const bool isThere = found != model.end();
        const auto* data = static_cast<const char*>(DLFindData(Match, text.data(), 1, &list));
        EXPECT_TRUE(isThere ? std::string(data, found->size()) == *found : data == nullptr);
        if (isThere) model.erase(found);
        EXPECT_EQ(DLDelByData(Match, text.data(), 1, &list), !isThere ? -1 : model.empty() ? 1 : 0);
      }
      uint32_t end = 77;
      ASSERT_EQ(Walk(&list, DLGetFirstData, DLGetNextData, &end), model);
      EXPECT_EQ(end, model.empty() ? 77 : model.back().size()) << "left as it was";
      ASSERT_EQ(Walk(&list, DLGetFirstDataR, DLGetNextDataR, &end), Strings(model.rbegin(), model.rend()));
      EXPECT_EQ(end, 0u);
      EXPECT_TRUE(list.count == model.size() && (list.head == list.tail) == model.empty());
    }
    EXPECT_EQ(DLDestroy(&list), 0);
  }
}

TEST(DList, RefusesBadArgumentsAndChangesNothing) {
  DList list;
  EXPECT_EQ(DLCreate(&list) + DLInsert("b", 1, &list), 0);
  EXPECT_NE(DLGetFirstData(nullptr, &list), nullptr);
  const DList before = list;
  uint32_t length = 77;
  for (DList* to : {&list, static_cast<DList*>(nullptr)}) {
    const int32_t refused[] = {DLInsert("a", to == nullptr, to),
                               DLInsert(nullptr, 1, to),
                               DLInsertSort(nullptr, 1, Order, to),
                               DLInsertSort("a", 1, to == nullptr ? Order : nullptr, to),
                               DLDelByData(nullptr, "b", 1, to),
                               DLDelByData(Match, nullptr, 1, to),
                               DLDelByData(Match, "b", 0, to),
                               DLDelByData(Match, "c", 1, to),
                               DLCreate(nullptr),
                               DLDelToTail(nullptr),
                               DLDestroy(nullptr)};
    for (const int32_t& result : refused) EXPECT_EQ(result, -1) << &result - refused;
    EXPECT_TRUE(DLGetFirstDataR(nullptr, to) == nullptr && DLGetNextDataR(nullptr, to) == nullptr);
  }
  for (const auto walk : {DLGetFirstData, DLGetNextData, DLGetFirstDataR, DLGetNextDataR})
    EXPECT_EQ(walk(&length, nullptr), nullptr);
  EXPECT_TRUE(length == 77 && std::memcmp(&list, &before, sizeof list) == 0);
  EXPECT_EQ(DLInsertSort("", 0, Order, &list), 0);  // a length of 0 is one here
  EXPECT_EQ(Walk(&list, DLGetFirstData, DLGetNextData, &length), (Strings{"", "b"}));
  EXPECT_EQ(DLDestroy(&list), 0);
}

}  // namespace
