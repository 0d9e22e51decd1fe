#include "strict.h"

#include <stdio.h>
#include <string.h>

Seen seen;

static HANDLE unsynced[16]; /* open files with bytes that may not be on the disk yet */

static int ForgetUnsynced(HANDLE file) {
  int found = 0;
  for (int i = 0; i < 16; ++i) {
    if (unsynced[i] != file) continue;
    unsynced[i] = NULL;
    found = 1;
  }
  return found;
}

static void NoteUnsynced(HANDLE file) {
  ForgetUnsynced(file);
  for (int i = 0; i < 16; ++i) {
    if (unsynced[i] != NULL) continue;
    unsynced[i] = file;
    return;
  }
}

static int IsHidden(const wchar_t* path) {
  const DWORD attributes = GetFileAttributesW(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
}

/* Whether Windows would refuse the name; the error is set then. */
static int Refused(const wchar_t* path) {
  if (wcsncmp(path, L"\\\\?\\", 4) == 0 || GetFullPathNameW(path, 0, NULL, NULL) <= MAX_PATH) return 0;
  ++seen.tooLong;
  SetLastError(ERROR_PATH_NOT_FOUND);
  return 1;
}

static int RefusedCreation(const wchar_t* path) {
  if (!IsHidden(path)) return 0;
  ++seen.overHidden;
  SetLastError(ERROR_ACCESS_DENIED);
  return 1;
}

static HANDLE WINAPI StrictCreate(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                  DWORD disposition, DWORD flags, HANDLE template) {
  if (Refused(path)) return INVALID_HANDLE_VALUE;
  if (disposition != OPEN_EXISTING && RefusedCreation(path)) return INVALID_HANDLE_VALUE;
  if (access & WRITE_DAC) {
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  }
  if (disposition != OPEN_EXISTING) ++seen.creations;
  return CreateFileW(path, access, share, security, disposition, flags, template);
}

static FILE* __cdecl StrictStream(const wchar_t* path, const wchar_t* mode) {
  if (Refused(path) || (mode[0] == L'w' && RefusedCreation(path))) return NULL;
  return _wfopen(path, mode);
}

static WINBOOL WINAPI StrictMove(LPCWSTR from, LPCWSTR to, DWORD flags) {
  if (Refused(from) || Refused(to)) return FALSE;
  seen.notWrittenThrough += flags != (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
  if (!MoveFileExW(from, to, flags)) return FALSE;
  ++seen.renames;
  SetFileAttributesW(to, FILE_ATTRIBUTE_NORMAL);
  return TRUE;
}

static HANDLE WINAPI StrictFind(LPCWSTR path, LPWIN32_FIND_DATAW entry) {
  return Refused(path) ? INVALID_HANDLE_VALUE : FindFirstFileW(path, entry);
}

static WINBOOL WINAPI StrictDelete(LPCWSTR path) {
  return !Refused(path) && DeleteFileW(path);
}

static WINBOOL WINAPI StrictAttributes(LPCWSTR path, DWORD attributes) {
  return !Refused(path) && SetFileAttributesW(path, attributes);
}

static WINBOOL WINAPI WatchedWrite(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED at) {
  NoteUnsynced(file);
  return WriteFile(file, bytes, size, written, at);
}

static WINBOOL WINAPI WatchedEnd(HANDLE file) {
  NoteUnsynced(file);
  return SetEndOfFile(file);
}

static WINBOOL WINAPI WatchedFlush(HANDLE file) {
  ForgetUnsynced(file);
  return FlushFileBuffers(file);
}

static WINBOOL WINAPI WatchedClose(HANDLE file) {
  seen.notDurable += ForgetUnsynced(file);
  return CloseHandle(file);
}

typedef void (*Function)(void);

static const struct {
  const char* name;
  Function function;
} strict[] = {
    {"CreateFileW", (Function)StrictCreate},      {"_wfopen", (Function)StrictStream},
    {"MoveFileExW", (Function)StrictMove},        {"FindFirstFileW", (Function)StrictFind},
    {"DeleteFileW", (Function)StrictDelete},      {"SetFileAttributesW", (Function)StrictAttributes},
    {"WriteFile", (Function)WatchedWrite},        {"SetEndOfFile", (Function)WatchedEnd},
    {"FlushFileBuffers", (Function)WatchedFlush}, {"CloseHandle", (Function)WatchedClose},
};

static int Redirect(const char* name, Function* place) {
  for (size_t i = 0; i < sizeof strict / sizeof *strict; ++i) {
    if (strcmp(strict[i].name, name) != 0) continue;
    DWORD old;
    VirtualProtect(place, sizeof *place, PAGE_READWRITE, &old);
    *place = strict[i].function;
    VirtualProtect(place, sizeof *place, old, &old);
    return 1;
  }
  return 0;
}

int MakeStrict(HMODULE module) {
  const char* base = (const char*)module;
  const IMAGE_NT_HEADERS32* headers = (const void*)(base + ((const IMAGE_DOS_HEADER*)module)->e_lfanew);
  const DWORD imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  int count = 0;
  for (const IMAGE_IMPORT_DESCRIPTOR* from = (const void*)(base + imports); from->Name != 0; ++from) {
    const DWORD* names = (const void*)(base + from->OriginalFirstThunk);
    Function* places = (Function*)(base + from->FirstThunk);
    for (; *names != 0; ++names, ++places) {
      count += Redirect((const char*)((const IMAGE_IMPORT_BY_NAME*)(base + *names))->Name, places);
    }
  }
  return count;
}
