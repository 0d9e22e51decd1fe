// One vault that every build must make byte for byte: the same calls with the same IDs, compared with files
// that stand beside this test. What one build writes is so what every other reads.
#include "tests/support/fixture.h"

namespace {

constexpr uint32_t kLogin = 1, kNote = 0x80000000;

struct Entry {
  uint32_t id, kind;
  PmString userData;
  Bytes bytes;
};

// What the vault holds in the end, in the order of its ID table.
std::vector<Entry> Entries() {
  const PmString wide = {0x4fdd, 0x9669, 0xd83d, 0xdd11, 0xd800};  // the last one alone, half a pair
  Bytes grown = Pattern(2500, 3);
  const Bytes patch = Pattern(700, 33);
  grown.resize(2600);
  std::copy(patch.begin(), patch.end(), grown.begin() + 1900);
  return {{0x10000001, kLogin, Text("mail"), Pattern(10, 1)},
          {0xFFFFFFFF, kNote, wide, Pattern(1001, 5)},
          {0x10000003, kNote, PmString(), grown},
          {0x00000002, kLogin, Text("late"), Pattern(1000, 4)}};
}

class GoldenTest : public DataBaseTest {
 protected:
  static Bytes golden(const std::string& name) {
    return ReadBytes(std::filesystem::path(GOLDEN_FOLDER) / name).value_or(Bytes());
  }

  static void add(DataBaseHandle* vault, const Entry& entry, const Bytes& bytes) {
    const PmChar* userData = entry.userData.empty() ? nullptr : entry.userData.c_str();
    EXPECT_EQ(RetainID(vault, entry.id, entry.kind, userData), 1);
    EXPECT_EQ(insert(vault, entry.id, bytes), 0);
  }
};

TEST_F(GoldenTest, EveryBuildWritesTheSameBytes) {
  const std::vector<Entry> entries = Entries();
  DataBaseHandle* const vault = open();
  add(vault, entries[0], Pattern(3000, 1));
  add(vault, {7, kLogin, Text("gone"), {}}, Pattern(1500, 2));
  add(vault, entries[2], Pattern(2500, 3));
  EXPECT_EQ(modify(vault, entries[2].id, Pattern(700, 33), 1900, 1), 0);
  EXPECT_EQ(insert(vault, entries[0].id, entries[0].bytes, 1), 0);
  EXPECT_EQ(DeleteItemFromDataBase(vault, 7, 1), 0);

  EXPECT_EQ(PmStartTransaction(), 0);
  add(vault, entries[1], entries[1].bytes);
  add(vault, entries[3], entries[3].bytes);
  EXPECT_EQ(PmStopTransaction(), 0);
  EXPECT_EQ(insert(vault, entries[1].id, Pattern(4000, 9), 1), 0);
  EXPECT_EQ(insert(vault, entries[1].id, entries[1].bytes, 1), 0);
  EXPECT_EQ(ReadBytes(file()), golden("open.db"));
  EXPECT_EQ(ReadBytes(BackupOf(file())), golden("open.db"));

  EXPECT_EQ(CloseDataBaseFile(vault), 0);
  EXPECT_EQ(ReadBytes(file()), golden("closed.db"));
}

TEST_F(GoldenTest, EveryBuildReadsWhatAnyOtherWrote) {
  WriteBytes(file(), golden("open.db"));
  DataBaseHandle* const vault = open();
  EXPECT_EQ(GetItemCount(vault, kLogin), 2u);
  EXPECT_EQ(ids(vault, kNote), (std::vector<uint32_t>{0xFFFFFFFF, 0x10000003}));
  for (const Entry& entry : Entries()) {
    uint32_t pending = 1;
    const PmChar* const userData = GetItemAddons(vault, entry.id, &pending);
    EXPECT_EQ(userData != nullptr ? PmString(userData) : PmString(), entry.userData);
    EXPECT_EQ(get(vault, entry.id), entry.bytes);
  }
  EXPECT_EQ(CloseDataBaseFile(vault), 0);
  EXPECT_EQ(ReadBytes(file()), golden("closed.db"));
}

}  // namespace
