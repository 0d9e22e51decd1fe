#include "storage/fragments.h"

#include <cstdlib>
#include <cstring>

namespace storage {

namespace {

constexpr uint32_t kOwn = 2;

}  // namespace

bool Fragments::reserve(uint32_t wanted) {
  if (wanted <= (capacity == 0 ? kOwn : capacity)) return true;
  const uint32_t grown = wanted > 2 * count ? wanted : 2 * count;  // growing by ones stays linear
  auto* offsets = static_cast<uint32_t*>(std::malloc(size_t{grown} * sizeof(uint32_t)));
  if (offsets == nullptr) return false;
  std::memcpy(offsets, begin(), count * sizeof(uint32_t));
  if (capacity != 0) std::free(heap);
  heap = offsets;
  capacity = grown;
  return true;
}

void Fragments::release() {
  if (capacity != 0) std::free(heap);
  count = 0;
  capacity = 0;
}

}  // namespace storage
