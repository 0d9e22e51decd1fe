/* The DLL's imports of the file functions are led through this file, which makes them as strict as strict.h says. */
#include "strict.h"

#include <wchar.h>

Seen seen;

/* Whether Windows would refuse the name, or to make a file of this name. */
static int Refused(const wchar_t* path, int creates) {
  const int isLong = wcsncmp(path, L"\\\\?\\", 4) != 0 && GetFullPathNameW(path, 0, NULL, NULL) > MAX_PATH;
  const DWORD attributes = creates ? GetFileAttributesW(path) : INVALID_FILE_ATTRIBUTES;
  const int isHidden = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
  seen.creations += creates;
  seen.refused += isLong || isHidden;
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
  seen.refused += flags != (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
  return !Refused(from, 0) && !Refused(to, 0) && NoteHeld(MoveFileExW(from, to, flags));
}

static BOOL WINAPI StrictDelete(LPCWSTR path) {
  return !Refused(path, 0) && NoteHeld(DeleteFileW(path));
}

static BOOL WINAPI StrictAttributes(LPCWSTR path, DWORD attributes) {
  return !Refused(path, 0) && SetFileAttributesW(path, attributes);
}

typedef void (*Function)(void);

int MakeStrict(HMODULE module, int strict) {
  const Function functions[][2] = {{(Function)CreateFileW, (Function)StrictCreate},
                                   {(Function)MoveFileExW, (Function)StrictMove},
                                   {(Function)DeleteFileW, (Function)StrictDelete},
                                   {(Function)SetFileAttributesW, (Function)StrictAttributes}};
  char* image = (char*)module;
  const IMAGE_NT_HEADERS* headers = (void*)(image + ((IMAGE_DOS_HEADER*)image)->e_lfanew);
  const IMAGE_DATA_DIRECTORY imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
  Function* imported = (Function*)(image + imports.VirtualAddress);
  DWORD old;
  int count = 0;
  VirtualProtect(imported, imports.Size, PAGE_READWRITE, &old);
  for (DWORD i = 0; i < imports.Size / sizeof *imported; ++i) {
    for (size_t k = 0; k < sizeof functions / sizeof *functions; ++k) {
      if (imported[i] != functions[k][!strict]) continue;
      imported[i] = functions[k][strict];
      ++count;
    }
  }
  return count;
}
