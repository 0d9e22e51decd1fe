// Makes what the fuzzer has mutated get past the first checks: whole blocks, and in most of them a valid header,
// checksum and trailer.
#include <algorithm>

#include "tests/support/vault.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize, unsigned seed) {
  size = LLVMFuzzerMutate(data, size, maxSize);
  if (seed % 8 != 0) size -= size % vault::kBlock;
  for (size_t at = 0; at + vault::kBlock <= size; at += vault::kBlock) {
    seed = seed * 1664525 + 1013904223;
    if ((seed >> 24) % 16 == 0) continue;
    uint8_t* block = data + at;
    block[0] = 0x41;
    block[1] %= 3;
    const uint32_t length = vault::Get(block + 4);
    if (length > vault::kRoom && (seed >> 16) % 8 != 0) vault::Put(block + 4, length % (vault::kRoom + 1));
    vault::Put(block + 1016, vault::Checksum(block, 16 + std::min(vault::Get(block + 4), vault::kRoom)));
    vault::Put(block + 1020, 0x89ABCDEF);
  }
  return size;
}
