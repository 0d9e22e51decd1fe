/**
 * @file dlist.h
 * A doubly linked list of byte records.
 *
 * 1. Each element is the list's own copy of the caller's bytes with their length. A pointer that a walk or a
 * search gives points into that copy; it is valid until the element is removed or the list is destroyed, and
 * never released by the caller.
 * 2. `head` is a node without data, made by DLCreate; `tail` is the last node, `head` itself in an empty
 * list.
 * 3. Both walks share the one `cursor` of the record: there is one walk at a time. Removals do not adjust it;
 * after one, start a new walk.
 *
 * The record is the caller's: any DList variable that DLCreate has set up. Memory comes from malloc. A list
 * takes no locks: it is used by one thread at a time. A function that fails changes nothing.
 */
#ifndef PM_DLIST_H
#define PM_DLIST_H

#include "pmtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct DListNode DListNode;
typedef struct DList DList;

/** A node of a list. */
struct DListNode {
  DListNode* prev; /**< `head` for the first element, null in `head` */
  DListNode* next; /**< null for the last */
  uint32_t size;   /**< bytes of the element */
  void* data;      /**< the element's bytes; null in `head` */
};

/** A list; the caller's record. */
struct DList {
  uint32_t count;    /**< elements */
  uint32_t reserved; /**< cleared, not used */
  DListNode* head;   /**< the node before the first element */
  DListNode* tail;   /**< the last node */
  DListNode* cursor; /**< the walk's next element; null, or in a backward walk `head`, at its end */
};

/** 1 when the new element is to stand before the present one; any other value: not before it. */
typedef int32_t(PM_CALL* DLOrder)(const void* present, uint32_t presentLength, const void* added,
                                  uint32_t addedLength);

/** 1 when the present element matches the key; any other value: no match. */
typedef int32_t(PM_CALL* DLMatch)(const void* present, const void* key, uint32_t keyLength);

/** Sets up a list, whatever the record held before. 0; -1 for a null list, or when there is no memory (the
 * record is cleared then). */
PM_EXPORT int32_t PM_CALL DLCreate(DList* list);

/** Appends a copy of `length` bytes. 0; -1 for a null list or bytes, a length of 0, or when there is no
 * memory. */
PM_EXPORT int32_t PM_CALL DLInsert(const void* bytes, uint32_t length, DList* list);

/** Inserts a copy of `length` bytes (0 is a length) in front of the first element for which `order` gives 1,
 * else at the end: a list filled so stays sorted, with equal elements in the order of their insertion. 0; -1
 * for null bytes, order function or list, or when there is no memory. */
PM_EXPORT int32_t PM_CALL DLInsertSort(const void* bytes, uint32_t length, DLOrder order, DList* list);

/** Starts a walk from the front: the first element's bytes, their number in *length, where `length` is not
 * null. Null, with *length as it was, for an empty or a null list. */
PM_EXPORT void* PM_CALL DLGetFirstData(uint32_t* length, DList* list);

/** The next element of the walk, and its length as DLGetFirstData gives it; null, with *length as it was, at
 * its end or for a null list. */
PM_EXPORT void* PM_CALL DLGetNextData(uint32_t* length, DList* list);

/** Starts a walk from the back: the last element's bytes, their number in *length. Null for an empty list,
 * with *length set to 0; null for a null list, and for a null `length`, which this walk needs: the walk stays
 * where it was then. */
PM_EXPORT void* PM_CALL DLGetFirstDataR(uint32_t* length, DList* list);

/** The next element of the walk towards the front; null at its end, with *length set to 0; null, the walk
 * staying where it was, for a null `length` or list. */
PM_EXPORT void* PM_CALL DLGetNextDataR(uint32_t* length, DList* list);

/** The bytes of the first element that matches the key; null when none does, for a null match function, key
 * or list, and for a key length of 0. Leaves the walk alone. */
PM_EXPORT void* PM_CALL DLFindData(DLMatch match, const void* key, uint32_t keyLength, const DList* list);

/** Removes the first element that matches the key. 1 when the list is empty afterwards, 0 when it is not; -1
 * when nothing was removed, for the reasons of DLFindData. */
PM_EXPORT int32_t PM_CALL DLDelByData(DLMatch match, const void* key, uint32_t keyLength, DList* list);

/** Removes the last element. 0, also for an empty list; -1 for a null list. */
PM_EXPORT int32_t PM_CALL DLDelToTail(DList* list);

/** Releases all elements and `head`. The record keeps its fields and is unusable until DLCreate. 0; -1 for a
 * null list. */
PM_EXPORT int32_t PM_CALL DLDestroy(DList* list);

#ifdef __cplusplus
}
#endif

#endif
