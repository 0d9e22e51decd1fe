#include "component.h"

Pmstore pm;
static int failures;

int LoadPmstore(void) {
  int count = 0;
#if defined(LINKED)
  pm.module = GetModuleHandleW(L"pmstore.dll");
#define EXPORTED(name, ordinal) pm.name = name, ++count;
#else
  FARPROC found;
  pm.module = LoadLibraryW(L"pmstore.dll");
#define EXPORTED(name, ordinal)                                           \
  found = GetProcAddress(pm.module, #name);                               \
  count += found == GetProcAddress(pm.module, MAKEINTRESOURCEA(ordinal)); \
  pm.name = (__typeof__(name)*)(void (*)(void))found;
#endif
#include "exported.inc"
#undef EXPORTED
  return count;
}

const IMAGE_NT_HEADERS* HeadersOf(HMODULE module) {
  return (const void*)((const char*)module + ((const IMAGE_DOS_HEADER*)module)->e_lfanew);
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
  SetCurrentDirectoryW(path);
  swprintf(path, MAX_PATH, L"pmstore \u00e4\u4fdd\u9669 %lu %lu", GetCurrentProcessId(), GetTickCount());
  CHECK(CreateDirectoryW(path, NULL) && SetCurrentDirectoryW(path));
}

void LeaveFolder(void) {
  wchar_t path[MAX_PATH], command[MAX_PATH + 20];
  GetCurrentDirectoryW(MAX_PATH, path);
  swprintf(command, MAX_PATH + 20, L"rmdir /s /q \"%ls\"", path);
  CHECK(SetCurrentDirectoryW(L"..") && _wsystem(command) == 0 && !IsThere(path));
}

int IsThere(const wchar_t* path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

int IsHidden(const wchar_t* path) {
  return IsThere(path) && (GetFileAttributesW(path) & FILE_ATTRIBUTE_HIDDEN) != 0;
}

size_t ReadAll(const wchar_t* path, char* bytes) {
  FILE* stream = _wfopen(path, L"rb");
  if (stream == NULL) return 0;
  const size_t size = fread(bytes, 1, kMostBytes, stream);
  fclose(stream);
  return size;
}
