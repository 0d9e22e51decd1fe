// The library's entry point. It does no work of its own, since all state is made by the exports; where the
// system calls a library on load, it only declines to hear about threads. There the system calls it with no
// start-up code of the compiler's before it, which would be called for each thread as well: what the
// compiler's own code needs to run stands here.
#include "pmstore.h"

#if defined(_WIN32)
#include "platform/compiler.h"
#include "platform/platform.h"

extern "C" {

// What the compiler's stack protector compares, and calls when it has changed.
uintptr_t __stack_chk_guard;

[[noreturn]] void __stack_chk_fail() {
  platform::StopProcess();
}

// The functions that the compiler wants called before others, among them one that asks the processor what it
// can do: a mark, then the functions, then null.
extern void (*__CTOR_LIST__[])();

// What they want called when the library goes.
static void (*leaving[16])();
static int leavingCount;

int atexit(void (*call)()) {
  if (leavingCount == sizeof leaving / sizeof *leaving) return -1;
  leaving[leavingCount++] = call;
  return 0;
}

PMSTORE_NO_STACK_PROTECTOR int __stdcall DllMain(void* module, unsigned long reason, void* isProcessEnding) {
  constexpr unsigned long kProcessAttach = 1;
  constexpr unsigned long kProcessDetach = 0;
  if (reason == kProcessAttach) {
    __stack_chk_guard = platform::StackGuard();
    for (auto* call = &__CTOR_LIST__[1]; *call != nullptr; ++call) (*call)();
    platform::QuietThreadNotifications(module);
  }
  if (reason == kProcessDetach && isProcessEnding == nullptr) {
    while (leavingCount > 0) leaving[--leavingCount]();
  }
  return 1;
}

}  // extern "C"
#endif
