#include "slist.h"

#include "commonbase/src/assertion.h"
#include "commonbase/src/result.h"

namespace commonbase {
namespace {

static_assert(sizeof(void*) != 4 || (sizeof(SListNode) == 8 && offsetof(SListNode, next) == 4 &&
                                     sizeof(SList) == 16 && offsetof(SList, usedNodeNum) == 4 &&
                                     offsetof(SList, pool) == 8 && offsetof(SList, CmpsListNode) == 12),
              "callers on 32-bit systems rely on this layout");

// Takes a node for the element and links it behind `position`.
int32_t InsertBehind(void* element, SList* list, SListNode* position) {
  auto node = static_cast<SListNode*>(list->pool->GetCommonNode(list->pool));
  if (node == nullptr) return kRefused;
  node->element = element;
  node->next = position->next;
  position->next = node;
  ++list->usedNodeNum;
  return kOk;
}

// The node whose element comes first in the order that `sign` gives: 1 for the least, -1 for the greatest.
SListNode* FindExtreme(const SList* list, int32_t tie, int sign) {
  if (list->CmpsListNode == nullptr) return nullptr;
  SListNode* best = list->header->next;
  for (SListNode* node = best; node != nullptr; node = node->next) {
    const int32_t order = list->CmpsListNode(best->element, node->element);
    const bool better = sign > 0 ? order > 0 : order < 0;
    if (better || (order == 0 && tie == 1)) best = node;
  }
  return best;
}

}  // namespace
}  // namespace commonbase

using namespace commonbase;

SList* CreateEmptysList(int32_t count) {
  if (count == INT32_MAX) return nullptr;
  auto list = static_cast<SList*>(Malloc(sizeof(SList)));
  if (list == nullptr) return nullptr;
  list->pool = CreateCommonPool(count + 1, sizeof(SListNode));
  if (list->pool == nullptr) {
    Free(list);
    return nullptr;
  }
  list->header = static_cast<SListNode*>(list->pool->GetCommonNode(list->pool));
  list->usedNodeNum = 1;
  list->CmpsListNode = nullptr;
  return list;
}

int32_t IsListEmpty(const SListNode* header) {
  return header->next == nullptr;
}

int32_t IsLastInList(const SListNode* node) {
  return node->next == nullptr;
}

SListNode* FindInsList(const void* element, const SList* list) {
  if (list->CmpsListNode == nullptr) {
    ReportAssertion("commonbase/src/slist", "FindInsList", __LINE__, "Must set the CmpsListNode function");
    return nullptr;
  }
  SListNode* node = list->header->next;
  while (node != nullptr && list->CmpsListNode(element, node->element) != 0) node = node->next;
  return node;
}

SListNode* FindMinInsList(const SList* list, int32_t tie) {
  return FindExtreme(list, tie, 1);
}

SListNode* FindMaxInsList(const SList* list, int32_t tie) {
  return FindExtreme(list, tie, -1);
}

SListNode* PrevsListNode(const SListNode* node, SListNode* header) {
  SListNode* previous = header;
  while (previous->next != nullptr && previous->next != node) previous = previous->next;
  return previous;
}

SListNode* NextsListNode(const SListNode* node, const SListNode* header) {
  return header == nullptr ? nullptr : node->next;
}

int32_t InsertNodeTosList(void* element, SList* list, SListNode* position) {
  return InsertBehind(element, list, position == nullptr ? list->header : position);
}

int32_t AppendNodeTosList(void* element, SList* list) {
  return InsertBehind(element, list, ListTail(list->header));
}

int32_t CountSlist(const SListNode* header) {
  int32_t count = 0;
  for (const SListNode* node = header->next; node != nullptr; node = node->next) ++count;
  return count;
}

void DeletesListNode(SListNode* node, SList* list) {
  SListNode* previous = PrevsListNode(node, list->header);
  if (previous->next == nullptr) return;
  previous->next = node->next;
  --list->usedNodeNum;
  list->pool->FreeCommonNode(node, list->pool);
}

SListNode* ListHeader(SListNode* header) {
  return header;
}

SListNode* ListTail(SListNode* header) {
  return PrevsListNode(nullptr, header);
}

SListNode* FirstListNode(const SListNode* header) {
  return header->next;
}

void* ListNodeElement(const SListNode* node) {
  return node->element;
}

void ClearsList(SList* list) {
  SListNode* node = list->header->next;
  list->header->next = nullptr;
  while (node != nullptr) {
    SListNode* next = node->next;
    list->pool->FreeCommonNode(node, list->pool);
    node = next;
  }
}

void FreesList(SList* list) {
  ClearsList(list);
  ReleaseCommonPool(list->pool);
  Free(list);
}

void FreesListWithElements(SList* list) {
  for (SListNode* node = list->header->next; node != nullptr; node = node->next) Free(node->element);
  FreesList(list);
}
