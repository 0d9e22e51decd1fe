/**
 * @file avltree.h
 * A height-balanced binary search tree of elements that belong to the caller.
 *
 * An element is one pointer-sized value: the address of something, or an integer put there through uintptr_t.
 * The order is that of the tree's compare slot. The tree also carries storage: an area of nodes and an area
 * of elements of one size, each with a free chain (last in, first out); past an area's capacity nodes and
 * elements come from the heap one by one.
 *
 * 1. An in-order walk visits the elements in ascending order, and no two are equal.
 * 2. Until the first deletion the heights of two siblings differ by at most 1.
 * 3. Deletion neither rotates nor corrects heights: afterwards stored heights may exceed the true ones.
 * Insertion rotates only where a stored difference of exactly 2 shows on its path.
 * 4. Every removed element goes back through FreeAvlElement, so with the default slots elements must be
 * storage from GetAvlElement or heap blocks of their own.
 * 5. A node reference does not follow its element: a deletion may move another element into the node.
 *
 * Insertion and the walks take stack in proportion to the height of the tree. Trees, nodes and functions may
 * not be null unless a function says what null does. A tree takes no locks: it is used by one thread at a
 * time.
 */
#ifndef PM_AVLTREE_H
#define PM_AVLTREE_H

#include "pmtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct AvlNode AvlNode;
typedef struct AvlTree AvlTree;

/** A node of a tree. */
struct AvlNode {
  void* element;  /**< the caller's value or reference */
  AvlNode* left;  /**< the left child, or null */
  AvlNode* right; /**< in a free node of the area: the next free node */
  int32_t height; /**< of the subtree rooted here: 0 for a leaf, and an empty subtree counts -1 */
};

/** What a walk does with each node; `context` is the caller's, the result is ignored. */
typedef int32_t(PM_CALL* AvlVisit)(AvlNode* node, void* context);

/**
 * A tree with its storage.
 *
 * The operation slots may be replaced by the caller after creation. The context of a node slot is the tree
 * when it owns its node area, else the caller's node area; that of FreeAvlElement is the tree when it owns
 * its element area, else the value of elementArea. The default slots take a tree as their context, and null
 * for plain heap storage; a tree with an area of the caller's needs storage slots of the caller's.
 */
struct AvlTree {
  AvlNode* root;           /**< null for an empty tree */
  AvlNode* nodeArea;       /**< nodeNum nodes */
  void* elementArea;       /**< nodeNum elements of elementSize bytes, or null */
  AvlNode* freeNodes;      /**< free nodes of the area, linked through `right` */
  void* freeElements;      /**< free elements of the area, linked as the free nodes of a CommonPool are */
  uint32_t nodeNum;        /**< nodes in the node area and elements in the element area */
  int16_t freeNodeNum;     /**< low 16 bits of the number of free nodes; nothing decides on it */
  int16_t freeElementNum;  /**< the same for elements, counted from nodeNum even without an element area */
  int32_t elementSize;     /**< bytes of one element, 0 when none is set */
  int16_t ownsNodeArea;    /**< 1 when the tree made the node area */
  int16_t ownsElementArea; /**< 1 when the tree made the element area */

  /** Sets up the areas and their chains; the tree, or null when that fails. */
  AvlTree*(PM_CALL* InitAvlTree)(AvlTree* tree, void* elementArea, int32_t nodeCount, int32_t elementSize);

  /** A node, or null when there is no memory. */
  AvlNode*(PM_CALL* GetAvlNode)(void* context);

  /** Storage for one element, not cleared, or null when there is no memory. Only callers use it, with the
   * tree as the context. */
  void*(PM_CALL* GetAvlElement)(void* context);

  /** Takes a node back: into the area's free chain, or to the heap. */
  void(PM_CALL* FreeAvlNode)(void* context, AvlNode* node);

  /** Takes an element back: filled with zeros into the area's free chain, or to the heap. Null is ignored. */
  void(PM_CALL* FreeAvlElement)(void* context, void* element);

  /** Releases the areas that the tree made, and the tree record. */
  void(PM_CALL* DestroyAvlTree)(AvlTree* tree);

  /** Compares two elements: above 0 when a sorts after b, 0 when they are equal, below 0 when a sorts before
   * b. The searched or inserted element is a, the node's is b. The default compares the values as unsigned
   * numbers. */
  int32_t(PM_CALL* CmpAvlNode)(const void* a, const void* b);
};

/** The size of an AvlNode in bytes. */
PM_EXPORT uint32_t PM_CALL GetAvlNodeSize(void);

/** Makes an empty tree, which the caller releases with ReleaseAvlTree.
 *
 * - header: null to allocate the record; or one from Malloc or malloc that the tree takes over. That one is
 * not cleared, and fields that nothing below sets keep their values, so it should come zero-filled.
 * - nodeArea: null for an area of the tree's own; or nodeCount nodes of the caller's, whose `right` fields
 * chain the free ones from the first on.
 * - nodeCount: nodes, and elements, in an area; at least 1.
 * - elementArea: null; or nodeCount elements of the caller's.
 * - elementSize: bytes of one element. Without an elementArea a size of at least 4 makes an area of the
 * tree's own, one below 0 makes none (elements of -elementSize bytes come from the heap), 0 neither makes an
 * area nor sets a size, and 1 to 3 fail.
 *
 * Null when there is no memory, a count or a size is out of range, or an area would exceed 4 GiB; a header of
 * the caller's stays the caller's then. */
PM_EXPORT AvlTree* PM_CALL CreateAvlTree(AvlTree* header, AvlNode* nodeArea, int32_t nodeCount,
                                         void* elementArea, int32_t elementSize);

/** Inserts an element; called with the tree's root, and keeps it up to date. The subtree's new root. An
 * element equal to one in the tree is not stored: the one in the tree stays, and the new one stays the
 * caller's, who releases it (with FreeAvlElement, when it is storage of the tree's). Without memory for a node
 * nothing changes (null for an empty tree), and the element is the caller's too. The caller learns of either
 * by searching: FindAvlNode gives a node with another element, or none. A null tree gives null after an
 * assertion report on standard output. */
PM_EXPORT AvlNode* PM_CALL InsertAvlNode(void* element, AvlTree* tree, AvlNode* root);

/** The node that holds an element equal to `key`, or null. */
PM_EXPORT AvlNode* PM_CALL FindAvlNode(const void* key, const AvlTree* tree, AvlNode* root);

/** The leftmost node of a subtree, which holds its least element; null for a null subtree. */
PM_EXPORT AvlNode* PM_CALL FindMinAvlNode(AvlNode* root);

/** The rightmost node of a subtree, which holds its greatest element; null for a null subtree. */
PM_EXPORT AvlNode* PM_CALL FindMaxAvlNode(AvlNode* root);

/** Removes the element equal to `element` and gives it back through FreeAvlElement; called with the tree's
 * root, and keeps it up to date. The subtree's new root; the unchanged one when there is no such element. */
PM_EXPORT AvlNode* PM_CALL DeleteAvlNode(const void* element, AvlTree* tree, AvlNode* root);

/** Visits a subtree's nodes in ascending order. A visit must not release or unlink its node. */
PM_EXPORT void PM_CALL InorderTravAvlTree(AvlNode* root, AvlVisit visit, void* context);

/** Visits a subtree's nodes, children before their parent. A visit may release its node. */
PM_EXPORT void PM_CALL PostorderTravAvlTree(AvlNode* root, AvlVisit visit, void* context);

/** The node's element. */
PM_EXPORT void* PM_CALL AvlTreeElement(const AvlNode* node);

/** Gives every element back through FreeAvlElement, in post-order, and releases the tree: its nodes, the
 * areas that it made, and its record, which is released with Free also when the caller supplied it. */
PM_EXPORT void PM_CALL ReleaseAvlTree(AvlTree* tree);

#ifdef __cplusplus
}
#endif

#endif
