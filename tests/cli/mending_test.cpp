// Random damage to random packets: a packet that is called proven is the one that was written, always, and what
// stands often enough in its block is always mended. PMSTORE_TEST_SEED draws others.

#include "cli/mending.h"

#include "storage/pack.h"
#include "tests/support/fixture.h"
#include "tests/support/random.h"

namespace {

constexpr uint32_t kCases = 500;  // of each damage

uint32_t Below(uint32_t bound) {
  static Random random(1);
  return random.below(bound);
}

void Overwrite(Bytes& block, uint32_t begin, uint32_t size, uint32_t bytesBelow) {
  for (uint32_t i = begin; i < begin + size; ++i) block[i] = static_cast<uint8_t>(Below(bytesBelow));
}

// `size` is that of the header and the data.
void Burst(Bytes& block, uint32_t size, uint32_t longest) {
  const uint32_t length = 1 + Below(std::min(size, longest));
  Overwrite(block, Below(size - length + 1), length, 256);
}

struct Damage {
  const char* name;
  void (*strike)(Bytes& block, uint32_t size);
  uint32_t mendedUpTo;  // so long data always comes out right, proven or guessed
};

const Damage kDamages[] = {
    {"bit", [](Bytes& b, uint32_t size) { b[Below(size)] ^= static_cast<uint8_t>(1U << Below(8)); }, 1000},
    {"burst in the packet", [](Bytes& b, uint32_t size) { Burst(b, size, 200); }, 492},
    {"burst anywhere", [](Bytes& b, uint32_t) { Burst(b, 1024, 300); }, 200},
    {"header", [](Bytes& b, uint32_t) { Overwrite(b, 0, 16, 256); }, 1000},
    {"half of it zeros", [](Bytes& b, uint32_t) { Overwrite(b, Below(2) * 512, 512, 1); }, 200},
    {"cut", [](Bytes& b, uint32_t) { b.resize(1 + Below(1023)); }, 0},
    {"split", [](Bytes& b, uint32_t) { b.insert(b.begin() + Below(1024), 1 + Below(20), 'x'); }, 200},
    {"all of it", [](Bytes& b, uint32_t) { Overwrite(b, 0, 1024, 256); }, 0},
};

TEST(Mending, NeverTakesAWrongPacketForProven) {
  for (const Damage& damage : kDamages) {
    uint32_t falseGuesses = 0;
    for (uint32_t i = 0; i < kCases; ++i) {
      SCOPED_TRACE(damage.name + (" " + std::to_string(i)));
      const uint32_t length = 1 + Below(Below(3) == 0 ? 1000 : 500);
      const Bytes item =
          Below(4) == 0 ? Bytes(length, 'x') : Pattern(length == 1000 ? 2500 : length, Below(UINT32_MAX));
      const Bytes whole = vault::MakeBlock(Below(UINT32_MAX), item, 0);
      Bytes block = whole;
      damage.strike(block, 16 + length);
      if (block.size() == 1024 && storage::CheckPacket(block.data()) == 0) continue;  // nobody sees it
      const std::vector<storage::PacketHeader> missing{storage::DecodeHeader(whole.data())};
      const auto mended = block.size() > 1024 ? cli::MendSplit({block.begin(), block.begin() + 1024},
                                                               {block.end() - 1024, block.end()}, missing)
                                              : cli::MendBlock(block, missing);
      const bool right =
          mended && std::equal(whole.begin(), whole.begin() + 16 + length, mended->block.begin());
      ASSERT_TRUE(right || length > damage.mendedUpTo);
      ASSERT_TRUE(right || !mended || !cli::IsProven(*mended));
      falseGuesses += mended && !right ? 1 : 0;
    }
    EXPECT_LT(falseGuesses, kCases / 8) << damage.name;  // as often as a guess says of itself
  }
}

}  // namespace
