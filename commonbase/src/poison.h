// What the address sanitizer, in builds that have it, is told of memory that is no heap block of its own.
#pragma once

#include <cstddef>

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

namespace commonbase {

#if defined(PMSTORE_HAS_ADDRESS_SANITIZER)
constexpr size_t kRedZone = 16;  // bytes between blocks that nobody may touch

// From now on nobody may touch these bytes; or they may.
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

}  // namespace commonbase
