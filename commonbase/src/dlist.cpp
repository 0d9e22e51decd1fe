#include "dlist.h"

#include <algorithm>
#include <cstring>

#include "commonbase/src/result.h"
#include "platform/heap.h"

namespace commonbase {
namespace {

static_assert(sizeof(void*) != 4 ||
                  (sizeof(DListNode) == 16 && offsetof(DListNode, next) == 4 &&
                   offsetof(DListNode, size) == 8 && offsetof(DListNode, data) == 12 && sizeof(DList) == 20 &&
                   offsetof(DList, reserved) == 4 && offsetof(DList, head) == 8 &&
                   offsetof(DList, tail) == 12 && offsetof(DList, cursor) == 16),
              "callers on 32-bit systems rely on this layout");

// A node with a copy of the bytes, linked to nothing, or null.
DListNode* MakeNode(const void* bytes, uint32_t length) {
  auto node = platform::Make<DListNode>();
  if (node == nullptr) return nullptr;
  // An element of length 0 has an address too, so that a walk can tell it from the end.
  node->data = platform::Allocate(std::max(length, 1U));
  if (node->data == nullptr) {
    platform::Release(node);
    return nullptr;
  }
  std::memcpy(node->data, bytes, length);
  node->size = length;
  return node;
}

void ReleaseNode(DListNode* node) {
  platform::Release(node->data);
  platform::Release(node);
}

void LinkBehind(DListNode* node, DListNode* previous, DList* list) {
  node->prev = previous;
  node->next = previous->next;
  previous->next = node;
  if (node->next != nullptr)
    node->next->prev = node;
  else
    list->tail = node;
  ++list->count;
}

void UnlinkAndRelease(DListNode* node, DList* list) {
  node->prev->next = node->next;
  if (node->next != nullptr)
    node->next->prev = node->prev;
  else
    list->tail = node->prev;
  --list->count;
  ReleaseNode(node);
}

DListNode* FindNode(DLMatch match, const void* key, uint32_t keyLength, const DList* list) {
  if (match == nullptr || key == nullptr || list == nullptr || keyLength == 0) return nullptr;
  DListNode* node = list->head->next;
  while (node != nullptr && match(node->data, key, keyLength) != 1) node = node->next;
  return node;
}

}  // namespace
}  // namespace commonbase

using namespace commonbase;

int32_t DLCreate(DList* list) {
  if (list == nullptr) return kRefused;
  *list = {};
  list->head = list->tail = platform::Make<DListNode>();
  return list->head == nullptr ? kRefused : kOk;
}

int32_t DLInsert(const void* bytes, uint32_t length, DList* list) {
  if (bytes == nullptr || length == 0 || list == nullptr) return kRefused;
  DListNode* node = MakeNode(bytes, length);
  if (node == nullptr) return kRefused;
  LinkBehind(node, list->tail, list);
  return kOk;
}

int32_t DLInsertSort(const void* bytes, uint32_t length, DLOrder order, DList* list) {
  if (bytes == nullptr || order == nullptr || list == nullptr) return kRefused;
  DListNode* node = MakeNode(bytes, length);
  if (node == nullptr) return kRefused;
  DListNode* previous = list->head;
  while (previous->next != nullptr && order(previous->next->data, previous->next->size, bytes, length) != 1)
    previous = previous->next;
  LinkBehind(node, previous, list);
  return kOk;
}

void* DLGetFirstData(uint32_t* length, DList* list) {
  if (list == nullptr) return nullptr;
  list->cursor = list->head->next;
  return DLGetNextData(length, list);
}

void* DLGetNextData(uint32_t* length, DList* list) {
  if (list == nullptr || list->cursor == nullptr) return nullptr;
  DListNode* node = list->cursor;
  list->cursor = node->next;
  if (length != nullptr) *length = node->size;
  return node->data;
}

void* DLGetFirstDataR(uint32_t* length, DList* list) {
  if (length == nullptr || list == nullptr) return nullptr;
  if (list->head == list->tail) {
    *length = 0;
    return nullptr;
  }
  list->cursor = list->tail;
  return DLGetNextDataR(length, list);
}

void* DLGetNextDataR(uint32_t* length, DList* list) {
  if (length == nullptr || list == nullptr) return nullptr;
  DListNode* node = list->cursor;
  if (node == nullptr || node == list->head) {
    *length = 0;
    return nullptr;
  }
  list->cursor = node->prev;
  *length = node->size;
  return node->data;
}

void* DLFindData(DLMatch match, const void* key, uint32_t keyLength, const DList* list) {
  DListNode* node = FindNode(match, key, keyLength, list);
  return node == nullptr ? nullptr : node->data;
}

int32_t DLDelByData(DLMatch match, const void* key, uint32_t keyLength, DList* list) {
  DListNode* node = FindNode(match, key, keyLength, list);
  if (node == nullptr) return kRefused;
  UnlinkAndRelease(node, list);
  return list->head == list->tail ? 1 : 0;
}

int32_t DLDelToTail(DList* list) {
  if (list == nullptr) return kRefused;
  if (list->tail != list->head) UnlinkAndRelease(list->tail, list);
  return kOk;
}

int32_t DLDestroy(DList* list) {
  if (list == nullptr) return kRefused;
  for (DListNode* node = list->head; node != nullptr;) {
    DListNode* next = node->next;
    ReleaseNode(node);
    node = next;
  }
  return kOk;
}
