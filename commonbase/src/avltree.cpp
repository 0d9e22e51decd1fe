#include "avltree.h"

#include <algorithm>
#include <utility>

#include "commonbase/src/assertion.h"
#include "commonbase/src/freechain.h"
#include "nodepool.h"

namespace commonbase {
namespace {

static_assert(sizeof(void*) != 4 || (sizeof(AvlNode) == 16 && offsetof(AvlNode, left) == 4 &&
                                     offsetof(AvlNode, right) == 8 && offsetof(AvlNode, height) == 12),
              "callers on 32-bit systems rely on this layout");
static_assert(sizeof(void*) != 4 ||
                  (sizeof(AvlTree) == 64 && offsetof(AvlTree, nodeArea) == 4 &&
                   offsetof(AvlTree, elementArea) == 8 && offsetof(AvlTree, freeNodes) == 12 &&
                   offsetof(AvlTree, freeElements) == 16 && offsetof(AvlTree, nodeNum) == 20 &&
                   offsetof(AvlTree, freeNodeNum) == 24 && offsetof(AvlTree, freeElementNum) == 26 &&
                   offsetof(AvlTree, elementSize) == 28 && offsetof(AvlTree, ownsNodeArea) == 32 &&
                   offsetof(AvlTree, ownsElementArea) == 34 && offsetof(AvlTree, InitAvlTree) == 36 &&
                   offsetof(AvlTree, GetAvlNode) == 40 && offsetof(AvlTree, GetAvlElement) == 44 &&
                   offsetof(AvlTree, FreeAvlNode) == 48 && offsetof(AvlTree, FreeAvlElement) == 52 &&
                   offsetof(AvlTree, DestroyAvlTree) == 56 && offsetof(AvlTree, CmpAvlNode) == 60),
              "callers on 32-bit systems rely on this layout");

BlockArea NodesOf(const AvlTree* tree) {
  return {reinterpret_cast<unsigned char*>(tree->nodeArea), tree->nodeNum, sizeof(AvlNode)};
}

BlockArea ElementsOf(const AvlTree* tree) {
  return {static_cast<unsigned char*>(tree->elementArea), tree->nodeNum,
          static_cast<size_t>(tree->elementSize)};
}

void* NodeContext(AvlTree* tree) {
  return tree->ownsNodeArea != 0 ? static_cast<void*>(tree) : tree->nodeArea;
}

void* ElementContext(AvlTree* tree) {
  return tree->ownsElementArea != 0 ? tree : tree->elementArea;
}

void AddTo(int16_t& counter, int change) {
  counter = static_cast<int16_t>(counter + change);
}

// A zero-filled area, or null.
void* MakeArea(int32_t count, size_t size) {
  const uint64_t bytes = static_cast<uint64_t>(count) * size;
  void* area = bytes <= UINT32_MAX ? Malloc(static_cast<uint32_t>(bytes)) : nullptr;
  if (area != nullptr) std::memset(area, 0, static_cast<size_t>(bytes));
  return area;
}

bool SetUpNodes(AvlTree* tree, int32_t count) {
  const bool own = tree->nodeArea == nullptr;
  if (own) {
    tree->nodeArea = static_cast<AvlNode*>(MakeArea(count, sizeof(AvlNode)));
    if (tree->nodeArea == nullptr) return false;
    for (int32_t i = 0; i + 1 < count; ++i) tree->nodeArea[i].right = &tree->nodeArea[i + 1];
  }
  tree->ownsNodeArea = own ? 1 : 0;
  tree->nodeNum = static_cast<uint32_t>(count);
  tree->freeNodeNum = tree->freeElementNum = static_cast<int16_t>(count);
  tree->freeNodes = tree->nodeArea;
  return true;
}

bool SetUpElements(AvlTree* tree, void* elementArea, int32_t size) {
  tree->elementArea = elementArea;
  tree->ownsElementArea = 0;
  if (elementArea != nullptr || size > 0) tree->elementSize = size;
  if (elementArea != nullptr || size == 0) return true;
  if (size < 0) {
    tree->elementSize = -size;
    return true;
  }
  tree->elementArea = MakeArea(static_cast<int32_t>(tree->nodeNum), static_cast<size_t>(size));
  if (tree->elementArea == nullptr) return false;
  tree->ownsElementArea = 1;
  ElementsOf(tree).chainAll();
  tree->freeElements = tree->elementArea;
  return true;
}

AvlTree* InitAvlTree(AvlTree* tree, void* elementArea, int32_t nodeCount, int32_t elementSize) {
  tree->ownsNodeArea = 0;
  const bool tooSmallForLink = elementArea == nullptr && elementSize > 0 && elementSize < kSmallestLink;
  if (nodeCount < 1 || tooSmallForLink || elementSize == INT32_MIN) return nullptr;
  if (!SetUpNodes(tree, nodeCount)) return nullptr;
  if (SetUpElements(tree, elementArea, elementSize)) return tree;
  if (tree->ownsNodeArea != 0) {
    Free(tree->nodeArea);
    tree->nodeArea = tree->freeNodes = nullptr;
    tree->ownsNodeArea = 0;
  }
  return nullptr;
}

AvlNode* GetAvlNode(void* context) {
  auto tree = static_cast<AvlTree*>(context);
  if (tree == nullptr || tree->freeNodes == nullptr) return static_cast<AvlNode*>(Malloc(sizeof(AvlNode)));
  AvlNode* node = tree->freeNodes;
  tree->freeNodes = node->right;
  AddTo(tree->freeNodeNum, -1);
  return node;
}

void* GetAvlElement(void* context) {
  auto tree = static_cast<AvlTree*>(context);
  if (tree == nullptr) return nullptr;
  if (tree->freeElements == nullptr) return Malloc(static_cast<uint32_t>(tree->elementSize));
  void* element = tree->freeElements;
  tree->freeElements = ElementsOf(tree).next(element);
  AddTo(tree->freeElementNum, -1);
  return element;
}

void FreeAvlNode(void* context, AvlNode* node) {
  auto tree = static_cast<AvlTree*>(context);
  if (tree == nullptr || !NodesOf(tree).holds(node)) {
    Free(node);
    return;
  }
  node->right = tree->freeNodes;
  tree->freeNodes = node;
  AddTo(tree->freeNodeNum, 1);
}

void FreeAvlElement(void* context, void* element) {
  auto tree = static_cast<AvlTree*>(context);
  if (tree == nullptr || !ElementsOf(tree).holds(element)) {
    Free(element);
    return;
  }
  const BlockArea area = ElementsOf(tree);
  std::memset(element, 0, area.size);
  area.setNext(element, tree->freeElements);
  tree->freeElements = element;
  AddTo(tree->freeElementNum, 1);
}

void DestroyAvlTree(AvlTree* tree) {
  if (tree->ownsNodeArea != 0) Free(tree->nodeArea);
  if (tree->ownsElementArea != 0) Free(tree->elementArea);
  Free(tree);
}

int32_t CmpAvlNode(const void* a, const void* b) {
  const auto left = reinterpret_cast<uintptr_t>(a);
  const auto right = reinterpret_cast<uintptr_t>(b);
  return left > right ? 1 : left < right ? -1 : 0;
}

int32_t Height(const AvlNode* node) {
  return node == nullptr ? -1 : node->height;
}

void CorrectHeight(AvlNode* node) {
  node->height = 1 + std::max(Height(node->left), Height(node->right));
}

// One of a node's two subtrees, so that what is done on one side is done on the other by the same lines. Each is
// compiled for itself: an insertion that carries the side along takes half as long again.
using Side = AvlNode* AvlNode::*;
constexpr Side kLeft = &AvlNode::left;
constexpr Side kRight = &AvlNode::right;

constexpr Side Opposite(Side side) {
  return side == kLeft ? kRight : kLeft;
}

// Brings up the child of that side, which is there, into its parent's place.
template <Side kSide>
AvlNode* Rotate(AvlNode* top) {
  AvlNode* child = top->*kSide;
  top->*kSide = child->*Opposite(kSide);
  child->*Opposite(kSide) = top;
  CorrectHeight(top);
  CorrectHeight(child);
  return child;
}

enum class Outcome { kAdded, kPresent, kNoMemory };

struct Insertion {
  void* element = nullptr;
  AvlTree* tree = nullptr;
  Outcome outcome{};

  int32_t compareWith(const AvlNode* node) const { return tree->CmpAvlNode(element, node->element); }
};

AvlNode* MakeLeaf(Insertion& insertion) {
  AvlNode* node = insertion.tree->GetAvlNode(NodeContext(insertion.tree));
  insertion.outcome = node == nullptr ? Outcome::kNoMemory : Outcome::kAdded;
  if (node != nullptr) *node = {insertion.element, nullptr, nullptr, 0};
  return node;
}

// Puts right what an insertion on that side has made too high.
template <Side kSide>
AvlNode* Balance(const Insertion& insertion, AvlNode* top) {
  AvlNode*& child = top->*kSide;
  if (Height(child) - Height(top->*Opposite(kSide)) != 2) return top;
  const int32_t order = insertion.compareWith(child);
  // Earlier deletions can leave a difference of 2 on the path to an element that is already present, even in the child
  // itself. Then there need not be the inner grandchild that is to come up first, and nothing was added that would call
  // for it.
  if (order == 0 && insertion.outcome == Outcome::kPresent) return top;
  const bool isOuter = kSide == kLeft ? order < 0 : order > 0;
  if (!isOuter) child = Rotate<Opposite(kSide)>(child);
  return Rotate<kSide>(top);
}

// Inserts below `top` and gives the subtree's new root. Without memory nothing is touched on the way back up:
// a rotation would turn around the node that is missing.
AvlNode* InsertBelow(Insertion& insertion, AvlNode* top) {
  if (top == nullptr) return MakeLeaf(insertion);
  const int32_t order = insertion.compareWith(top);
  if (order == 0) {
    insertion.outcome = Outcome::kPresent;
  } else {
    AvlNode*& side = order < 0 ? top->left : top->right;
    AvlNode* child = InsertBelow(insertion, side);
    if (insertion.outcome == Outcome::kNoMemory) return top;
    side = child;
    top = order < 0 ? Balance<kLeft>(insertion, top) : Balance<kRight>(insertion, top);
  }
  CorrectHeight(top);
  return top;
}

int32_t ReleaseAvlNode(AvlNode* node, void* context) {
  auto tree = static_cast<AvlTree*>(context);
  tree->FreeAvlElement(ElementContext(tree), node->element);
  if (!NodesOf(tree).holds(node)) Free(node);
  return 0;
}

}  // namespace
}  // namespace commonbase

uint32_t GetAvlNodeSize() {
  return sizeof(AvlNode);
}

AvlTree* CreateAvlTree(AvlTree* header, AvlNode* nodeArea, int32_t nodeCount, void* elementArea,
                       int32_t elementSize) {
  auto tree = header != nullptr ? header : static_cast<AvlTree*>(Malloc(sizeof(AvlTree)));
  if (tree == nullptr) return nullptr;
  if (header == nullptr) *tree = {};
  tree->root = nullptr;
  tree->nodeArea = nodeArea;
  tree->InitAvlTree = commonbase::InitAvlTree;
  tree->GetAvlNode = commonbase::GetAvlNode;
  tree->GetAvlElement = commonbase::GetAvlElement;
  tree->FreeAvlNode = commonbase::FreeAvlNode;
  tree->FreeAvlElement = commonbase::FreeAvlElement;
  tree->DestroyAvlTree = commonbase::DestroyAvlTree;
  tree->CmpAvlNode = commonbase::CmpAvlNode;
  if (tree->InitAvlTree(tree, elementArea, nodeCount, elementSize) != nullptr) return tree;
  if (header == nullptr) Free(tree);
  return nullptr;
}

AvlNode* InsertAvlNode(void* element, AvlTree* tree, AvlNode* root) {
  if (tree == nullptr) {
    commonbase::ReportAssertion("commonbase/src/avltree", "InsertAvlNode", __LINE__,
                                "Can't InsertAvlNode the empty tree!\n");
    return nullptr;
  }
  commonbase::Insertion insertion{element, tree, commonbase::Outcome::kPresent};
  AvlNode* newRoot = commonbase::InsertBelow(insertion, root);
  if (newRoot != nullptr) tree->root = newRoot;
  return newRoot;
}

AvlNode* FindAvlNode(const void* key, const AvlTree* tree, AvlNode* root) {
  AvlNode* node = root;
  while (node != nullptr) {
    const int32_t order = tree->CmpAvlNode(key, node->element);
    if (order == 0) break;
    node = order < 0 ? node->left : node->right;
  }
  return node;
}

AvlNode* FindMinAvlNode(AvlNode* root) {
  while (root != nullptr && root->left != nullptr) root = root->left;
  return root;
}

AvlNode* FindMaxAvlNode(AvlNode* root) {
  while (root != nullptr && root->right != nullptr) root = root->right;
  return root;
}

AvlNode* DeleteAvlNode(const void* element, AvlTree* tree, AvlNode* root) {
  AvlNode* top = root;
  AvlNode** link = &top;  // to the node that goes
  while (*link != nullptr) {
    const int32_t order = tree->CmpAvlNode(element, (*link)->element);
    if (order == 0) break;
    link = order < 0 ? &(*link)->left : &(*link)->right;
  }
  AvlNode* node = *link;
  if (node == nullptr) return root;

  if (node->left != nullptr && node->right != nullptr) {
    // The in-order successor's element moves here, and the successor's node goes with the deleted element.
    link = &node->right;
    while ((*link)->left != nullptr) link = &(*link)->left;
    std::swap(node->element, (*link)->element);
    node = *link;
  }
  AvlNode* replacement = node->left == nullptr ? node->right : node->left;
  if (node == tree->root) tree->root = replacement;
  *link = replacement;
  tree->FreeAvlElement(commonbase::ElementContext(tree), node->element);
  tree->FreeAvlNode(commonbase::NodeContext(tree), node);
  return top;
}

void InorderTravAvlTree(AvlNode* root, AvlVisit visit, void* context) {
  for (AvlNode* node = root; node != nullptr; node = node->right) {
    InorderTravAvlTree(node->left, visit, context);
    visit(node, context);
  }
}

void PostorderTravAvlTree(AvlNode* root, AvlVisit visit, void* context) {
  if (root == nullptr) return;
  PostorderTravAvlTree(root->left, visit, context);
  PostorderTravAvlTree(root->right, visit, context);
  visit(root, context);
}

void* AvlTreeElement(const AvlNode* node) {
  return node->element;
}

void ReleaseAvlTree(AvlTree* tree) {
  PostorderTravAvlTree(tree->root, commonbase::ReleaseAvlNode, tree);
  tree->DestroyAvlTree(tree);
}
