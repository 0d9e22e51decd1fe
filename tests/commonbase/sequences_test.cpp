// Tree and lists beside a string of letters: whatever happens to the one happens to the other, and after each step
// both hold the same.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "avltree.h"
#include "dlist.h"
#include "slist.h"
#include "tests/support/random.h"

namespace {

// Letters in the place of addresses.
void* Element(char letter) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(letter));
}

char Letter(const void* element) {
  return static_cast<char>(reinterpret_cast<uintptr_t>(element));
}

// Each container inserts and removes what it draws for the letter, in the model as well; then it is asked about it.
template <typename Container>
void Compare() {
  // Of 10: phases that grow and phases that shrink, also to nothing.
  constexpr size_t kInsertions[] = {8, 3, 8, 0};
  Random random;
  Container container;
  std::string model;
  for (int step = 0; step < 10000; ++step) {
    SCOPED_TRACE("step " + std::to_string(step) + " on " + model);
    const auto letter = static_cast<char>('A' + random.below(30));
    if (random.below(10) < kInsertions[step / 200 % 4]) {
      container.insert(letter, &model, &random);
    } else {
      container.remove(letter, &model, &random);
    }
    ASSERT_EQ(container.letters(), model);
    container.answers(letter, model);
    ASSERT_FALSE(testing::Test::HasFailure());
  }
}

// ---- The tree ----

// A set that runs out of nodes on demand and notes what is given back.
struct Tree {
  static inline std::string givenBack;
  static inline bool outOfNodes = false;
  static inline AvlNode* (*getNode)(void*) = nullptr;
  AvlTree* const tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 0);

  Tree() {
    getNode = tree->GetAvlNode;
    tree->GetAvlNode = [](void* context) { return outOfNodes ? nullptr : getNode(context); };
    tree->FreeAvlElement = [](void*, void* element) { givenBack += Letter(element); };
  }
  ~Tree() { ReleaseAvlTree(tree); }

  void insert(char letter) const { EXPECT_EQ(InsertAvlNode(Element(letter), tree, tree->root), tree->root); }
  void remove(char letter) const { EXPECT_EQ(DeleteAvlNode(Element(letter), tree, tree->root), tree->root); }

  void insert(char letter, std::string* model, Random* random) const {
    const bool isNew = model->find(letter) == std::string::npos;
    outOfNodes = random->oneIn(6);
    insert(letter);
    if (!outOfNodes && isNew) model->insert(std::upper_bound(model->begin(), model->end(), letter), letter);
    outOfNodes = false;
  }

  void remove(char letter, std::string* model, Random*) const {
    const auto end = std::remove(model->begin(), model->end(), letter);
    givenBack.clear();
    remove(letter);
    EXPECT_EQ(givenBack, std::string(end != model->end(), letter));
    model->erase(end, model->end());
  }

  std::string letters(void (*order)(AvlNode*, AvlVisit, void*) = InorderTravAvlTree) const {
    std::string letters;
    const auto visit = [](AvlNode* node, void* context) {
      static_cast<std::string*>(context)->push_back(Letter(AvlTreeElement(node)));
      return 0;
    };
    order(tree->root, visit, &letters);
    return letters;
  }

  void answers(char letter, const std::string& model) const {
    const auto letterOf = [](const AvlNode* node) { return node == nullptr ? '\0' : Letter(node->element); };
    const bool isThere = model.find(letter) != std::string::npos;
    EXPECT_EQ(letterOf(FindAvlNode(Element(letter), tree, tree->root)), isThere ? letter : '\0');
    EXPECT_EQ(letterOf(FindMinAvlNode(tree->root)), model.c_str()[0]);
    EXPECT_EQ(letterOf(FindMaxAvlNode(tree->root)), model.empty() ? '\0' : model.back());
  }

  // Every subtree as "(left letter height right)".
  static std::string Shape(const AvlNode* node) {
    if (node == nullptr) return "";
    return "(" + Shape(node->left) + Letter(node->element) + std::to_string(node->height) +
           Shape(node->right) + ")";
  }
};

TEST(AvlTree, BehavesLikeASetWithOrWithoutMemory) {
  Compare<Tree>();
}

// Each line of the file: changes, of which a capital letter is a deletion; the tree then; its letters, children first.
TEST(AvlTree, TurnsAboutADifferenceOfTwoThatAnInsertionMeets) {
  std::ifstream lines(PMSTORE_TREES);
  std::string changes, shape, postorder;
  while (lines >> changes >> shape >> postorder) {
    SCOPED_TRACE(changes);
    {
      Tree tree;
      for (const char c : changes) c >= 'a' ? tree.insert(c) : tree.remove(static_cast<char>(c + 'a' - 'A'));
      EXPECT_EQ(Tree::Shape(tree.tree->root), shape);
      EXPECT_EQ(tree.letters(PostorderTravAvlTree), postorder);
      Tree::givenBack.clear();
    }
    EXPECT_EQ(Tree::givenBack, postorder) << "by its release";
  }
  EXPECT_EQ(postorder, "ikjmponlh") << "of the last line";
}

// ---- The list ----

class Singly {
 public:
  Singly() {
    for (const auto find : {FindMinInsList, FindMaxInsList})
      EXPECT_EQ(find(list_, 0), nullptr) << "no comparison";
    list_->CmpsListNode = [](const void* a, const void* b) -> int32_t { return Letter(a) - Letter(b); };
  }
  ~Singly() { FreesList(list_); }

  void insert(char letter, std::string* model, Random* random) {
    const size_t at = random->below(model->size() + 1);
    if (at == model->size() && random->oneIn(2)) {
      EXPECT_EQ(AppendNodeTosList(Element(letter), list_), 0);
    } else {
      SListNode* previous = at > 0 ? nodes_[at] : random->oneIn(2) ? header_ : nullptr;
      EXPECT_EQ(InsertNodeTosList(Element(letter), list_, previous), 0);
    }
    model->insert(at, 1, letter);
    ++used_;
  }

  void remove(char, std::string* model, Random* random) {
    SListNode stranger = {};
    const size_t at = random->below(model->size() + 1);
    SListNode* node = at == model->size() ? &stranger : nodes_[at + 1];
    if (random->oneIn(200)) {
      ClearsList(list_);
      EXPECT_EQ(list_->pool->freeNum, 2);
      model->clear();
      return;
    }
    EXPECT_EQ(PrevsListNode(node, header_), at == 0 ? header_ : nodes_[at]);
    DeletesListNode(node, list_);
    if (at == model->size()) return;
    model->erase(at, 1);
    --used_;
  }

  std::string letters() {
    std::string letters;
    nodes_.resize(1);
    for (SListNode* node = FirstListNode(header_); node != nullptr; node = NextsListNode(node, header_)) {
      nodes_.push_back(node);
      letters += Letter(ListNodeElement(node));
    }
    return letters;
  }

  void answers(char letter, const std::string& model) const {
    EXPECT_EQ(list_->usedNodeNum, used_);
    EXPECT_EQ(CountSlist(header_), static_cast<int32_t>(model.size()));
    EXPECT_EQ(ListTail(header_), model.empty() ? ListHeader(header_) : nodes_.back());
    for (const auto isEmpty : {IsListEmpty, IsLastInList}) EXPECT_EQ(isEmpty(header_), model.empty() ? 1 : 0);
    EXPECT_EQ(NextsListNode(header_, nullptr), nullptr);
    EXPECT_EQ(FindInsList(Element(letter), list_), nodes_[model.find(letter) + 1]);
    if (model.empty()) return;
    const auto [least, most] = std::minmax_element(model.begin(), model.end());
    for (const int32_t tie : {-1, 0, 1, 2}) {
      const auto found = [&](char c) { return nodes_[(tie == 1 ? model.rfind(c) : model.find(c)) + 1]; };
      EXPECT_EQ(FindMinInsList(list_, tie), found(*least)) << tie;
      EXPECT_EQ(FindMaxInsList(list_, tie), found(*most)) << tie;
    }
  }

 private:
  SList* list_ = CreateEmptysList(2);
  SListNode* const header_ = list_->header;
  std::vector<SListNode*> nodes_{nullptr};  // that of the model's letter i at i + 1, so that npos has none
  uint32_t used_ = 1;
};

TEST(SList, BehavesLikeASequence) {
  Compare<Singly>();
}

TEST(SList, ReleasesItsElementsOrIsNotMade) {
  SList* owner = CreateEmptysList(1);  // elements that leak or go twice show under the sanitizers
  for (void* element : {Malloc(8), static_cast<void*>(nullptr), Malloc(8)}) AppendNodeTosList(element, owner);
  FreesListWithElements(owner);
  for (const int32_t count : {-1, INT32_MIN, INT32_MAX}) EXPECT_EQ(CreateEmptysList(count), nullptr) << count;
}

// ---- The list of bytes ----

// A letter is stored as one to four of them.
std::string Text(char letter) {
  return std::string(1 + letter % 4, letter);
}

// By the half of the letter, so that elements can be equal in the caller's sense.
int32_t Order(const void* present, uint32_t, const void* added, uint32_t) {
  const int order = *static_cast<const char*>(added) / 2 - *static_cast<const char*>(present) / 2;
  return order < 0 ? 1 : order > 0 ? 2 : 0;  // 2 means no more than 0 does
}

int32_t Match(const void* present, const void* key, uint32_t keyLength) {
  return std::memcmp(present, key, keyLength) == 0 ? 1 : -1;
}

template <bool kSorted>
class Doubly {
 public:
  Doubly() { EXPECT_EQ(DLCreate(&list_), 0); }
  ~Doubly() { EXPECT_EQ(DLDestroy(&list_), 0); }

  void insert(char letter, std::string* model, Random*) {
    std::string text = Text(letter);
    const auto length = static_cast<uint32_t>(text.size());
    const auto goesBefore = [&](char c) { return kSorted && letter / 2 < c / 2; };
    EXPECT_EQ(kSorted ? DLInsertSort(&text[0], length, Order, &list_) : DLInsert(&text[0], length, &list_),
              0);
    text.assign(length, '!');  // the list has its own copy
    model->insert(std::find_if(model->begin(), model->end(), goesBefore), letter);
  }

  void remove(char letter, std::string* model, Random* random) {
    if (random->oneIn(3)) {
      EXPECT_EQ(DLDelToTail(&list_), 0);
      if (!model->empty()) model->pop_back();
      return;
    }
    if (!model->empty() && random->oneIn(2)) letter = model->back();
    const size_t at = model->find(letter);
    if (at != std::string::npos) model->erase(at, 1);
    EXPECT_EQ(DLDelByData(Match, &letter, 1, &list_), at == std::string::npos ? -1 : model->empty() ? 1 : 0);
  }

  std::string letters() {
    length_ = 77;
    return walk(DLGetFirstData, DLGetNextData);
  }

  void answers(char letter, const std::string& model) {
    EXPECT_EQ(length_, model.empty() ? 77 : Text(model.back()).size()) << "left as it was";
    EXPECT_EQ(walk(DLGetFirstDataR, DLGetNextDataR), std::string(model.rbegin(), model.rend()));
    EXPECT_EQ(length_, 0u);
    EXPECT_EQ(list_.count, model.size());
    EXPECT_EQ(list_.head == list_.tail, model.empty());
    const auto* found = static_cast<const char*>(DLFindData(Match, &letter, 1, &list_));
    EXPECT_EQ(found == nullptr ? '\0' : *found, model.find(letter) == std::string::npos ? '\0' : letter);
  }

 private:
  template <typename First, typename Next>
  std::string walk(First first, Next next) {
    std::string letters;
    for (const void* data = first(&length_, &list_); data != nullptr; data = next(&length_, &list_)) {
      const std::string text(static_cast<const char*>(data), length_);
      letters += text == Text(text[0]) ? text[0] : '?';
    }
    return letters;
  }

  DList list_ = {77, 77, nullptr, nullptr, nullptr};
  uint32_t length_ = 0;
};

TEST(DList, BehavesLikeASequenceSortedOrNot) {
  Compare<Doubly<false>>();
  Compare<Doubly<true>>();
}

TEST(DList, RefusesBadArgumentsAndChangesNothing) {
  DList list;
  EXPECT_EQ(DLCreate(&list), 0);
  EXPECT_EQ(DLInsert("b", 1, &list), 0);
  EXPECT_NE(DLGetFirstData(nullptr, &list), nullptr);
  const DList before = list;
  uint32_t length = 77;
  int32_t (*const kRefused[])(DList * to) = {
      [](DList* to) { return DLInsert(nullptr, 1, to); },
      [](DList* to) { return DLInsert("a", to == nullptr, to); },
      [](DList* to) { return DLInsertSort(nullptr, 1, Order, to); },
      [](DList* to) { return DLInsertSort("a", 1, to == nullptr ? Order : nullptr, to); },
      [](DList* to) { return DLDelByData(nullptr, "b", 1, to); },
      [](DList* to) { return DLDelByData(Match, nullptr, 1, to); },
      [](DList* to) { return DLDelByData(Match, to == nullptr ? "b" : "c", 1, to); },
      [](DList* to) { return DLDelByData(Match, "b", 0, to); }};
  for (DList* to : {&list, static_cast<DList*>(nullptr)}) {
    for (const auto call : kRefused) EXPECT_EQ(call(to), -1) << "call " << &call - kRefused;
    for (const auto walk : {DLGetFirstDataR, DLGetNextDataR}) EXPECT_EQ(walk(nullptr, to), nullptr);
  }
  for (const auto call : {DLCreate, DLDelToTail, DLDestroy}) EXPECT_EQ(call(nullptr), -1);
  for (const auto walk : {DLGetFirstData, DLGetNextData, DLGetFirstDataR, DLGetNextDataR})
    EXPECT_EQ(walk(&length, nullptr), nullptr);
  EXPECT_EQ(length, 77u);
  EXPECT_EQ(std::memcmp(&list, &before, sizeof list), 0);
  EXPECT_EQ(DLInsertSort("", 0, Order, &list), 0);  // a length of 0 is one here
  EXPECT_NE(DLGetFirstData(&length, &list), nullptr);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(DLDestroy(&list), 0);
}

}  // namespace
