// Result codes that tests/api/transcripts cannot bring about: of full disks, and of vaults beyond every measure.

#if !defined(_WIN32)
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#endif

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

// An item whose packets are more than their numbers can count.
TEST_F(ResultCodes, OfAnItemTooLargeToBeSaved) {
  Bytes bytes;
  const Bytes one = vault::MakeBlock(5, Pattern(1), 0);
  for (int i = 0; i < 65536; ++i) bytes.insert(bytes.end(), one.begin(), one.end());
  WriteBytes(file(), bytes);
  DataBaseHandle* db = open();
  EXPECT_EQ(get(db, 5), std::nullopt);
  EXPECT_EQ(modify(db, 5, Pattern(1), 0, 1), -1);
  EXPECT_EQ(CloseDataBaseFile(db), 0);
  EXPECT_TRUE(ReadBytes(file()) == bytes);
  std::filesystem::remove(file());
}

#if !defined(_WIN32)

int32_t Within(decltype(RLIMIT_FSIZE) what, rlim_t limit, int32_t (*call)()) {
  rlimit before;
  getrlimit(what, &before);
  const rlimit lowered = {limit, before.rlim_max};
  setrlimit(what, &lowered);
  const int32_t result = call();
  setrlimit(what, &before);
  return result;
}

TEST_F(ResultCodes, OfAFullDiskAndOfTooManyOpenFiles) {
  std::signal(SIGXFSZ, SIG_IGN);
  const uint32_t id = add(open(), Pattern(900));
  restart();
  const auto before = ReadBytes(file());
  EXPECT_EQ(modify(open(), id, Pattern(3500), -1, 0), 0);
  for (const rlim_t room : {0, 5000}) {  // for no journal; for one without a frame
    EXPECT_EQ(Within(RLIMIT_FSIZE, room, PmSyncDirtyData), -4);
    EXPECT_EQ(ReadBytes(file()), before);
  }
  restart();  // which writes it
  EXPECT_EQ(get(open(), id), Pattern(3500));
  EXPECT_EQ(modify(open(), id, Pattern(10), -1, 0), 0);
  const auto next = static_cast<rlim_t>(dup(0));
  close(static_cast<int>(next));
  for (const rlim_t spare : {0, 1})  // the journal takes one, its folder and the backup another
    EXPECT_EQ(Within(RLIMIT_NOFILE, next + spare, PmSyncDirtyData), -2) << spare;
}

#endif

}  // namespace
