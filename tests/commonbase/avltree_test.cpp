#include "avltree.h"

#include <set>

#include "model.h"
#include "nodepool.h"

namespace {

// A tree of letters that runs out of nodes on demand and notes what is given back.
class AvlTreeTest : public testing::Test {
 protected:
  AvlTreeTest() {
    getNode_ = tree_->GetAvlNode;
    tree_->GetAvlNode = [](void* context) { return outOfNodes_ ? nullptr : getNode_(context); };
    tree_->FreeAvlElement = [](void*, void* element) { givenBack_ += Letter(element); };
  }

  void insert(char letter) { EXPECT_EQ(InsertAvlNode(Element(letter), tree_, tree_->root), tree_->root); }
  void remove(char letter) { EXPECT_EQ(DeleteAvlNode(Element(letter), tree_, tree_->root), tree_->root); }

  std::string walk(void (*order)(AvlNode*, AvlVisit, void*)) const {
    std::string letters;
    const auto visit = [](AvlNode* node, void* context) {
      *static_cast<std::string*>(context) += Letter(AvlTreeElement(node));
      return 0;
    };
    order(tree_->root, visit, &letters);
    return letters;
  }

  // Every subtree as "(left letter height right)".
  static std::string shape(const AvlNode* node) {
    if (node == nullptr) return "";
    const std::string top = Letter(node->element) + std::to_string(node->height);
    return "(" + shape(node->left) + top + shape(node->right) + ")";
  }

  static inline std::string givenBack_;
  static inline bool outOfNodes_ = false;
  static inline AvlNode* (*getNode_)(void*) = nullptr;
  AvlTree* tree_ = CreateAvlTree(nullptr, nullptr, 3, nullptr, 0);
};

TEST_F(AvlTreeTest, TurnsAboutADifferenceOfTwoThatAnInsertionMeets) {
  const struct {
    std::string changes, shape, postorder;  // a capital letter is deleted
  } rows[] = {{"abB", "(a1)", "a"},
              {"acb", "((a0)b1(c0))", "acb"},
              {"cab", "((a0)b1(c0))", "acb"},
              {"dbfacegDB", "(((a0)c1)e2(f1(g0)))", "acgfe"},
              {"dbfacegACEG", "((b1)d2(f1))", "bfd"},
              {"dbfaACb", "((b0)d1(f0))", "bfd"},
              {"bacdAc", "(b2(c1(d0)))", "dcb"},
              {"bacdAd", "((b0)c1(d0))", "bdc"},
              {"cbdaDb", "(((a0)b1)c2)", "abc"},
              {"cbdaDa", "((a0)b1(c0))", "acb"},
              {"fbhadgicejDIJGHe", "(((a0)b2((c0)e1))f3)", "acebf"},
              {"hdlbfjnacegikmoABCDEFGp", "(h4(((i0)j1(k0))l3((m0)n2(o1(p0)))))", "ikjmponlh"}};
  for (const auto& row : rows) {
    for (const char c : row.changes) c >= 'a' ? insert(c) : remove(static_cast<char>(c + 'a' - 'A'));
    EXPECT_EQ(shape(tree_->root), row.shape) << row.changes;
    EXPECT_EQ(walk(PostorderTravAvlTree), row.postorder);
    for (const char c : row.postorder) remove(c);
  }
  for (const char c : {'b', 'a', 'c'}) insert(c);
  givenBack_.clear();
  ReleaseAvlTree(tree_);
  EXPECT_EQ(givenBack_, "acb");
}

TEST_F(AvlTreeTest, BehavesLikeASetWithOrWithoutMemory) {
  Random random;
  std::set<char> model;
  for (int step = 0; step < 10000 && !HasFailure(); ++step) {
    const char letter = random.letter(60);
    const std::string before = shape(tree_->root);
    // Phases that grow and phases that shrink, so that heights go badly stale, now and then to nothing.
    const size_t insertions[] = {8, 3, 8, 0};
    if (step < 100 || random.below(10) < insertions[step / 200 % 4]) {
      outOfNodes_ = random.oneIn(6);
      insert(letter);
      EXPECT_TRUE(!outOfNodes_ || InsertAvlNode(Element(letter), tree_, nullptr) == nullptr);
      if (!outOfNodes_) model.insert(letter);
      EXPECT_TRUE(model.count(letter) == 1 || shape(tree_->root) == before);
      outOfNodes_ = false;
    } else {
      givenBack_.clear();
      remove(letter);
      EXPECT_EQ(givenBack_, std::string(model.erase(letter), letter));
    }
    EXPECT_TRUE(step >= 100 || model.empty() || tree_->root->height <= 7) << "60 letters need no more";
    EXPECT_EQ(walk(InorderTravAvlTree), std::string(model.begin(), model.end()));
    const auto letterOf = [](const AvlNode* node) { return node == nullptr ? '\0' : Letter(node->element); };
    EXPECT_EQ(letterOf(FindAvlNode(Element(letter), tree_, tree_->root)),
              model.count(letter) == 0 ? 0 : letter);
    EXPECT_EQ(letterOf(FindMinAvlNode(tree_->root)), model.empty() ? 0 : *model.begin());
    EXPECT_EQ(letterOf(FindMaxAvlNode(tree_->root)), model.empty() ? 0 : *model.rbegin());
  }
  ReleaseAvlTree(tree_);
}

TEST(AvlTree, CyclesItsAreasAndGoesToTheHeapPastThem) {
  for (const int32_t size : {4, 6, 8, 40}) {
    SCOPED_TRACE(size);
    AvlTree* tree = CreateAvlTree(nullptr, nullptr, 2, nullptr, size);
    tree->CmpAvlNode = [](const void* a, const void* b) {
      return static_cast<int32_t>(std::memcmp(a, b, 4));
    };
    auto* area = static_cast<unsigned char*>(tree->elementArea);
    for (const char c : {'a', 'b', 'c'}) {
      void* element = tree->GetAvlElement(tree);
      EXPECT_TRUE(c == 'c' || element == area + (c - 'a') * size);
      InsertAvlNode(std::memset(element, c, static_cast<size_t>(size)), tree, tree->root);
    }
    EXPECT_EQ(tree->freeElements, nullptr);
    EXPECT_EQ(tree->root, &tree->nodeArea[1]);
    DeleteAvlNode("cccc", tree, tree->root);  // the heap's
    EXPECT_TRUE(tree->freeElementNum == 0 && tree->freeNodeNum == 0);
    DeleteAvlNode("aaaa", tree, tree->root);
    EXPECT_TRUE(tree->freeElementNum == 1 && tree->freeNodeNum == 1);
    EXPECT_EQ(tree->freeNodes, &tree->nodeArea[0]);
    EXPECT_EQ(tree->GetAvlElement(tree), area);
    EXPECT_EQ(std::string(area, area + size), std::string(static_cast<size_t>(size), '\0'));
    tree->FreeAvlElement(tree, area);
    tree->FreeAvlElement(tree, nullptr);
    ReleaseAvlTree(tree);
  }
}

TEST(AvlTree, CreationTakesOnlyWhatCanWork) {
  EXPECT_EQ(GetAvlNodeSize(), sizeof(AvlNode));
  auto header = static_cast<AvlTree*>(std::memset(Malloc(sizeof(AvlTree)), 0, sizeof(AvlTree)));
  const int32_t refused[][2] = {{0, 8},        {-1, 8}, {1, 1}, {1, 3}, {INT32_MAX, 8}, {1 << 20, 1 << 20},
                                {1, INT32_MIN}};
  for (const auto& [count, size] : refused) {
    for (AvlTree* own : {static_cast<AvlTree*>(nullptr), header})  // which stays the caller's
      EXPECT_EQ(CreateAvlTree(own, nullptr, count, nullptr, size), nullptr) << count << ", " << size;
  }
  EXPECT_EQ(CreateAvlTree(header, nullptr, 70000, nullptr, -24), header);
  EXPECT_EQ(header->elementSize, 24);
  EXPECT_EQ(header->elementArea, nullptr);
  EXPECT_EQ(header->freeNodeNum, static_cast<int16_t>(70000 - 65536));
  InsertAvlNode(header->GetAvlElement(header), header, header->root);
  ReleaseAvlTree(header);
}

}  // namespace
