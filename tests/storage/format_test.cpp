// Known values of the format: the checksum, whole blocks and the hash behind new IDs.

#include <numeric>
#include <random>

#include "catalogue/itemid.h"
#include "storage/checksum.h"
#include "storage/pack.h"
#include "tests/support/fixture.h"

namespace {

Bytes Ascii(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

uint32_t Crc(const Bytes& bytes) {
  return storage::GetCRCValue(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

Bytes Pack(uint32_t id, const Bytes& item, uint32_t index) {
  Bytes block(vault::kBlock, 0xEE);
  storage::PackItemData(id, item.data(), static_cast<uint32_t>(item.size()), static_cast<uint16_t>(index),
                        block.data());
  return block;
}

TEST(Checksum, KnownValues) {
  const Bytes packet = {0x41, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0x78, 0x56, 0x34, 0x12, 'a', 'b', 'c'};
  EXPECT_EQ(Crc(Ascii("123456789")), 0x7C42A47B);
  EXPECT_EQ(Crc(Bytes(777)), 0);
  EXPECT_EQ(Crc({1}), 0xA001);
  EXPECT_EQ(Crc(packet), 0x10B5B2D6);
}

TEST(Checksum, EqualsTheBitwiseDefinitionAtEveryLengthAndAlignment) {
  const Bytes bytes = Pattern(1300, std::random_device()());
  for (uint32_t size = 0; size <= 1280; ++size) {
    const uint8_t* start = bytes.data() + size % 17;
    const uint32_t sum = vault::Checksum(start, size);
    ASSERT_EQ(storage::GetCRCValue(start, size), sum) << size;
    if (size < 16) continue;
    const uint32_t rest = sum & 0xFFFF;
    ASSERT_EQ(storage::RemainderByTables(start, size), rest) << size;
    ASSERT_TRUE(!storage::CanMultiply() || storage::RemainderByMultiply(start, size) == rest) << size;
    ASSERT_TRUE(!storage::CanMultiplyWide() || storage::RemainderByWideMultiply(start, size) == rest) << size;
  }
}

TEST(Pack, KnownBlock) {
  Bytes block = Pack(0x12345678, Ascii("abc"), 0);
  const Bytes head = {0x41, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                      0x00, 0x78, 0x56, 0x34, 0x12, 0x61, 0x62, 0x63, 0x41, 0x00, 0x00,
                      0x00, 0x04, 0x00, 0x00, 0x00, 0x04, 0x00, 0x00, 0x00, 0x81, 0x56,
                      0x34, 0x12, 0x71, 0x62, 0x63, 0x41, 0x19, 0x00, 0x00, 0x04};
  const Bytes tail = {0xAF, 0x8C, 0xDF, 0xBF, 0x94, 0x15, 0x0E, 0x71, 0x4A, 0x4A, 0xC4, 0xCF,
                      0x7A, 0xFB, 0xF7, 0x00, 0xD6, 0xB2, 0xB5, 0x10, 0xEF, 0xCD, 0xAB, 0x89};
  EXPECT_EQ(Bytes(block.begin(), block.begin() + 43), head);
  EXPECT_EQ(Bytes(block.begin() + 1000, block.end()), tail);
  EXPECT_EQ(storage::CheckPacket(block.data()), 0);
  vault::Put(&block[1016], 0x0000B2D6);
  EXPECT_EQ(storage::CheckPacket(block.data()), -6) << "all of the checksum counts";
}

TEST(Pack, EveryByteOfEveryPacket) {
  for (const size_t size : {1, 2, 3, 4, 983, 984, 985, 997, 998, 999, 1000, 1001, 2000, 2001, 3007}) {
    const Bytes item = Pattern(size, static_cast<uint32_t>(size));
    for (uint32_t i = 0; i < vault::BlocksFor(size); ++i)
      ASSERT_EQ(Pack(0xF00DBABE, item, i), vault::MakeBlock(0xF00DBABE, item, i)) << size;
  }
  const Bytes huge = Pattern(65535 * vault::kRoom - 1);
  EXPECT_EQ(Pack(1, huge, 65534), vault::MakeBlock(1, huge, 65534));
}

TEST(IdHash, KnownValues) {
  const Bytes zeros(260), two = {1, 2};
  Bytes counting(260);
  std::iota(counting.begin(), counting.end(), uint8_t{0});
  EXPECT_EQ(catalogue::GetIdHashValue(zeros.data(), 260), 0);
  EXPECT_EQ(catalogue::GetIdHashValue(two.data(), 2), 0x00060005);
  EXPECT_EQ(catalogue::GetIdHashValue(counting.data(), 260), 0xA5507F14);
  EXPECT_EQ(catalogue::GetIdHashValue(nullptr, 260), 0);
  EXPECT_EQ(catalogue::GetIdHashValue(two.data(), 0), 0);
}

}  // namespace
