// The library's entry point. It does no work of its own, since all state is made by the exports; where the
// system calls a library on load, it only declines to hear about threads.
#include "pmstore.h"

#if defined(_WIN32)
#include "platform/platform.h"

extern "C" int __stdcall DllMain(void* module, unsigned long reason, void*) {
  constexpr unsigned long kProcessAttach = 1;
  if (reason == kProcessAttach) platform::QuietThreadNotifications(module);
  return 1;
}
#endif
