/*
 * Pools and trees, whose free chains hold addresses, and functions called across the boundary both ways. This
 * file is compiled with another default calling convention than the DLL.
 */
#include <stddef.h>

#include "component.h"

/* Whether the free chain that starts at `free` is the area's nodes in ascending order, linked by address. */
static int ChainsAddresses(const void* free, const void* area, DWORD nodeNum, DWORD nodeSize, DWORD at) {
  const char* node = area;
  int holds = free == area;
  for (DWORD i = 0; i < nodeNum; ++i, node += nodeSize) {
    uint32_t link;
    memcpy(&link, node + at, sizeof link);
    holds &= link == (i + 1 < nodeNum ? (uint32_t)(node + nodeSize) : 0);
  }
  return holds;
}

static int32_t PM_CALL Descending(const void* a, const void* b) {
  return *(const int32_t*)b - *(const int32_t*)a;
}

static int32_t PM_CALL AppendDigit(AvlNode* node, void* digits) {
  *(int32_t*)digits = *(int32_t*)digits * 10 + *(int32_t*)node->element;
  return 0;
}

void __cdecl TestPoolsAndTrees(void) {
  static const int32_t sizes[] = {4, 5, 8, 40};
  for (int i = 0; i < 4; ++i) {
    const DWORD size = (DWORD)sizes[i];
    CommonPool* pool = pm.CreateCommonPool(3, sizes[i]);
    CHECK((void*)pool->nodeArea == pool + 1);
    for (int round = 0; round < 2; ++round) {
      CHECK(ChainsAddresses(pool->freeList, pool->nodeArea, 3, size, 0));
      pool->FreeCommonNode(pool->GetCommonNode(pool), pool);
    }
    pm.ReleaseCommonPool(pool);

    AvlTree* tree = pm.CreateAvlTree(NULL, NULL, 3, NULL, sizes[i]);
    CHECK(ChainsAddresses(tree->freeElements, tree->elementArea, 3, size, 0));
    CHECK(ChainsAddresses(tree->freeNodes, tree->nodeArea, 3, 16, offsetof(AvlNode, right)));
    tree->CmpAvlNode = Descending;
    for (int32_t digit = 1; digit <= 4; ++digit) {
      int32_t* element = tree->GetAvlElement(tree);
      *element = digit;
      pm.InsertAvlNode(element, tree, tree->root);
    }
    int32_t digits = 0;
    pm.InorderTravAvlTree(tree->root, AppendDigit, &digits);
    CHECK(digits == 4321);
    pm.ReleaseAvlTree(tree);
  }
}
