// One vault that every build must make byte for byte: the same calls with the same IDs, compared with files
// that stand beside this test. What one build writes is so what every other reads. And what the report says of it.
#include <cstdlib>

#include "tests/support/fixture.h"

namespace {

class GoldenTest : public DataBaseTest {
 protected:
  static constexpr uint32_t kLogin = 1, kNote = 0x80000000;

  static std::optional<Bytes> golden(const char* name) {
    return ReadBytes(std::filesystem::path(GOLDEN_FOLDER) / name);
  }

  void add(uint32_t id, uint32_t kind, const PmChar* userData, const Bytes& bytes) const {
    EXPECT_EQ(RetainID(vault_, id, kind, userData), 1);
    EXPECT_EQ(insert(vault_, id, bytes), 0);
  }

  // The lines of all reports so far, with one more: on the current file, with its items' bytes or without.
  std::string report(const char* detail) const {
    static std::string setting;  // which the environment keeps
    putenv(&(setting = std::string("DB_DETAIL_HEX=") + detail)[0]);
    PrintAllItemInfo(Pm(file("report")).c_str());
    std::ifstream stream(file("report"));
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  DataBaseHandle* const vault_ = open();
};

TEST_F(GoldenTest, EveryBuildWritesTheSameBytes) {
  const PmString wide = {0x4fdd, 0x9669, 0xd83d, 0xdd11, 0xd800};  // the last one alone, half a pair
  add(0x10000001, kLogin, Text("mail").c_str(), Pattern(3000, 1));
  add(7, kLogin, Text("gone").c_str(), Pattern(1500, 2));
  add(0x10000003, kNote, nullptr, Pattern(2500, 3));
  EXPECT_EQ(modify(vault_, 0x10000003, Pattern(700, 33), 1900, 1), 0);
  EXPECT_EQ(insert(vault_, 0x10000001, Pattern(10, 1), 1), 0);
  EXPECT_EQ(DeleteItemFromDataBase(vault_, 7, 1), 0);

  EXPECT_EQ(PmStartTransaction(), 0);
  add(0xFFFFFFFF, kNote, wide.c_str(), Pattern(1001, 5));
  add(2, kLogin, Text("late").c_str(), Pattern(1000, 4));
  report("Yes");
  EXPECT_EQ(PmStopTransaction(), 0);
  EXPECT_EQ(insert(vault_, 0xFFFFFFFF, Pattern(4000, 9), 1), 0);
  EXPECT_EQ(insert(vault_, 0xFFFFFFFF, Pattern(1001, 5), 1), 0);
  ASSERT_TRUE(golden("open.db") && golden("closed.db"));
  EXPECT_EQ(ReadBytes(file()), golden("open.db"));
  EXPECT_EQ(ReadBytes(BackupOf(file())), golden("open.db"));
  EXPECT_EQ(CloseDataBaseFile(vault_), 0);
  EXPECT_EQ(ReadBytes(file()), golden("closed.db"));

  Bytes damaged = *golden("open.db"), free = vault::MakeBlocks(9, Pattern(40000));
  damaged[8 * vault::kBlock + 20] ^= 1;
  for (size_t at = 1; at < free.size(); at += vault::kBlock) free[at] = 2;
  damaged.insert(damaged.end(), free.begin(), free.end());
  WriteBytes(file("damaged"), damaged);
  open("damaged");
  std::ifstream expected(std::filesystem::path(GOLDEN_FOLDER) / "report.txt");
  EXPECT_EQ(report("Y"), std::string(std::istreambuf_iterator<char>(expected), {}));
}

}  // namespace
