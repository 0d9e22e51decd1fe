#include "avltree.h"

#include <set>

#include "model.h"
#include "nodepool.h"

namespace {

// Trees whose elements are letters, which run out of nodes on demand and note what is given back.
std::string g_givenBack;
bool g_outOfNodes = false;
AvlNode* (*g_getNode)(void*) = nullptr;

AvlTree* LetterTree(int32_t nodeCount) {
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, nodeCount, nullptr, 0);
  g_getNode = tree->GetAvlNode;
  tree->GetAvlNode = [](void* context) { return g_outOfNodes ? nullptr : g_getNode(context); };
  tree->FreeAvlElement = [](void*, void* element) { g_givenBack += Letter(element); };
  g_givenBack.clear();
  return tree;
}

std::string Walk(AvlNode* root, void (*walk)(AvlNode*, AvlVisit, void*)) {
  std::string letters;
  const auto visit = [](AvlNode* node, void* context) {
    *static_cast<std::string*>(context) += Letter(AvlTreeElement(node));
    return 0;
  };
  walk(root, visit, &letters);
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
    AvlTree* tree = LetterTree(3);
    for (const char c : row.changes) {
      if (c >= 'a')
        InsertAvlNode(Element(c), tree, tree->root);
      else
        DeleteAvlNode(Element(static_cast<char>(c + 'a' - 'A')), tree, tree->root);
    }
    EXPECT_EQ(Shape(tree->root), row.shape) << row.changes;
    EXPECT_EQ(Walk(tree->root, PostorderTravAvlTree), row.postorder);
    g_givenBack.clear();
    ReleaseAvlTree(tree);
    EXPECT_EQ(g_givenBack, row.postorder);
  }
}

TEST(AvlTree, BehavesLikeASetWithOrWithoutMemory) {
  Random random;
  AvlTree* tree = LetterTree(7);
  std::set<char> model;
  for (int step = 0; step < 10000 && !testing::Test::HasFailure(); ++step) {
    const char letter = random.letter(60);
    const std::string before = Shape(tree->root);
    // Phases that grow and phases that shrink, so that heights go badly stale, now and then to nothing.
    const size_t insertions[] = {8, 3, 8, 0};
    if (step < 100 || random.below(10) < insertions[step / 200 % 4]) {
      g_outOfNodes = random.oneIn(6);
      EXPECT_EQ(InsertAvlNode(Element(letter), tree, tree->root), tree->root);
      EXPECT_TRUE(!g_outOfNodes || InsertAvlNode(Element(letter), tree, nullptr) == nullptr);
      if (!g_outOfNodes) model.insert(letter);
      EXPECT_TRUE(model.count(letter) == 1 || Shape(tree->root) == before);
      g_outOfNodes = false;
    } else {
      EXPECT_EQ(DeleteAvlNode(Element(letter), tree, tree->root), tree->root);
      EXPECT_EQ(g_givenBack, std::string(model.erase(letter), letter));
      g_givenBack.clear();
    }
    EXPECT_TRUE(step >= 100 || model.empty() || tree->root->height <= 7) << "60 letters need no more";
    EXPECT_EQ(Walk(tree->root, InorderTravAvlTree), std::string(model.begin(), model.end()));
    const AvlNode* const found = FindAvlNode(Element(letter), tree, tree->root);
    EXPECT_EQ(found == nullptr ? 0 : Letter(found->element), model.count(letter) == 0 ? 0 : letter);
    const AvlNode *const least = FindMinAvlNode(tree->root), *const greatest = FindMaxAvlNode(tree->root);
    EXPECT_EQ(least == nullptr ? 0 : Letter(least->element), model.empty() ? 0 : *model.begin());
    EXPECT_EQ(greatest == nullptr ? 0 : Letter(greatest->element), model.empty() ? 0 : *model.rbegin());
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
    EXPECT_EQ(CreateAvlTree(nullptr, nullptr, count, nullptr, size), nullptr) << count << ", " << size;
    EXPECT_EQ(CreateAvlTree(header, nullptr, count, nullptr, size), nullptr)
        << "the header stays the caller's";
  }
  EXPECT_EQ(CreateAvlTree(header, nullptr, 70000, nullptr, -24), header);
  EXPECT_EQ(header->elementSize, 24);
  EXPECT_EQ(header->elementArea, nullptr);
  EXPECT_EQ(header->freeNodeNum, static_cast<int16_t>(70000 - 65536));
  InsertAvlNode(header->GetAvlElement(header), header, header->root);
  ReleaseAvlTree(header);
}

}  // namespace
