#include <stdio.h>

#include "pmstore.h"

int main(void) {
  if (InitPmTotalDataController() != 1) return 1;
  DataBaseHandle* vault = OpenDataBaseFile(PM_TEXT("hello.vault"));
  uint32_t id = CreateNewItemID(vault, 1, PM_TEXT("greeting")); /* kind 1, found again by its name */
  if (id == 0) id = GetItemIDByUserdata(vault, 1, PM_TEXT("greeting"));
  int32_t result = InserItemToDataBase(vault, id, "Hello, vault", 12, 1);
  if (result == 0) result = PmSyncDirtyData(); /* 0: all of it is on disk */
  uint32_t size = id;
  const char* bytes = PmGetItemPtrByID(vault, &size); /* lent: not ours to release */
  if (bytes != NULL) printf("item %08x: %.*s\n", id, (int)size, bytes);
  CloseDataBaseFile(vault);
  ReleasePmTotalDataController();
  return result;
}
