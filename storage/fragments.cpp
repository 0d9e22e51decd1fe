#include "storage/fragments.h"

#include <cstring>

#include "platform/heap.h"

namespace storage {

namespace {

constexpr uint32_t kOwn = 2;

}  // namespace

bool Fragments::reserve(uint32_t wanted) {
  if (wanted <= (capacity == 0 ? kOwn : capacity)) return true;
  const uint32_t grown = wanted > 2 * count ? wanted : 2 * count;  // growing by ones stays linear
  uint32_t* offsets = platform::Resize<uint32_t>(capacity != 0 ? heap : nullptr, grown);
  if (offsets == nullptr) return false;
  if (capacity == 0) std::memcpy(offsets, own, sizeof own);
  heap = offsets;
  capacity = grown;
  return true;
}

void Fragments::release() {
  if (capacity != 0) platform::Release(heap);
  count = 0;
  capacity = 0;
}

}  // namespace storage
