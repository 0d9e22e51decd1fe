#include "storage/checksum.h"

namespace storage {

namespace {

constexpr int kStride = 16;  // bytes folded in one step

struct Tables {
  uint32_t whole[256];               // what one byte does to the 32-bit accumulator
  uint16_t remainder[kStride][256];  // what a byte with n bytes behind it leaves of the 16-bit remainder
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

uint32_t GetCRCValue(const uint8_t* bytes, uint32_t length) {
  uint16_t remainder = 0;
  for (; length >= kStride + 4; length -= kStride, bytes += kStride) remainder = FoldStride(remainder, bytes);
  uint32_t sum = remainder;
  for (; length > 0; --length, ++bytes) sum = (sum << 8) ^ kTables.whole[((sum >> 8) & 0xFF) ^ *bytes];
  return sum;
}

}  // namespace storage
