/*
 * Makes the system as strict towards pmstore.dll as Windows can be, where Wine is lenient.
 *
 *  1. Creating a file over a hidden one fails, and so does a name beyond 259 characters that is not in the extended
 *     form.
 *  2. The right to change a file's access rights is refused, as shared folders may refuse it.
 *  3. A rename replaces and is written through.
 */
#ifndef STRICT_H
#define STRICT_H

#include <windows.h>

/* Begins or ends it; the number of functions that are led through it, or back. */
int MakeStrict(HMODULE module, int strict);

typedef struct Seen {
  int creations;     /* files made */
  int refused;       /* what Windows would have refused by 1 and 3 */
  volatile int held; /* renames and removals refused since another handle holds the file */
} Seen;

extern Seen seen;

#endif
