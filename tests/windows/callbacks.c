/* Functions called across the boundary both ways; this file is compiled with another default convention than the DLL. */
#include "pmstore.h"

static int32_t PM_CALL Descending(const void* a, const void* b) {
  return *(const int32_t*)b - *(const int32_t*)a;
}

static int32_t PM_CALL AppendDigit(AvlNode* node, void* digits) {
  *(int32_t*)digits = *(int32_t*)digits * 10 + *(int32_t*)node->element;
  return 0;
}

/* The digits 1 to 4 as a tree sorts them that is told to go down. */
int32_t __cdecl DigitsDescending(void) {
  int32_t digits = 0;
  AvlTree* tree = CreateAvlTree(NULL, NULL, 3, NULL, sizeof digits);
  tree->CmpAvlNode = Descending;
  for (int32_t digit = 1; digit <= 4; ++digit) {
    int32_t* element = tree->GetAvlElement(tree);
    *element = digit;
    InsertAvlNode(element, tree, tree->root);
  }
  InorderTravAvlTree(tree->root, AppendDigit, &digits);
  ReleaseAvlTree(tree);
  return digits;
}
