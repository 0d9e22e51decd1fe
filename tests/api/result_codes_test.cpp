// Result codes that tests/api/transcripts cannot bring about: of a file that the engine has lost, and of a full vault.

#include "storage/controller.h"
#include "tests/support/fixture.h"

namespace {

using ResultCodes = DataBaseTest;

TEST_F(ResultCodes, OfAFileThatIsLost) {
  DataBaseHandle* db = open();
  const uint32_t id = add(db, Pattern(3));
  EXPECT_EQ(storage::CloseDataFile(Pm(file()).c_str()), 0);  // behind the catalogue's back
  EXPECT_EQ(insert(db, id, Pattern(3)), -2);
  EXPECT_EQ(DeleteItemFromDataBase(db, id, 0), -2);
  EXPECT_EQ(modify(db, id, Pattern(3), 0, 0), -2);
  EXPECT_EQ(get(db, id), std::nullopt);
  EXPECT_EQ(RetainID(db, id + 1, 1, nullptr), 1);
  for (const int32_t result : {-2, -3}) EXPECT_EQ(CloseDataBaseFile(db), result);
  EXPECT_EQ(open(), db);
}

// The vault is made to look as if it had all blocks but one that a data file can have.
TEST_F(ResultCodes, OfAFullVault) {
  DataBaseHandle* db = open();
  const uint32_t stored = add(db, Pattern(900)), pending = CreateNewItemID(db, 1, nullptr);
  EXPECT_EQ(PmSyncDirtyData(), 0);
  const auto before = ReadBytes(file());
  storage::FileInfo* info = storage::CurrentFile();
  const uint32_t blockNum = std::exchange(info->blockNum, storage::kMaxBlocks - 1);
  EXPECT_EQ(insert(db, pending, Pattern(5000), 1), -4);
  EXPECT_EQ(ReadBytes(file()), before);
  info->blockNum = blockNum;
  EXPECT_EQ(DeleteItemFromDataBase(db, stored, 1), 0);
}

}  // namespace
