// What a block is made of, where the files that other tests compare do not show it: the checksum by each of its ways,
// and the last packet of the largest item.
#include "storage/checksum.h"
#include "storage/pack.h"
#include "tests/support/fixture.h"
#include "tests/support/random.h"

namespace {

TEST(Checksum, EqualsTheBitwiseDefinitionAtEveryLengthAndAlignment) {
  const Bytes bytes = Pattern(1300, Random().seed);
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

TEST(Pack, LastPacketOfTheLargestItem) {
  const Bytes huge = Pattern(65535 * vault::kRoom - 1);
  Bytes block(vault::kBlock, 0xEE);
  storage::PackItemData(1, huge.data(), static_cast<uint32_t>(huge.size()), 65534, block.data());
  EXPECT_EQ(block, vault::MakeBlock(1, huge, 65534));
}

}  // namespace
