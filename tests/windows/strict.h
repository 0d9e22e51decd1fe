/*
 * Makes the system as strict towards pmstore.dll as Windows can be, where Wine is lenient, and watches the
 * order of its calls. The DLL's imports of the file functions are led through this file:
 *
 *  1. Creating a file over a hidden one fails, and so does a name beyond 259 characters that is not in the
 *     extended form.
 *  2. A rename leaves the new name without the hidden attribute.
 *  3. The right to change a file's access rights is refused, as shared folders may refuse it.
 *  4. A file written is carried to the disk before it is closed; a rename replaces and is written through.
 */
#ifndef STRICT_H
#define STRICT_H

#include <windows.h>

typedef struct Seen {
  int creations;         /* files made */
  int renames;           /* files given another name */
  int overHidden;        /* attempts to create over a hidden file */
  int tooLong;           /* names that Windows would refuse for their length */
  int notDurable;        /* files closed before what was written to them was carried to the disk */
  int notWrittenThrough; /* renames without the replace and write-through flags */
  volatile int held;     /* renames and removals refused since another handle holds the file */
} Seen;

extern Seen seen;

/* The number of imports that were led through here. */
int MakeStrict(HMODULE module);

#endif
