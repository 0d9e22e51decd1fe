/*
 * The DLL as a file and as a library: what the system's loader sees of it, and memory and streams that cross
 * its boundary.
 */
#include <malloc.h>

#include "component.h"

#define TEXT_OF(token) #token
#define VERSION_TEXT(token) L"" TEXT_OF(token)

static const void* At(DWORD address) {
  return (const char*)pm.module + address;
}

/* The 80 plain names under their numbers and nothing else, no DLL beside the system's own, and who made it. */
static void TestImage(void) {
  const IMAGE_DATA_DIRECTORY* directory = HeadersOf(pm.module)->OptionalHeader.DataDirectory;
  const IMAGE_EXPORT_DIRECTORY* exports = At(directory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  CHECK(strcmp(At(exports->Name), "pmstore.dll") == 0 && exports->Base == 1);
  CHECK(exports->NumberOfNames == 80 && exports->NumberOfFunctions == 80);

  const IMAGE_IMPORT_DESCRIPTOR* import = At(directory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
  for (; import->Name != 0; ++import) {
    printf("depends on %s\n", (const char*)At(import->Name));
    CHECK(strstr("KERNEL32.dll msvcrt.dll ADVAPI32.dll", At(import->Name)) != NULL);
  }

  static const wchar_t* const texts[][2] = {{L"CompanyName", L"The pmstore developers"},
                                            {L"ProductName", L"pmstore"},
                                            {L"OriginalFilename", L"pmstore.dll"},
                                            {L"ProductVersion", VERSION_TEXT(VERSION)}};
  wchar_t path[MAX_PATH], key[64], *text;
  char resource[4096];
  UINT size;
  GetModuleFileNameW(pm.module, path, MAX_PATH);
  if (!CHECK(GetFileVersionInfoW(path, 0, sizeof resource, resource))) return;
  for (size_t i = 0; i < sizeof texts / sizeof *texts; ++i) {
    swprintf(key, 64, L"\\StringFileInfo\\040904B0\\%ls", texts[i][0]);
    CHECK(VerQueryValueW(resource, key, (void**)&text, &size) && wcscmp(text, texts[i][1]) == 0);
  }
}

/* The DLL and a program of msvcrt have one heap and one set of streams. */
static void TestRunTime(void) {
  const HANDLE heap = (HANDLE)_get_heap_handle();
  void* block = pm.Malloc(1000);
  CHECK(HeapValidate(heap, 0, block) && _msize(block) >= 1000);
  free(block);
  pm.Free(malloc(1000));
  CHECK(HeapValidate(heap, 0, NULL));

  static const wchar_t path[] = L"\u0416 \u4e2d \U0001f511.txt";
  char line[16];
  FILE* stream = pm.FOpen(path, "wt"); /* opened there, written here, and in text mode */
  CHECK(fputs("abc\nd", stream) >= 0 && pm.FClose(stream) == 0 && pm.FSize(path) == 6);
  stream = _wfopen(path, L"rb");
  CHECK(pm.FReadLine(line, sizeof line, stream) == 5 && strcmp(line, "abc\r\n") == 0 && fclose(stream) == 0);

  SetFileAttributesW(path, FILE_ATTRIBUTE_READONLY);
  for (int hide = 1; hide >= 0; --hide) {
    CHECK(pm.FSetHideAttribute(path, hide) != 0 && IsHidden(path) == hide);
    CHECK((GetFileAttributesW(path) & FILE_ATTRIBUTE_READONLY) == 0);
  }
  CHECK(pm.FDelete(path) == 0 && pm.FExists(path) == -1);
}

#if !defined(LINKED)
static volatile LONG entries;

static BOOL WINAPI CountEntry(HMODULE module, DWORD reason, LPVOID reserved) {
  (void)module, (void)reason, (void)reserved;
  return InterlockedIncrement(&entries) != 0;
}

static DWORD WINAPI Idle(void* nothing) {
  return nothing != NULL;
}

/* A thread that comes and goes does not reach the entry point; the library's end does. */
static void TestEntryPoint(void) {
  unsigned char jump[] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0}; /* REX mov eax, address; jmp eax */
  BOOL(WINAPI* const target)(HMODULE, DWORD, LPVOID) = CountEntry;
  memcpy(jump + 2, &target, sizeof target);
  const size_t skipped = sizeof target == 4; /* no REX, and a shorter address */
  if (skipped) memcpy(jump + 6, jump + 10, 2);
  CHECK(WriteProcessMemory(GetCurrentProcess(),
                           (void*)At(HeadersOf(pm.module)->OptionalHeader.AddressOfEntryPoint),
                           jump + skipped, sizeof jump - skipped, NULL));
  HANDLE thread = CreateThread(NULL, 0, Idle, NULL, 0, NULL);
  CHECK(WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0 && CloseHandle(thread) && entries == 0);
  CHECK(DisableThreadLibraryCalls(pm.module) && FreeLibrary(pm.module) && entries == 1);
}
#endif

int main(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "crash") == 0) *(volatile int*)NULL = 0;
  if (!CHECK(LoadPmstore() == 80)) return 1;
  EnterFolder();
  TestImage();
  TestCallbacks();
  TestRunTime();
  LeaveFolder();
#if !defined(LINKED)
  TestEntryPoint();
#endif
  return Failures();
}
