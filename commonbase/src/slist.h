/**
 * @file slist.h
 * A singly linked list of elements that belong to the caller.
 *
 * An element is one pointer-sized value: the address of something, or an integer put there through uintptr_t.
 * The list looks at elements only through its compare function and never sorts on its own: callers keep an
 * order by choosing where they insert.
 *
 * 1. The chain starts with a header node that carries no element; its successor is the first element node.
 * 2. All nodes, the header included, come from the list's own pool; nodes past the expected count come from
 * the heap.
 * 3. A node reference is valid until that node is deleted or the list is cleared or released.
 *
 * Functions that only look at or walk the chain take the header node (the record's `header`), the others the
 * record. No argument may be null unless the function says what null does. A list takes no locks: it is used
 * by one thread at a time.
 */
#ifndef PM_SLIST_H
#define PM_SLIST_H

#include "nodepool.h"
#include "pmtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct SListNode SListNode;
typedef struct SList SList;

/** A node of a list. */
struct SListNode {
  void* element;   /**< the caller's value or reference */
  SListNode* next; /**< null at the end of the chain */
};

/** A list. */
struct SList {
  SListNode* header;    /**< stands before the first element node */
  uint32_t usedNodeNum; /**< 1, plus 1 for each insertion, minus 1 for each deletion; clearing leaves it */
  CommonPool* pool;     /**< nodes of the size of one SListNode */

  /** Compares two element values: above 0 when a sorts after b, 0 when they are equal, below 0 when a sorts
   * before b. Null after creation; the caller assigns it. */
  int32_t(PM_CALL* CmpsListNode)(const void* a, const void* b);
};

/** Makes an empty list whose first `count` elements (0 or more) need no further memory. The caller releases
 * it with FreesList or FreesListWithElements. Null when there is no memory or the count is negative. */
PM_EXPORT SList* PM_CALL CreateEmptysList(int32_t count);

/** 1 when no element node follows the header, else 0. */
PM_EXPORT int32_t PM_CALL IsListEmpty(const SListNode* header);

/** 1 when no node follows this one, else 0. */
PM_EXPORT int32_t PM_CALL IsLastInList(const SListNode* node);

/** The first node whose element equals `element`, or null. The compare function is called with `element`
 * first. A list without one gives null after an assertion report on standard output. */
PM_EXPORT SListNode* PM_CALL FindInsList(const void* element, const SList* list);

/** The node that holds the least element, or null for an empty list or one without a compare function. Of
 * several equal ones it is the last in the chain when `tie` is 1, the first otherwise. */
PM_EXPORT SListNode* PM_CALL FindMinInsList(const SList* list, int32_t tie);

/** The same for the greatest element. */
PM_EXPORT SListNode* PM_CALL FindMaxInsList(const SList* list, int32_t tie);

/** The node in front of `node`: the header for the first element node. The last node of the chain when `node`
 * is not in it or null. */
PM_EXPORT SListNode* PM_CALL PrevsListNode(const SListNode* node, SListNode* header);

/** The node behind `node`, or null at the end; null when `header` is null. */
PM_EXPORT SListNode* PM_CALL NextsListNode(const SListNode* node, const SListNode* header);

/** Inserts an element behind the node `position`: the header puts it at the front, and so does null. 0, or -1
 * when there is no memory for a node; the list is unchanged then. */
PM_EXPORT int32_t PM_CALL InsertNodeTosList(void* element, SList* list, SListNode* position);

/** Inserts an element at the end, which is searched for from the front. 0, or -1 as for InsertNodeTosList. */
PM_EXPORT int32_t PM_CALL AppendNodeTosList(void* element, SList* list);

/** The number of elements. */
PM_EXPORT int32_t PM_CALL CountSlist(const SListNode* header);

/** Unlinks a node and gives it back to the list's pool. Its element is not touched. A node that is not in the
 * list is left alone. */
PM_EXPORT void PM_CALL DeletesListNode(SListNode* node, SList* list);

/** The header itself. */
PM_EXPORT SListNode* PM_CALL ListHeader(SListNode* header);

/** The last node of the chain, which is the header itself in an empty list. */
PM_EXPORT SListNode* PM_CALL ListTail(SListNode* header);

/** The first element node, or null. */
PM_EXPORT SListNode* PM_CALL FirstListNode(const SListNode* header);

/** The node's element. */
PM_EXPORT void* PM_CALL ListNodeElement(const SListNode* node);

/** Takes all element nodes out of the list; it can be used again. Elements are not touched, and `usedNodeNum`
 * keeps its value. */
PM_EXPORT void PM_CALL ClearsList(SList* list);

/** Releases the list with its nodes. Elements are not touched. */
PM_EXPORT void PM_CALL FreesList(SList* list);

/** Releases every element with Free, then the list. Each element must be null or a heap block of its own. */
PM_EXPORT void PM_CALL FreesListWithElements(SList* list);

#ifdef __cplusplus
}
#endif

#endif
