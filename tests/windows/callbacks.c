/* Functions called across the boundary both ways; this file is compiled for another convention than the DLL is. */
#include "pmstore.h"

static int32_t PM_CALL Descending(const void* a, const void* b) {
  return *(const int32_t*)b - *(const int32_t*)a;
}

/* The digits 1 to 4, each as the least of those that are left for a list that is told to go down. */
int32_t __cdecl DigitsDescending(void) {
  int32_t digits[] = {2, 4, 1, 3}, number = 0;
  SList* list = CreateEmptysList(1);
  list->CmpsListNode = Descending;
  for (int32_t i = 0; i < 4; ++i) AppendNodeTosList(&digits[i], list);
  for (SListNode* least; (least = FindMinInsList(list, 0)) != NULL; DeletesListNode(least, list))
    number = number * 10 + *(int32_t*)ListNodeElement(least);
  FreesList(list);
  return number;
}
