#include "strict.h"

#include "component.h"

Seen seen;

static char unsynced[4096]; /* by handle: written to, and not flushed since */

static char* Unsynced(HANDLE file) {
  return &unsynced[(uintptr_t)file / 4 % sizeof unsynced];
}

/* Whether Windows would refuse the name, or to make a file of this name. */
static int Refused(const wchar_t* path, int creates) {
  const int isLong = wcsncmp(path, L"\\\\?\\", 4) != 0 && GetFullPathNameW(path, 0, NULL, NULL) > MAX_PATH;
  const int isHidden = creates && IsHidden(path);
  seen.creations += creates;
  seen.tooLong += isLong;
  seen.overHidden += isHidden;
  if (isLong || isHidden) SetLastError(isLong ? ERROR_PATH_NOT_FOUND : ERROR_FILE_EXISTS);
  return isLong || isHidden;
}

static BOOL NoteHeld(BOOL done) {
  seen.held += !done && (GetLastError() == ERROR_SHARING_VIOLATION || GetLastError() == ERROR_ACCESS_DENIED);
  return done;
}

static HANDLE WINAPI StrictCreate(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                  DWORD disposition, DWORD flags, HANDLE template) {
  if (Refused(path, disposition != OPEN_EXISTING)) return INVALID_HANDLE_VALUE;
  if ((access & WRITE_DAC) == 0)
    return CreateFileW(path, access, share, security, disposition, flags, template);
  SetLastError(ERROR_ACCESS_DENIED);
  return INVALID_HANDLE_VALUE;
}

static BOOL WINAPI StrictMove(LPCWSTR from, LPCWSTR to, DWORD flags) {
  seen.notWrittenThrough += flags != (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
  if (Refused(from, 0) || Refused(to, 0) || !NoteHeld(MoveFileExW(from, to, flags))) return FALSE;
  ++seen.renames;
  return SetFileAttributesW(to, FILE_ATTRIBUTE_NORMAL);
}

static BOOL WINAPI StrictDelete(LPCWSTR path) {
  return !Refused(path, 0) && NoteHeld(DeleteFileW(path));
}

static BOOL WINAPI StrictAttributes(LPCWSTR path, DWORD attributes) {
  return !Refused(path, 0) && SetFileAttributesW(path, attributes);
}

static BOOL WINAPI WatchedWrite(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED at) {
  *Unsynced(file) = 1;
  return WriteFile(file, bytes, size, written, at);
}

static BOOL WINAPI WatchedFlush(HANDLE file) {
  *Unsynced(file) = 0;
  return FlushFileBuffers(file);
}

static BOOL WINAPI WatchedClose(HANDLE file) {
  seen.notDurable += *Unsynced(file);
  *Unsynced(file) = 0;
  return CloseHandle(file);
}

typedef void (*Function)(void);

int MakeStrict(HMODULE module) {
  const Function strict[][2] = {{(Function)CreateFileW, (Function)StrictCreate},
                                {(Function)MoveFileExW, (Function)StrictMove},
                                {(Function)DeleteFileW, (Function)StrictDelete},
                                {(Function)SetFileAttributesW, (Function)StrictAttributes},
                                {(Function)WriteFile, (Function)WatchedWrite},
                                {(Function)FlushFileBuffers, (Function)WatchedFlush},
                                {(Function)CloseHandle, (Function)WatchedClose}};
  char* base = (char*)module;
  const IMAGE_NT_HEADERS32* headers = (const void*)(base + ((const IMAGE_DOS_HEADER*)module)->e_lfanew);
  const IMAGE_DATA_DIRECTORY imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
  Function* imported = (Function*)(base + imports.VirtualAddress);
  DWORD old;
  int count = 0;
  VirtualProtect(imported, imports.Size, PAGE_READWRITE, &old);
  for (DWORD i = 0; i < imports.Size / sizeof *imported; ++i) {
    for (size_t k = 0; k < sizeof strict / sizeof *strict; ++k) {
      if (imported[i] != strict[k][0]) continue;
      imported[i] = strict[k][1];
      ++count;
    }
  }
  return count;
}
