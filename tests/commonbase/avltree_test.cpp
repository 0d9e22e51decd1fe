#include "avltree.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "nodepool.h"
#include "random.h"

namespace {

void* Element(uintptr_t value) {
  return reinterpret_cast<void*>(value);
}
uintptr_t Value(const void* element) {
  return reinterpret_cast<uintptr_t>(element);
}

// A second tree in its plainest form, with the stale heights that deletions leave: the shape to compare with.
struct Model {
  uintptr_t value;
  int32_t height = 0;
  std::unique_ptr<Model> side[2] = {};
};
using Link = std::unique_ptr<Model>;

int32_t Height(const Link& t) {
  return t ? t->height : -1;
}

void Correct(Model& t) {
  t.height = 1 + std::max(Height(t.side[0]), Height(t.side[1]));
}

void Lift(Link& t, int side) {
  Link up = std::move(t->side[side]);
  t->side[side] = std::move(up->side[1 - side]);
  Correct(*t);
  up->side[1 - side] = std::move(t);
  Correct(*up);
  t = std::move(up);
}

bool Insert(Link& t, uintptr_t x) {
  if (!t) {
    t = std::make_unique<Model>(Model{x});
    return true;
  }
  bool added = false;
  if (x != t->value) {
    const int side = x > t->value;
    added = Insert(t->side[side], x);
    if (Height(t->side[side]) - Height(t->side[1 - side]) == 2) {
      const uintptr_t child = t->side[side]->value;
      const bool outside = side == 1 ? x > child : x < child;
      if (added || x != child) {
        if (!outside) Lift(t->side[side], 1 - side);
        Lift(t, side);
      }
    }
  }
  Correct(*t);
  return added;
}

void Delete(Link& t, uintptr_t x) {
  if (!t) return;
  if (x != t->value) return Delete(t->side[x > t->value], x);
  if (t->side[0] && t->side[1]) {
    Model* successor = t->side[1].get();
    while (successor->side[0]) successor = successor->side[0].get();
    std::swap(t->value, successor->value);
    return Delete(t->side[1], x);
  }
  Link replacement = std::move(t->side[t->side[0] ? 0 : 1]);
  t = std::move(replacement);
}

bool Same(const AvlNode* node, const Link& t) {
  if (node == nullptr || !t) return node == nullptr && !t;
  return Value(node->element) == t->value && node->height == t->height && Same(node->left, t->side[0]) &&
         Same(node->right, t->side[1]);
}

std::vector<uintptr_t> Walk(AvlNode* root, void (*walk)(AvlNode*, AvlVisit, void*)) {
  std::vector<uintptr_t> values;
  const auto visit = [](AvlNode* node, void* context) {
    static_cast<std::vector<uintptr_t>*>(context)->push_back(Value(AvlTreeElement(node)));
    return 0;
  };
  walk(root, visit, &values);
  return values;
}

// The storage slots of the trees below: elements are numbers, and nodes run out on demand.
std::vector<uintptr_t> g_givenBack;
bool g_outOfNodes = false;
AvlNode* (*g_getNode)(void*) = nullptr;

AvlTree* NumberTree(int32_t nodeCount) {
  AvlTree* tree = CreateAvlTree(nullptr, nullptr, nodeCount, nullptr, 0);
  g_getNode = tree->GetAvlNode;
  tree->GetAvlNode = [](void* context) { return g_outOfNodes ? nullptr : g_getNode(context); };
  tree->FreeAvlElement = [](void*, void* element) { g_givenBack.push_back(Value(element)); };
  g_givenBack.clear();
  return tree;
}

class AvlTreeModel {
 public:
  explicit AvlTreeModel(int32_t nodeCount) : tree_(NumberTree(nodeCount)) {}

  void insert(uintptr_t x, bool outOfNodes) {
    g_outOfNodes = outOfNodes;
    EXPECT_EQ(InsertAvlNode(Element(x), tree_, tree_->root), tree_->root);
    AvlNode* const root = tree_->root;
    if (outOfNodes) {
      EXPECT_EQ(InsertAvlNode(Element(x), tree_, nullptr), nullptr);
      EXPECT_EQ(tree_->root, root);
    }
    g_outOfNodes = false;
    if (outOfNodes && values_.count(x) == 0) return;
    Insert(model_, x);
    values_.insert(x);
  }

  void remove(uintptr_t x) {
    EXPECT_EQ(DeleteAvlNode(Element(x), tree_, tree_->root), tree_->root);
    EXPECT_EQ(g_givenBack, std::vector<uintptr_t>(values_.count(x), x));
    g_givenBack.clear();
    Delete(model_, x);
    values_.erase(x);
  }

  void check(uintptr_t x) {
    ASSERT_TRUE(Same(tree_->root, model_));
    AvlNode* found = FindAvlNode(Element(x), tree_, tree_->root);
    ASSERT_EQ(found != nullptr, values_.count(x) == 1);
    if (found != nullptr) {
      ASSERT_EQ(Value(found->element), x);
    }
    ASSERT_EQ(Walk(tree_->root, InorderTravAvlTree), std::vector<uintptr_t>(values_.begin(), values_.end()));
    ASSERT_EQ(FindMinAvlNode(tree_->root) == nullptr, values_.empty());
    if (values_.empty()) return;
    ASSERT_EQ(Value(FindMinAvlNode(tree_->root)->element), *values_.begin());
    ASSERT_EQ(Value(FindMaxAvlNode(tree_->root)->element), *values_.rbegin());
  }

  void release() {
    const std::vector<uintptr_t> expected = Walk(tree_->root, PostorderTravAvlTree);
    EXPECT_EQ(expected.size(), values_.size());
    ReleaseAvlTree(tree_);
    EXPECT_EQ(g_givenBack, expected);
  }

 private:
  AvlTree* tree_;
  Link model_;
  std::set<uintptr_t> values_;
};

TEST(AvlTree, KeepsTheExactShapeOfThePlainAlgorithmWithOrWithoutMemory) {
  Random random;
  for (const int32_t nodeCount : {1, 7, 100}) {
    AvlTreeModel model(nodeCount);
    for (int step = 0; step < 4000 && !testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(testing::Message() << "area of " << nodeCount << ", step " << step);
      // Phases that grow and phases that shrink, so that heights go badly stale.
      const uintptr_t x = 1 + random.below(60);
      const bool growing = step / 100 % 2 == 0;
      if (random.below(10) < (growing ? 8u : 3u))
        model.insert(x, random.oneIn(6));
      else
        model.remove(x);
      model.check(x);
    }
    model.release();
  }
}

// True heights and balance, which hold until the first deletion.
int32_t CheckedHeight(const AvlNode* node) {
  if (node == nullptr) return -1;
  const int32_t left = CheckedHeight(node->left), right = CheckedHeight(node->right);
  EXPECT_LE(std::abs(left - right), 1);
  EXPECT_EQ(node->height, 1 + std::max(left, right));
  return node->height;
}

TEST(AvlTree, StaysBalancedWhileItOnlyGrows) {
  Random random;
  for (const int order : {0, 1, 2}) {  // ascending, descending, random with duplicates
    AvlTree* tree = NumberTree(1);
    for (uintptr_t i = 1; i <= 2000; ++i)
      InsertAvlNode(Element(order == 0   ? i
                            : order == 1 ? 3000 - i
                                         : 1 + random.below(1500)),
                    tree, tree->root);
    EXPECT_LE(CheckedHeight(tree->root), 15);
    ReleaseAvlTree(tree);
  }
}

TEST(AvlTree, CyclesItsAreasAndGoesToTheHeapPastThem) {
  for (const int32_t size : {4, 6, 8, 40}) {
    SCOPED_TRACE(size);
    AvlTree* tree = CreateAvlTree(nullptr, nullptr, 2, nullptr, size);
    ASSERT_NE(tree, nullptr);
    auto* area = static_cast<unsigned char*>(tree->elementArea);
    tree->CmpAvlNode = [](const void* a, const void* b) {
      return static_cast<int32_t>(std::memcmp(a, b, 4));
    };

    void* elements[3];
    for (int i = 0; i < 3; ++i) {
      elements[i] = tree->GetAvlElement(tree);
      std::memset(elements[i], 'a' + i, static_cast<size_t>(size));
      InsertAvlNode(elements[i], tree, tree->root);
    }
    EXPECT_EQ(elements[0], area);
    EXPECT_EQ(elements[1], area + size);
    EXPECT_EQ(tree->freeElements, nullptr);
    EXPECT_EQ(tree->freeElementNum, 0);
    EXPECT_EQ(tree->freeNodeNum, 0);
    EXPECT_EQ(tree->root, &tree->nodeArea[1]);

    DeleteAvlNode("cccc", tree, tree->root);  // the heap's
    EXPECT_EQ(tree->freeElementNum + tree->freeNodeNum, 0);
    DeleteAvlNode("aaaa", tree, tree->root);
    EXPECT_EQ(tree->freeElements, area);
    EXPECT_EQ(tree->freeNodes, &tree->nodeArea[0]);
    EXPECT_EQ(tree->freeElementNum, 1);
    EXPECT_EQ(tree->freeNodeNum, 1);
    EXPECT_EQ(tree->GetAvlElement(tree), area);
    EXPECT_EQ(std::vector<unsigned char>(area, area + size),
              std::vector<unsigned char>(static_cast<size_t>(size)));
    tree->FreeAvlElement(tree, area);
    tree->FreeAvlElement(tree, nullptr);
    ReleaseAvlTree(tree);
  }
}

TEST(AvlTree, CreationTakesOnlyWhatCanWork) {
  EXPECT_EQ(GetAvlNodeSize(), sizeof(AvlNode));
  struct {
    int32_t count, size;
  } const refused[] = {{0, 8}, {-1, 8},        {INT32_MIN, 0},     {1, 1},
                       {1, 3}, {INT32_MAX, 8}, {1 << 20, 1 << 20}, {1, INT32_MIN}};
  for (const auto& c : refused)
    EXPECT_EQ(CreateAvlTree(nullptr, nullptr, c.count, nullptr, c.size), nullptr)
        << c.count << ", " << c.size;

  // A refused header stays the caller's, an accepted one goes with the tree.
  auto header = static_cast<AvlTree*>(Malloc(sizeof(AvlTree)));
  std::memset(static_cast<void*>(header), 0, sizeof(AvlTree));
  EXPECT_EQ(CreateAvlTree(header, nullptr, 1 << 20, nullptr, 1 << 20), nullptr);
  EXPECT_EQ(CreateAvlTree(header, nullptr, 70000, nullptr, -24), header);
  EXPECT_EQ(header->elementSize, 24);
  EXPECT_EQ(header->elementArea, nullptr);
  EXPECT_EQ(header->freeNodeNum, static_cast<int16_t>(70000 - 65536));
  InsertAvlNode(header->GetAvlElement(header), header, header->root);
  ReleaseAvlTree(header);
}

TEST(AvlTree, ReportsANullTree) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(InsertAvlNode(nullptr, nullptr, nullptr), nullptr);
  const std::string report = testing::internal::GetCapturedStdout();
  EXPECT_EQ(report.find("[ Assert Failed! commonbase/src/avltree, InsertAvlNode, "), 0u) << report;
  EXPECT_NE(report.find(" ] Can't InsertAvlNode the empty tree!\n\n"), std::string::npos) << report;
}

}  // namespace
