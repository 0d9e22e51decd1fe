// The checksum by tables: what each of 16 bytes leaves of the remainder, looked up at once.

#include "storage/checksum.h"

namespace storage {

namespace {

constexpr int kStride = 16;  // bytes folded in one step

struct Tables {
  uint32_t whole[256] = {};               // what one byte does to the 32-bit accumulator
  uint16_t remainder[kStride][256] = {};  // what a byte with n bytes behind it leaves of the 16-bit remainder
};

constexpr Tables MakeTables() {
  Tables tables{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    tables.whole[byte] = UpdateCRCValue(0, static_cast<uint8_t>(byte), kCrcPolynomial);
    uint32_t sum = tables.whole[byte];
    for (int behind = 0; behind < kStride; ++behind) {
      tables.remainder[behind][byte] = static_cast<uint16_t>(sum);
      sum = UpdateCRCValue(sum & 0xFFFF, 0, kCrcPolynomial);
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

uint16_t FoldStride(uint16_t remainder, const uint8_t* bytes) {
  unsigned folded = kTables.remainder[kStride - 1][bytes[0] ^ (remainder >> 8)] ^
                    kTables.remainder[kStride - 2][bytes[1] ^ (remainder & 0xFF)];
  for (int i = 2; i < kStride; ++i) folded ^= kTables.remainder[kStride - 1 - i][bytes[i]];
  return static_cast<uint16_t>(folded);
}

}  // namespace

uint16_t RemainderByTables(const uint8_t* bytes, uint32_t length) {
  // The first bytes, fewer than a stride, leave what they leave behind zeros.
  const uint32_t head = length % kStride;
  uint16_t remainder = 0;
  for (uint32_t i = 0; i < head; ++i) remainder ^= kTables.remainder[head - 1 - i][bytes[i]];
  for (uint32_t at = head; at < length; at += kStride) remainder = FoldStride(remainder, bytes + at);
  return remainder;
}

uint32_t GetCRCValue(const uint8_t* bytes, uint32_t length) {
  const uint32_t folded = length < kStride + 4 ? 0 : length - 4;
  uint32_t sum = 0;
  if (folded != 0) {
    sum = CanMultiplyWide() ? RemainderByWideMultiply(bytes, folded)
          : CanMultiply()   ? RemainderByMultiply(bytes, folded)
                            : RemainderByTables(bytes, folded);
  }
  for (uint32_t i = folded; i < length; ++i) sum = (sum << 8) ^ kTables.whole[((sum >> 8) & 0xFF) ^ bytes[i]];
  return sum;
}

}  // namespace storage
