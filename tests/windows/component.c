#include "component.h"

#include <stddef.h>
#include <stdlib.h>
#include <wchar.h>

const char* const kExports[] = {
#define EXPORTED(name) #name,
#include "exported.inc"
#undef EXPORTED
};
const int kExportNum = sizeof kExports / sizeof *kExports;

static int failures;

Pmstore LoadPmstore(void) {
  static const size_t places[] = {
#define EXPORTED(name) offsetof(Pmstore, name),
#include "exported.inc"
#undef EXPORTED
  };
  Pmstore pm = {0};
  pm.module = LoadLibraryW(L"pmstore.dll");
  for (int i = 0; i < kExportNum; ++i) {
    FARPROC function = pm.module != NULL ? GetProcAddress(pm.module, kExports[i]) : NULL;
    if (function == NULL) {
      printf("cannot load %s\n", pm.module != NULL ? kExports[i] : "pmstore.dll");
      exit(1);
    }
    memcpy((char*)&pm + places[i], &function, sizeof function);
  }
  return pm;
}

int Check(int holds, const char* condition, const char* file, int line) {
  if (!holds) {
    printf("%s:%d: %s does not hold (last error %lu)\n", file, line, condition, GetLastError());
    ++failures;
  }
  return holds;
}

int Failures(void) {
  printf("%d failures\n", failures);
  return failures != 0;
}

void MakeFolder(wchar_t* path) {
  wchar_t parent[MAX_PATH];
  GetTempPathW(MAX_PATH, parent);
  int tries = 0;
  do {
    swprintf(path, MAX_PATH, L"%lspmstore \u00e4\u4fdd\u9669 %lu-%d\\", parent, GetCurrentProcessId(),
             ++tries);
  } while (!CreateDirectoryW(path, NULL) && tries < 1000);
}

void RemoveFolder(const wchar_t* path) {
  wchar_t name[2 * MAX_PATH];
  WIN32_FIND_DATAW entry;
  swprintf(name, 2 * MAX_PATH, L"%ls*", path);
  HANDLE search = FindFirstFileW(name, &entry);
  for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &entry)) {
    if (wcscmp(entry.cFileName, L".") == 0 || wcscmp(entry.cFileName, L"..") == 0) continue;
    const int isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    swprintf(name, 2 * MAX_PATH, isFolder ? L"%ls%ls\\" : L"%ls%ls", path, entry.cFileName);
    if (isFolder) {
      RemoveFolder(name);
    } else {
      DeleteFileW(name);
    }
  }
  FindClose(search);
  RemoveDirectoryW(path);
}

unsigned char* ReadAll(const wchar_t* path, DWORD* size) {
  HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, NULL);
  if (file == INVALID_HANDLE_VALUE) return NULL;
  *size = GetFileSize(file, NULL);
  unsigned char* bytes = malloc(*size + 1);
  if (bytes != NULL && (!ReadFile(file, bytes, *size, size, NULL))) *size = 0;
  if (bytes != NULL) bytes[*size] = 0;
  CloseHandle(file);
  return bytes;
}
