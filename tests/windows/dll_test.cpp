// pmstore.dll as the system's loader and a program of the system's run-time meet it: memory, streams and functions that
// cross its boundary. What stands in it is for packaging/test/use_windows_zip.sh.
#include <malloc.h>

#include <thread>

#include "tests/support/fixture.h"

#include <windows.h>  // whose names stand in the way of ours

extern "C" int32_t __cdecl DigitsDescending();

namespace {

namespace fs = std::filesystem;

volatile LONG entries;

BOOL WINAPI CountEntry(HMODULE, DWORD, LPVOID) {
  return InterlockedIncrement(&entries) != 0;
}

// A thread that comes and goes does not reach the entry point; the library's end does.
TEST(Image, HearsOfItsEndAndOfNoThread) {
  const TempFolder folder;
  wchar_t path[MAX_PATH];
  GetModuleFileNameW(GetModuleHandleW(L"pmstore.dll"), path, MAX_PATH);
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
