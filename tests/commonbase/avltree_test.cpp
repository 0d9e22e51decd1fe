#include "avltree.h"

#include <set>

#include "model.h"
#include "nodepool.h"

namespace {

std::string givenBack;
bool outOfNodes = false;
AvlNode* (*getNode)(void*) = nullptr;

// A tree of letters that runs out of nodes on demand and notes what is given back.
AvlTree* MakeTree() {
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, 3, nullptr, 0);
  getNode = tree->GetAvlNode;
  tree->GetAvlNode = [](void* context) { return outOfNodes ? nullptr : getNode(context); };
  tree->FreeAvlElement = [](void*, void* element) { givenBack += Letter(element); };
  return tree;
}

void Insert(char letter, AvlTree* tree) {
  EXPECT_EQ(InsertAvlNode(Element(letter), tree, tree->root), tree->root);
}

void Remove(char letter, AvlTree* tree) {
  EXPECT_EQ(DeleteAvlNode(Element(letter), tree, tree->root), tree->root);
}

std::string Walk(const AvlTree* tree, void (*order)(AvlNode*, AvlVisit, void*)) {
  std::string letters;
  const auto visit = [](AvlNode* node, void* context) {
    *static_cast<std::string*>(context) += Letter(AvlTreeElement(node));
    return 0;
  };
  order(tree->root, visit, &letters);
  return letters;
}

// Every subtree as "(left letter height right)".
std::string Shape(const AvlNode* node) {
  if (node == nullptr) return "";
  return "(" + Shape(node->left) + Letter(node->element) + std::to_string(node->height) + Shape(node->right) +
         ")";
}

TEST(AvlTree, TurnsAboutADifferenceOfTwoThatAnInsertionMeets) {
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
    AvlTree* tree = MakeTree();
    for (const char c : row.changes)
      c >= 'a' ? Insert(c, tree) : Remove(static_cast<char>(c + 'a' - 'A'), tree);
    EXPECT_EQ(Shape(tree->root), row.shape) << row.changes;
    EXPECT_EQ(Walk(tree, PostorderTravAvlTree), row.postorder);
    givenBack.clear();
    ReleaseAvlTree(tree);
    EXPECT_EQ(givenBack, row.postorder);
  }
}

TEST(AvlTree, BehavesLikeASetWithOrWithoutMemory) {
  Random random;
  std::set<char> model;
  AvlTree* tree = MakeTree();
  for (int step = 0; step < 10000 && !HasFailure(); ++step) {
    const char letter = random.letter(60);
    const std::string before = Shape(tree->root);
    // Phases that grow and phases that shrink, so that heights go badly stale, now and then to nothing.
    const size_t insertions[] = {8, 3, 8, 0};
    if (step < 100 || random.below(10) < insertions[step / 200 % 4]) {
      outOfNodes = random.oneIn(6);
      Insert(letter, tree);
      EXPECT_TRUE(!outOfNodes || InsertAvlNode(Element(letter), tree, nullptr) == nullptr);
      if (!outOfNodes) model.insert(letter);
      EXPECT_TRUE(model.count(letter) == 1 || Shape(tree->root) == before);
      outOfNodes = false;
    } else {
      givenBack.clear();
      Remove(letter, tree);
      EXPECT_EQ(givenBack, std::string(model.erase(letter), letter));
    }
    const std::string letters(model.begin(), model.end());
    EXPECT_TRUE(step >= 100 || model.empty() || tree->root->height <= 7) << "60 letters need no more";
    EXPECT_EQ(Walk(tree, InorderTravAvlTree), letters);
    const auto letterOf = [](const AvlNode* node) { return node == nullptr ? '\0' : Letter(node->element); };
    EXPECT_EQ(letterOf(FindAvlNode(Element(letter), tree, tree->root)),
              model.count(letter) == 0 ? 0 : letter);
    EXPECT_EQ(letterOf(FindMinAvlNode(tree->root)), letters.c_str()[0]);
    EXPECT_EQ(letterOf(FindMaxAvlNode(tree->root)), letters.empty() ? 0 : letters.back());
  }
  ReleaseAvlTree(tree);
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
    EXPECT_TRUE(tree->freeElements == nullptr && tree->root == &tree->nodeArea[1]);
    DeleteAvlNode("cccc", tree, tree->root);  // the heap's
    EXPECT_EQ(tree->freeElementNum + tree->freeNodeNum, 0);
    DeleteAvlNode("aaaa", tree, tree->root);
    EXPECT_TRUE(tree->freeElementNum == 1 && tree->freeNodeNum == 1 && tree->freeNodes == tree->nodeArea);
    EXPECT_EQ(tree->GetAvlElement(tree), area);
    EXPECT_EQ(std::count(area, area + size, '\0'), size);
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
  EXPECT_TRUE(header->elementSize == 24 && header->elementArea == nullptr);
  EXPECT_EQ(header->freeNodeNum, static_cast<int16_t>(70000 - 65536));
  InsertAvlNode(header->GetAvlElement(header), header, header->root);
  ReleaseAvlTree(header);
}

}  // namespace
