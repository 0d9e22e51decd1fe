/* What pmstore.dll is to the system's loader: its machine, its exports, what it depends on, its version. */
#include <string.h>
#include <wchar.h>

#include "component.h"

static Pmstore pm;

static const void* At(DWORD address) {
  return (const char*)pm.module + address;
}

static const IMAGE_NT_HEADERS32* Headers(void) {
  return At((DWORD)((const IMAGE_DOS_HEADER*)pm.module)->e_lfanew);
}

static const void* Directory(int entry) {
  return At(Headers()->OptionalHeader.DataDirectory[entry].VirtualAddress);
}

static void TestExports(void) {
  const IMAGE_EXPORT_DIRECTORY* exports = Directory(IMAGE_DIRECTORY_ENTRY_EXPORT);
  CHECK(Headers()->FileHeader.Machine == IMAGE_FILE_MACHINE_I386);
  CHECK(kExportNum == 80 && exports->NumberOfNames == 80 && exports->NumberOfFunctions == 80);
  CHECK(strcmp(At(exports->Name), "pmstore.dll") == 0);
}

static void TestImports(void) {
  const IMAGE_IMPORT_DESCRIPTOR* import = Directory(IMAGE_DIRECTORY_ENTRY_IMPORT);
  CHECK(import->Name != 0);
  for (; import->Name != 0; ++import) {
    const char* name = At(import->Name);
    if (!CHECK(_stricmp(name, "kernel32.dll") == 0 || _stricmp(name, "msvcrt.dll") == 0 ||
               _stricmp(name, "advapi32.dll") == 0)) {
      printf("depends on %s\n", name);
    }
  }
}

static void TestVersion(void) {
  wchar_t path[MAX_PATH];
  char resource[4096];
  VS_FIXEDFILEINFO* version;
  const wchar_t* name;
  UINT size;
  GetModuleFileNameW(pm.module, path, MAX_PATH);
  if (!CHECK(GetFileVersionInfoW(path, 0, sizeof resource, resource))) return;
  CHECK(VerQueryValueW(resource, L"\\", (void**)&version, &size) &&
        version->dwFileVersionMS == (VERSION_MAJOR << 16 | VERSION_MINOR) &&
        version->dwFileVersionLS == VERSION_PATCH << 16 && version->dwFileType == VFT_DLL);
  CHECK(VerQueryValueW(resource, L"\\StringFileInfo\\040904B0\\OriginalFilename", (void**)&name, &size) &&
        wcscmp(name, L"pmstore.dll") == 0);
}

int main(void) {
  pm = LoadPmstore();
  TestExports();
  TestImports();
  TestVersion();
  CHECK(FreeLibrary(pm.module));
  return Failures();
}
