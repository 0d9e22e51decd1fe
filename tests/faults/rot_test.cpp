// A vault with every kind of block, with each of its bits flipped, cut at every length, and with its blocks
// swapped and doubled: what it answers is compared with what the format says (see drive.h).

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/drive.h"
#include "tests/support/fixture.h"
#include "tests/support/random.h"

namespace {

using vault::kBlock;

// The table, an item in one block, which is changed and deleted, one in three with a leftover of a longer version, and
// a free block.
Bytes EveryKind() {
  return ReadBytes(PMSTORE_CORPUS "/open/every-kind-and-a-leftover").value();
}

TEST(Rot, EveryBitFlippedAndCutAtEveryLength) {
  const Bytes file = EveryKind();
  for (size_t bit = 0; bit < 8 * file.size(); ++bit) {
    const size_t at = bit / 8 % kBlock;  // all of the headers and trailers, and here and there between
    if (at >= 40 && at < 1010 && at % 31 != 0) continue;
    Bytes flipped = file;
    flipped[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
    drive::OpenAndUse(flipped);
  }
  for (size_t size = 0; size <= file.size(); ++size) {
    const Bytes cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(size));
    drive::OpenAndUse(cut);
    if (size % 16 == 0) drive::Restore(cut);
  }
}

// Enough items for some to be read along with others.
Bytes ManyItems(Random& random) {
  Bytes file;
  for (uint32_t id = 1; id <= 330; ++id) {
    const size_t size = random.below(random.oneIn(8) ? 30000 : 2500);
    const Bytes item = id % 11 != 0 ? vault::MakeBlocks(id, Pattern(1 + size, id))
                                    : vault::MakeBlock(id - 1, Pattern(32000), 31);  // of a longer version
    file.insert(file.end(), item.begin(), item.end());
  }
  return file;
}

TEST(Rot, BlocksSwappedDoubledAndDamaged) {
  Random random(1);
  for (int round = 0; round < 3000; ++round) {
    const bool many = round % 150 == 0;
    Bytes file = many ? ManyItems(random) : EveryKind();
    const auto blocks = static_cast<uint32_t>(file.size() / kBlock);
    for (auto i = many ? 30 : 1 + random.below(5); i > 0; --i) {
      const auto from = file.begin() + random.below(blocks) * kBlock,
                 to = file.begin() + random.below(blocks) * kBlock;
      const Bytes block(from, from + kBlock);
      if (random.oneIn(2)) std::copy_n(to, kBlock, from);
      std::copy(block.begin(), block.end(), to);
      if (many) file[random.below(blocks) * kBlock + 16 + random.below(900)] ^= 1;
    }
    drive::OpenAndUse(file);
  }
}

// The fuzzers' inputs, without the fuzzer.
TEST(Rot, TheCorpora) {
  const struct {
    const char* folder;
    void (*play)(const Bytes&);
  } kCorpora[] = {{"open", drive::OpenAndUse}, {"table", drive::UseTable}, {"restore", drive::Restore}};
  for (const auto& corpus : kCorpora) {
    int played = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(PMSTORE_CORPUS "/") + corpus.folder)) {
      corpus.play(ReadBytes(entry.path()).value_or(Bytes()));
      ++played;
    }
    EXPECT_GT(played, 0) << corpus.folder;
  }
}

}  // namespace
