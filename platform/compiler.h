// What compilers offer beyond the language. Another compiler is fitted in here; what it lacks may do nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define PMSTORE_HAS_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PMSTORE_HAS_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(PMSTORE_HAS_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#endif

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "User data stands in memory as it stands in the file: UTF-16, little-endian."
#endif

namespace platform {

// Asks for memory that will be read soon.
inline void Prefetch(const void* address) {
#if defined(__GNUC__)
  __builtin_prefetch(address);
#else
  (void)address;
#endif
}

// The number of the lowest bit that is set, of a word that is not 0.
inline uint32_t LowestBit(uint64_t word) {
#if defined(__GNUC__)
  return static_cast<uint32_t>(__builtin_ctzll(word));
#else
  uint32_t bit = 0;
  while ((word >> bit & 1) == 0) ++bit;
  return bit;
#endif
}

// Marks a function that runs before the value is there which the stack protector compares.
#if defined(__GNUC__)
#define PMSTORE_NO_STACK_PROTECTOR [[gnu::no_stack_protector]]
#else
#define PMSTORE_NO_STACK_PROTECTOR
#endif

#if defined(_WIN32)
// Ends the process where it stands and has the system report why: nothing of the process itself runs any more.
[[noreturn]] inline void FailFast(uint32_t reason) {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
  asm volatile("int $0x29" : : "c"(reason));
  __builtin_unreachable();
#else
  (void)reason;
  std::abort();
#endif
}
#endif

// What the address sanitizer, in builds that have it, is told of memory that is no heap block of its own: from now on
// nobody may touch these bytes; or they may.
#if defined(PMSTORE_HAS_ADDRESS_SANITIZER)
constexpr size_t kRedZone = 16;  // bytes between blocks that nobody may touch

inline void Poison(void* bytes, size_t size) {
  __asan_poison_memory_region(bytes, size);
}
inline void Unpoison(void* bytes, size_t size) {
  __asan_unpoison_memory_region(bytes, size);
}
#else
constexpr size_t kRedZone = 0;
inline void Poison(void*, size_t) {}
inline void Unpoison(void*, size_t) {}
#endif

}  // namespace platform
