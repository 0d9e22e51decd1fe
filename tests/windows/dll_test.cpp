// pmstore.dll as the system's loader and a program of the system's run-time meet it: its image, and memory, streams and
// functions that cross its boundary.
#include <malloc.h>

#include <thread>

#include "tests/support/fixture.h"

extern "C" {
#include "tests/windows/strict.h"
int32_t __cdecl DigitsDescending();
}

namespace {

namespace fs = std::filesystem;

HMODULE Dll() {
  return GetModuleHandleW(L"pmstore.dll");
}

template <typename T>
const T* At(DWORD address) {
  return reinterpret_cast<const T*>(reinterpret_cast<const char*>(Dll()) + address);
}

TEST(Image, ExportsPlainNamesUnderTheirNumbersAndNothingElse) {
  DWORD size;
  const auto* exports =
      static_cast<const IMAGE_EXPORT_DIRECTORY*>(DirectoryOf(Dll(), IMAGE_DIRECTORY_ENTRY_EXPORT, &size));
  std::ifstream list(EXPORTS);
  std::string name;
  char at;
  for (WORD number, count = 0; list >> name >> at >> number; ++count) {
    EXPECT_EQ(number, count + 1) << name;
    EXPECT_NE(GetProcAddress(Dll(), name.c_str()), nullptr) << name;
    EXPECT_EQ(GetProcAddress(Dll(), name.c_str()), GetProcAddress(Dll(), MAKEINTRESOURCEA(number))) << name;
  }
  EXPECT_STREQ(At<char>(exports->Name), "pmstore.dll");
  EXPECT_EQ(exports->NumberOfNames, 80u);
  EXPECT_EQ(exports->NumberOfFunctions, 80u);
}

TEST(Image, NeedsTheSystemAloneAndNamesItsMakers) {
  DWORD size;
  const auto* import =
      static_cast<const IMAGE_IMPORT_DESCRIPTOR*>(DirectoryOf(Dll(), IMAGE_DIRECTORY_ENTRY_IMPORT, &size));
  for (; import->Name != 0; ++import) {
    const std::string name = At<char>(import->Name);
    EXPECT_NE(std::string("KERNEL32.dll msvcrt.dll ADVAPI32.dll").find(name), std::string::npos) << name;
  }
  const std::pair<std::wstring, std::wstring> kTexts[] = {{L"CompanyName", L"The pmstore developers"},
                                                          {L"ProductName", L"pmstore"},
                                                          {L"OriginalFilename", L"pmstore.dll"},
                                                          {L"ProductVersion", L"" VERSION}};
  wchar_t path[MAX_PATH];
  char resource[4096];
  GetModuleFileNameW(Dll(), path, MAX_PATH);
  ASSERT_TRUE(GetFileVersionInfoW(path, 0, sizeof resource, resource));
  for (const auto& [key, text] : kTexts) {
    void* found = nullptr;
    UINT length;
    ASSERT_TRUE(VerQueryValueW(resource, (L"\\StringFileInfo\\040904B0\\" + key).c_str(), &found, &length));
    EXPECT_EQ(static_cast<const wchar_t*>(found), text);
  }
}

volatile LONG entries;

BOOL WINAPI CountEntry(HMODULE, DWORD, LPVOID) {
  return InterlockedIncrement(&entries) != 0;
}

// A thread that comes and goes does not reach the entry point; the library's end does.
TEST(Image, HearsOfItsEndAndOfNoThread) {
  const TempFolder folder;
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(Dll(), path, MAX_PATH);
  fs::copy_file(path, folder.path() / "another.dll");
  const HMODULE module = LoadLibraryW((folder.path() / "another.dll").c_str());
  ASSERT_NE(module, nullptr);
  const auto target = &CountEntry;
  std::string jump = sizeof target == 4 ? "\xB8" : "\x48\xB8";  // mov eax (rax), address; jmp eax (rax)
  jump.append(reinterpret_cast<const char*>(&target), sizeof target).append("\xFF\xE0");
  auto* image = reinterpret_cast<char*>(module);
  const auto* headers =
      reinterpret_cast<IMAGE_NT_HEADERS*>(image + reinterpret_cast<IMAGE_DOS_HEADER*>(image)->e_lfanew);
  ASSERT_TRUE(WriteProcessMemory(GetCurrentProcess(), image + headers->OptionalHeader.AddressOfEntryPoint,
                                 jump.data(), jump.size(), nullptr));
  std::thread([] {}).join();
  EXPECT_EQ(entries, 0);
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(entries, 1);
}

TEST(Boundary, IsCrossedByCallsOfBothConventions) {
  EXPECT_EQ(DigitsDescending(), 4321);
}

// The DLL and a program of msvcrt have one heap and one set of streams.
TEST(Boundary, IsNoneToTheRunTime) {
  const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
  void* block = Malloc(1000);
  EXPECT_TRUE(HeapValidate(heap, 0, block));
  EXPECT_GE(_msize(block), 1000u);
  free(block);
  Free(malloc(1000));
  EXPECT_TRUE(HeapValidate(heap, 0, nullptr));

  const TempFolder folder;
  const PmString path = Pm(folder.path() / L"\u0416 \u4e2d \U0001f511.txt");
  char line[16];
  FILE* stream = FOpen(path.c_str(), "wt");  // opened there, written here, and in text mode
  EXPECT_GE(fputs("abc\nd", stream), 0);
  EXPECT_EQ(FClose(stream), 0);
  EXPECT_EQ(FSize(path.c_str()), 6);
  stream = _wfopen(path.c_str(), L"rb");
  EXPECT_EQ(FReadLine(line, sizeof line, stream), 5);
  EXPECT_STREQ(line, "abc\r\n");
  fclose(stream);

  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  for (const DWORD hidden : {FILE_ATTRIBUTE_HIDDEN, 0}) {
    EXPECT_NE(FSetHideAttribute(path.c_str(), hidden != 0), 0);
    EXPECT_EQ(GetFileAttributesW(path.c_str()) & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY), hidden);
  }
}

// How the tests are run, not what: one that crashes is one that fails.
TEST(Runner, DISABLED_Crash) {
  *static_cast<volatile int*>(nullptr) = 0;
}

}  // namespace
