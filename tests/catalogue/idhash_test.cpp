// The hash behind new item IDs, by values that are known.
#include "catalogue/idhash.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

TEST(IdHash, KnownValues) {
  uint8_t bytes[260] = {};
  EXPECT_EQ(catalogue::GetIdHashValue(bytes, 260), 0);
  std::iota(bytes, bytes + 260, uint8_t{0});
  EXPECT_EQ(catalogue::GetIdHashValue(bytes, 260), 0xA5507F14);
  EXPECT_EQ(catalogue::GetIdHashValue(bytes + 1, 2), 0x00060005);
  EXPECT_EQ(catalogue::GetIdHashValue(nullptr, 260), 0);
  EXPECT_EQ(catalogue::GetIdHashValue(bytes, 0), 0);
}

}  // namespace
