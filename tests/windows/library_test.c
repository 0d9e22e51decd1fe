/*
 * The DLL as a file and as a library: what the system's loader sees of it, and memory and streams that cross
 * its boundary.
 */
#include <malloc.h>

#include "component.h"

#define TEXT_OF(token) #token
#define VERSION_TEXT(token) TEXT_OF(token)

static const void* At(DWORD address) {
  return (const char*)pm.module + address;
}

/* 32 bits, the 80 plain names and nothing else, no DLL beside the system's own, and its version. */
static void TestImage(void) {
  const IMAGE_NT_HEADERS32* headers = At((DWORD)((const IMAGE_DOS_HEADER*)pm.module)->e_lfanew);
  const IMAGE_DATA_DIRECTORY* directory = headers->OptionalHeader.DataDirectory;
  const IMAGE_EXPORT_DIRECTORY* exports = At(directory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
  CHECK(headers->FileHeader.Machine == IMAGE_FILE_MACHINE_I386 &&
        strcmp(At(exports->Name), "pmstore.dll") == 0);
  CHECK(exports->NumberOfNames == 80 && exports->NumberOfFunctions == 80);

  const IMAGE_IMPORT_DESCRIPTOR* import = At(directory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
  for (; import->Name != 0; ++import) {
    printf("depends on %s\n", (const char*)At(import->Name));
    CHECK(strstr("KERNEL32.dll msvcrt.dll ADVAPI32.dll", At(import->Name)) != NULL);
  }

  wchar_t path[MAX_PATH];
  char resource[4096], version[32];
  VS_FIXEDFILEINFO* fixed;
  UINT size;
  GetModuleFileNameW(pm.module, path, MAX_PATH);
  if (!CHECK(GetFileVersionInfoW(path, 0, sizeof resource, resource))) return;
  CHECK(VerQueryValueW(resource, L"\\", (void**)&fixed, &size) && fixed->dwFileType == VFT_DLL);
  sprintf(version, "%lu.%lu.%lu", fixed->dwFileVersionMS >> 16, fixed->dwFileVersionMS & 0xFFFF,
          fixed->dwFileVersionLS >> 16);
  CHECK(strcmp(version, VERSION_TEXT(VERSION)) == 0);
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

static void TestProgramFolder(void) {
  wchar_t program[MAX_PATH], folder[MAX_PATH];
  const DWORD length = GetModuleFileNameW(NULL, program, MAX_PATH);
  CHECK(pm.GetCurDir(MAX_PATH, folder) == (int32_t)length);
  wcsrchr(program, L'\\')[1] = 0;
  CHECK(wcscmp(folder, program) == 0);
}

int main(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "crash") == 0) *(volatile int*)NULL = 0;
  if (!CHECK(LoadPmstore() == 80)) return 1;
  EnterFolder();
  TestImage();
  TestPoolsAndTrees();
  TestRunTime();
  TestProgramFolder();
  LeaveFolder();
  return Failures();
}
