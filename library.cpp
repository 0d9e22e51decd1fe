// The library's entry point: it does no work of its own, since all state is made by the exports. Where the system
// calls a library on load (Windows), platform/win32.cpp answers; this file names what the library is made of.
#include "pmstore.h"
