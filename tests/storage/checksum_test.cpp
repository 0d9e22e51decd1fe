// Both ways to the checksum's remainder against the one-byte step that defines it.

#include "storage/checksum.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using Way = uint16_t (*)(const uint8_t* bytes, uint32_t length);

void ExpectTheRemainder(Way way) {
  std::mt19937 random(std::random_device{}());
  for (uint32_t length = 0; length <= 1200; length += 16) {
    for (uint32_t shift = 0; shift < 16; ++shift) {
      std::vector<uint8_t> bytes(shift + length);
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
      uint32_t sum = 0;
      for (uint32_t i = shift; i < bytes.size(); ++i) {
        sum = storage::UpdateCRCValue(sum, bytes[i], storage::kCrcPolynomial);
      }
      ASSERT_EQ(way(bytes.data() + shift, length), sum & 0xFFFF) << length << " bytes";
    }
  }
}

TEST(Remainder, ByTables) {
  ExpectTheRemainder(storage::RemainderByTables);
}

TEST(Remainder, ByMultiply) {
  if (!storage::CanMultiply()) GTEST_SKIP() << "the processor cannot multiply polynomials";
  ExpectTheRemainder(storage::RemainderByMultiply);
}

}  // namespace
