// Writes that fail for real: a limit on the size of files lets the beginning of a file be written and nothing
// behind it.

#include <sys/resource.h>

#include <csignal>

#include "tests/support/fixture.h"

using vault::kBlock;

namespace {

void LimitFileSize(rlim_t bytes) {
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

class WriteFailure : public DataBaseTest {
 protected:
  // Items 5, 7 and 9 of 900 bytes in blocks 1, 2 and 3, behind the table.
  void SetUp() override {
    std::signal(SIGXFSZ, SIG_IGN);
    handle_ = open();
    for (const uint32_t id : {5, 7, 9}) {
      RetainID(handle_, id, 1, nullptr);
      ASSERT_EQ(insert(handle_, id, Pattern(900, id)), 0);
    }
    before_ = data();
    ASSERT_EQ(before_.size(), 4 * kBlock);
  }
  void TearDown() override { LimitFileSize(RLIM_INFINITY); }

  Bytes data() const { return ReadBytes(file()).value_or(Bytes()); }
  Bytes backup() const { return ReadBytes(BackupOf(file())).value_or(Bytes()); }

  std::optional<Bytes> onDisk(uint32_t id) const {
    const Bytes bytes = data();
    return vault::Assemble(bytes, vault::ScanFile(bytes).items[id]);
  }

  DataBaseHandle* handle_ = nullptr;
  Bytes before_;
};

TEST_F(WriteFailure, ItemsAreSavedInOrderUpToTheOneThatFails) {
  for (const uint32_t id : {9, 7, 5}) ASSERT_EQ(modify(handle_, id, Pattern(2500, 10 + id), -1, 0), 0);
  // Item 5 gets blocks 4 and 5 as well; of the new blocks of item 7 only a part of the first can be written.
  LimitFileSize(6 * kBlock + 300);
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(PmSyncDirtyData(), -4);
    EXPECT_EQ(data().size(), 6 * kBlock) << "neither a ragged end nor a hole";
    EXPECT_EQ(onDisk(5), Pattern(2500, 15));
    EXPECT_NE(onDisk(7), Pattern(2500, 17));
    EXPECT_EQ(onDisk(9), Pattern(900, 9)) << "items behind the failure are not written";
    EXPECT_EQ(backup(), before_) << "the only whole state was replaced";
  }
  LimitFileSize(RLIM_INFINITY);
  EXPECT_EQ(PmSyncDirtyData(), 0);
  EXPECT_EQ(data().size(), 10 * kBlock);
  EXPECT_EQ(backup(), data());
  restart();
  handle_ = open();
  for (const uint32_t id : {5, 7, 9}) EXPECT_EQ(get(handle_, id), Pattern(2500, 10 + id));
}

TEST_F(WriteFailure, WithoutABackupNothingIsWritten) {
  restart();
  handle_ = open();
  LimitFileSize(2 * kBlock);  // too little for a copy of the file
  EXPECT_EQ(DeleteItemFromDataBase(handle_, 9, 1), -4);
  EXPECT_EQ(ids(handle_, 1), (std::vector<uint32_t>{5, 7, 9}));
  EXPECT_EQ(get(handle_, 9), Pattern(900, 9)) << "a refused delete changes nothing";
  EXPECT_EQ(modify(handle_, 5, Pattern(10), 0, 1), -4);
  EXPECT_EQ(data(), before_);
  LimitFileSize(RLIM_INFINITY);
  // Neither where its name is taken.
  create_directories(BackupOf(file()) / "occupied");
  const int32_t result = PmSyncDirtyData();
  EXPECT_TRUE(result == -2 || result == -4) << result;
  EXPECT_EQ(data(), before_);
  EXPECT_FALSE(exists(BackupOf(file()).replace_extension(".pmt")));
  remove_all(BackupOf(file()));
  EXPECT_EQ(PmSyncDirtyData(), 0) << "the item stayed dirty";
  Bytes changed = Pattern(900, 5);
  const Bytes start = Pattern(10);
  std::copy(start.begin(), start.end(), changed.begin());
  EXPECT_EQ(onDisk(5), changed);
  EXPECT_EQ(backup(), data());
}

TEST_F(WriteFailure, AnotherFileInItsPlaceIsLeftAlone) {
  WriteBytes(file("other"), before_);
  std::filesystem::rename(file("other"), file());
  EXPECT_EQ(modify(handle_, 5, Pattern(1500), 0, 1), -2);
  EXPECT_EQ(CloseDataBaseFile(handle_), 0);
  EXPECT_EQ(data(), before_);
  EXPECT_TRUE(std::filesystem::remove(BackupOf(file()))) << "the lost file has no other copy";
}

}  // namespace
