// Writes that fail for real: a limit on the size of files lets the beginning of a file be written and nothing
// behind it.

#include <sys/resource.h>

#include <csignal>

#include "tests/support/fixture.h"

using vault::kBlock;

namespace {

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_;
};

class WriteFailure : public DataBaseTest {
 protected:
  // Items 5, 7 and 9 of 900 bytes in blocks 1, 2 and 3, behind the table.
  void SetUp() override {
    handle_ = open();
    for (const uint32_t id : {5, 7, 9}) {
      ASSERT_EQ(RetainID(handle_, id, 1, nullptr), 1);
      ASSERT_EQ(InserItemToDataBase(handle_, id, Pattern(900, id).data(), 900, 0), 0);
    }
    before_ = data();
    ASSERT_EQ(before_.size(), 4 * kBlock);
  }

  Bytes data() const { return ReadBytes(file()).value_or(Bytes()); }
  Bytes backup() const { return ReadBytes(BackupOf(file())).value_or(Bytes()); }
  bool noTemporary() const { return !ReadBytes(BackupOf(file()).replace_extension(".pmt")); }

  std::optional<Bytes> onDisk(uint32_t id) const {
    const Bytes bytes = data();
    return vault::Assemble(bytes, vault::ScanFile(bytes).items[id]);
  }

  void recover() {
    ASSERT_EQ(PmRestoreBackupFile(Pm(file()).c_str()), 0);
    handle_ = open();
    EXPECT_EQ(data(), before_);
    for (const uint32_t id : {5, 7, 9}) EXPECT_EQ(get(handle_, id), Pattern(900, id));
  }

  DataBaseHandle* handle_ = nullptr;
  Bytes before_;
};

TEST_F(WriteFailure, ItemsAreSavedInOrderUpToTheOneThatFails) {
  for (const uint32_t id : {9, 7, 5}) ASSERT_EQ(modify(handle_, id, Pattern(2500, 10 + id), -1, 0), 0);
  {
    // Item 5 gets blocks 4 and 5 as well; of the new blocks of item 7 only a part of the first can be
    // written.
    const FileSizeLimit limit(6 * kBlock + 300);
    for (int attempt = 0; attempt < 3; ++attempt) {
      EXPECT_EQ(PmSyncDirtyData(), -4);
      EXPECT_EQ(data().size(), 6 * kBlock) << "neither a ragged end nor a hole";
      EXPECT_EQ(onDisk(5), Pattern(2500, 15));
      EXPECT_NE(onDisk(7), Pattern(2500, 17));
      EXPECT_EQ(onDisk(9), Pattern(900, 9)) << "items behind the failure are not written";
      EXPECT_EQ(backup(), before_) << "the only whole state was replaced";
    }
  }
  EXPECT_EQ(PmSyncDirtyData(), 0);
  EXPECT_EQ(data().size(), 10 * kBlock);
  EXPECT_EQ(backup(), data());
  restart();
  EXPECT_FALSE(std::filesystem::exists(BackupOf(file())));
  handle_ = open();
  for (const uint32_t id : {5, 7, 9}) EXPECT_EQ(get(handle_, id), Pattern(2500, 10 + id));
}

TEST_F(WriteFailure, ATornFileKeepsItsBackupOverTheClose) {
  ASSERT_EQ(PmStartTransaction(), 0);
  const uint32_t added = add(handle_, Pattern(5000));
  ASSERT_EQ(DeleteItemFromDataBase(handle_, 7, 0), 0);
  {
    const FileSizeLimit limit(4 * kBlock + 300);
    EXPECT_EQ(PmStopTransaction(), -4);
    EXPECT_EQ(get(handle_, added), Pattern(5000)) << "still there in memory";
    ASSERT_EQ(CloseDataBaseFile(handle_), 0);
  }
  EXPECT_EQ(backup(), before_);
  EXPECT_GE(data().size(), before_.size());
  recover();
}

TEST_F(WriteFailure, ADeleteWhoseMarksFailIsUndoneByTheRecovery) {
  {
    const FileSizeLimit limit(2 * kBlock);  // the block to mark lies behind it
    EXPECT_EQ(DeleteItemFromDataBase(handle_, 9, 1), -4);
    EXPECT_EQ(GetItemCount(handle_, 1), 3) << "the table stays as it was";
    EXPECT_EQ(DeleteItemFromDataBase(handle_, 9, 1), -1);
  }
  // The process dies here.
  const Bytes torn = data();
  const Bytes kept = backup();
  restart();
  WriteBytes(file(), torn);
  WriteBytes(BackupOf(file()), kept);
  recover();
}

TEST_F(WriteFailure, WithoutABackupNothingIsWritten) {
  ASSERT_EQ(CloseDataBaseFile(handle_), 0);
  handle_ = open();
  ASSERT_TRUE(get(handle_, 9));
  {
    const FileSizeLimit limit(2 * kBlock);  // too little for a copy of the file
    EXPECT_EQ(DeleteItemFromDataBase(handle_, 9, 1), -4);
    EXPECT_EQ(GetItemCount(handle_, 1), 3);
    EXPECT_EQ(get(handle_, 9), Pattern(900, 9)) << "a refused delete changes nothing";
    EXPECT_EQ(modify(handle_, 5, Pattern(10), 0, 1), -4);
    EXPECT_EQ(data(), before_);
    EXPECT_FALSE(std::filesystem::exists(BackupOf(file())));
    EXPECT_TRUE(noTemporary());
  }
  EXPECT_EQ(PmSyncDirtyData(), 0) << "the item stayed dirty";
  Bytes changed = Pattern(900, 5);
  const Bytes start = Pattern(10);
  std::copy(start.begin(), start.end(), changed.begin());
  EXPECT_EQ(onDisk(5), changed);
  EXPECT_EQ(backup(), data());
}

TEST_F(WriteFailure, ABackupThatCannotBeNamedIsReported) {
  ASSERT_EQ(CloseDataBaseFile(handle_), 0);
  handle_ = open();
  std::filesystem::create_directories(BackupOf(file()) / "occupied");
  const int32_t result = modify(handle_, 5, Pattern(10), 0, 1);
  EXPECT_TRUE(result == -2 || result == -4) << result;
  EXPECT_EQ(data(), before_);
  EXPECT_TRUE(noTemporary());
  std::filesystem::remove_all(BackupOf(file()));
  EXPECT_EQ(PmSyncDirtyData(), 0);
  EXPECT_EQ(backup(), data());
}

}  // namespace
