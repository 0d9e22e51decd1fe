#include "component.h"

Pmstore pm;
static int failures;

static void Need(int there, const char* name) {
  if (there) return;
  printf("cannot load %s\n", name);
  exit(1);
}

DWORD LoadPmstore(void) {
  DWORD count = 0;
#if defined(LINKED)
  pm.module = GetModuleHandleW(L"pmstore.dll");
#define EXPORTED(name) pm.name = name;
#else
  pm.module = LoadLibraryW(L"pmstore.dll");
#define EXPORTED(name) pm.name = (__typeof__(name)*)(void (*)(void))GetProcAddress(pm.module, #name);
#endif
  Need(pm.module != NULL, "pmstore.dll");
#include "exported.inc"
#undef EXPORTED
#define EXPORTED(name) Need(++count&& pm.name != NULL, #name);
#include "exported.inc"
#undef EXPORTED
  return count;
}

int Check(int holds, const char* condition, const char* file, int line) {
  if (!holds) printf("%s:%d: %s does not hold (error %lu)\n", file, line, condition, GetLastError());
  failures += !holds;
  return holds;
}

int Failures(void) {
  printf("%d failures\n", failures);
  return failures != 0;
}

void EnterFolder(void) {
  wchar_t path[MAX_PATH];
  GetTempPathW(MAX_PATH, path);
  const size_t length = wcslen(path);
  swprintf(path + length, MAX_PATH - length, L"pmstore \u00e4\u4fdd\u9669 %lu", GetCurrentProcessId());
  Need(CreateDirectoryW(path, NULL) && SetCurrentDirectoryW(path), "a new folder");
}

static void Empty(void) {
  WIN32_FIND_DATAW entry;
  HANDLE search = FindFirstFileW(L"*", &entry);
  do {
    if (DeleteFileW(entry.cFileName) || wcsspn(entry.cFileName, L".") == wcslen(entry.cFileName)) continue;
    if (!SetCurrentDirectoryW(entry.cFileName)) continue;
    Empty();
    SetCurrentDirectoryW(L"..");
    RemoveDirectoryW(entry.cFileName);
  } while (FindNextFileW(search, &entry));
  FindClose(search);
}

void LeaveFolder(void) {
  wchar_t path[MAX_PATH];
  GetCurrentDirectoryW(MAX_PATH, path);
  Empty();
  SetCurrentDirectoryW(L"..");
  CHECK(RemoveDirectoryW(path));
}

int IsThere(const wchar_t* path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

int IsHidden(const wchar_t* path) {
  return IsThere(path) && (GetFileAttributesW(path) & FILE_ATTRIBUTE_HIDDEN) != 0;
}

char* ReadAll(const wchar_t* path, DWORD* size) {
  HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, NULL,
                            OPEN_EXISTING, 0, NULL);
  *size = 0;
  if (file == INVALID_HANDLE_VALUE) return NULL;
  char* bytes = calloc(GetFileSize(file, NULL) + 1, 1);
  ReadFile(file, bytes, GetFileSize(file, NULL), size, NULL);
  CloseHandle(file);
  return bytes;
}
