/**
 * @file nodepool.h
 * The library's allocation pair, and a pool of nodes of one size.
 *
 * A pool is one heap block: its record with an area of nodes directly behind it. Nodes come from the area
 * as long as it has free ones and from the heap, one by one, after that. The area never grows.
 *
 * 1. A node of the area is either on the free chain or handed out; freeNum counts the former.
 * 2. The free chain is last in, first out; a fresh pool hands out its area in ascending order.
 * 3. The first bytes of a free node hold the link to the next free one, 0 at the end: its address, or, where
 * a node is smaller than an address, its number in the area counted from 1 (4 bytes). Nothing else is stored
 * in a free node, and nodes need not be aligned.
 * 4. The pool keeps no record of the nodes from the heap; they are not released with it.
 *
 * A pool takes no locks: it is used by one thread at a time.
 */
#ifndef PM_NODEPOOL_H
#define PM_NODEPOOL_H

#include "pmtypes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CommonPool CommonPool;

/** A pool. Nodes are taken and given back through its slots. */
struct CommonPool {
  unsigned char* nodeArea; /**< node i stands at nodeArea + i * nodeSize */
  void* freeList;          /**< the first free node of the area, or null */
  int32_t nodeNum;         /**< nodes in the area, fixed at creation */
  int32_t nodeSize;        /**< bytes of a node, fixed at creation */
  int32_t freeNum;         /**< nodes on the free chain */

  /** Chains the whole area into the free chain, whatever was handed out. */
  void(PM_CALL* InitCommonPool)(CommonPool* pool);

  /** Hands out a node of nodeSize bytes, which belongs to the caller until it is given back. A node of the
   * area is filled with zeros, one from the heap is not. Null when the area is used up and the heap has no
   * memory; the pool is unchanged then. */
  void*(PM_CALL* GetCommonNode)(CommonPool* pool);

  /** Takes back a node of this pool. A node of the area is filled with zeros and goes to the front of the
   * free chain; any other is released to the heap (null is ignored). Giving a node back twice, or one of
   * another pool's area, is not detected. */
  void(PM_CALL* FreeCommonNode)(void* node, CommonPool* pool);

  /** Releases the pool's block, record and area. */
  void(PM_CALL* FreeCommonPool)(CommonPool* pool);
};

/** The standard library's malloc: `size` bytes, not cleared, or null when there is no memory. The block may
 * be released with Free or with free. */
PM_EXPORT void* PM_CALL Malloc(uint32_t size);

/** The standard library's free: releases a block from Malloc or malloc. Null is ignored. */
PM_EXPORT void PM_CALL Free(void* block);

/** Makes a pool whose area has `nodeNum` nodes (at least 1) of `nodeSize` bytes each (at least 4); release it
 * with ReleaseCommonPool. Null when there is no memory for it (record and area must fit in 4 GiB), when
 * nodeNum is below 1, and, after an assertion report on standard output, when nodeSize is below 4. */
PM_EXPORT CommonPool* PM_CALL CreateCommonPool(int32_t nodeNum, int32_t nodeSize);

/** Releases a pool with its area; all nodes of the area become invalid, handed out or not. Nodes from the
 * heap that were not given back stay allocated, and are then released with Free. Null is ignored. */
PM_EXPORT void PM_CALL ReleaseCommonPool(CommonPool* pool);

#ifdef __cplusplus
}
#endif

#endif
