// A vault is restored from a hostile backup.
#include "fuzz/drive.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  drive::Restore({data, data + size});
  return 0;
}

#if defined(PMSTORE_FUZZING)
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
  size = LLVMFuzzerMutate(data, size, maxSize);
  if (seed % 8 != 0) size -= size % vault::kBlock;
  drive::Repair(data, size, seed);
  return size;
}
#endif
