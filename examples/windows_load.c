#include <stdio.h>
#include <windows.h>

#include "pmstore.h"

typedef void (*Function)(void);

/* The functions that this program uses, with the types of their declarations in pmstore.h. */
static struct {
  int32_t(PM_CALL* start)(void);
  void(PM_CALL* stop)(void);
  DataBaseHandle*(PM_CALL* open)(const wchar_t* path);
  int32_t(PM_CALL* close)(DataBaseHandle* vault);
  uint32_t(PM_CALL* newId)(DataBaseHandle* vault, uint32_t kind, const wchar_t* name);
  uint32_t(PM_CALL* findId)(DataBaseHandle* vault, uint32_t kind, const wchar_t* name);
  int32_t(PM_CALL* put)(DataBaseHandle* vault, uint32_t id, const void* bytes, uint32_t size,
                        int32_t syncNow);
  const void*(PM_CALL* get)(DataBaseHandle* vault, uint32_t* idThenSize);
} pm;

static const char* const kNames[] = {
    "InitPmTotalDataController", "ReleasePmTotalDataController", "OpenDataBaseFile",    "CloseDataBaseFile",
    "CreateNewItemID",           "GetItemIDByUserdata",          "InserItemToDataBase", "PmGetItemPtrByID"};

static int Load(HMODULE library) {
  Function* slot = (Function*)&pm;
  for (size_t i = 0; i < sizeof kNames / sizeof *kNames; ++i) {
    slot[i] = (Function)GetProcAddress(library, kNames[i]);
    if (slot[i] == NULL) return 0;
  }
  return 1;
}

int main(void) {
  HMODULE library = LoadLibraryW(L"pmstore.dll");
  if (library == NULL || !Load(library) || pm.start() != 1) return 1;
  DataBaseHandle* vault = pm.open(L"Tres\u00f6r \u4fdd\u9669.vault");
  uint32_t id = pm.newId(vault, 1, L"greeting"); /* 0 when the vault has it from an earlier run */
  if (id == 0) id = pm.findId(vault, 1, L"greeting");
  int32_t result = pm.put(vault, id, "Hello, vault", 12, 1); /* on disk when it returns 0 */
  uint32_t size = id;
  const char* bytes = pm.get(vault, &size); /* lent: not ours to release */
  if (bytes != NULL) printf("item %08x: %.*s\n", id, (int)size, bytes);
  pm.close(vault);
  pm.stop();
  FreeLibrary(library);
  return result;
}
