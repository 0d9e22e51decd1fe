/* What the tests of the DLL share: its functions, typed by their public declarations, and checks of files. */
#ifndef COMPONENT_H
#define COMPONENT_H

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <windows.h>

#include "pmstore.h"

typedef struct Pmstore {
  HMODULE module;
#define EXPORTED(name, ordinal) __typeof__(name)* name;
#include "exported.inc"
#undef EXPORTED
} Pmstore;

extern Pmstore pm;

/* Finds the functions by their names, in the DLL loaded for it, or LINKED through its import library; how many
 * were found, the same under their numbers. */
int LoadPmstore(void);

/* Notes a failure and goes on; a program of tests returns Failures(). */
#define CHECK(condition) Check((condition) != 0, #condition, __FILE__, __LINE__)
int __cdecl Check(int holds, const char* condition, const char* file, int line);
int Failures(void);

void __cdecl TestCallbacks(void);

const IMAGE_NT_HEADERS* HeadersOf(HMODULE module);

/*
 * Makes the system as strict towards pmstore.dll as Windows can be, where Wine is lenient; the number of functions
 * that were led through it.
 *
 *  1. Creating a file over a hidden one fails, and so does a name beyond 259 characters that is not in the extended
 *     form.
 *  2. The right to change a file's access rights is refused, as shared folders may refuse it.
 *  3. A rename replaces and is written through.
 */
int MakeStrict(HMODULE module);

typedef struct Seen {
  int creations;     /* files made */
  int refused;       /* what Windows would have refused by 1 and 3 */
  volatile int held; /* renames and removals refused since another handle holds the file */
} Seen;

extern Seen seen;

/* Makes a new folder with a name beyond ASCII the current one; LeaveFolder deletes it and its files. */
void EnterFolder(void);
void LeaveFolder(void);

int IsThere(const wchar_t* path);
int IsHidden(const wchar_t* path); /* as the system reports it */

/* Reads the bytes of a file into room for kMostBytes; their number, 0 when it cannot be read. */
enum { kMostBytes = 65536 };
size_t ReadAll(const wchar_t* path, char* bytes);

#endif
