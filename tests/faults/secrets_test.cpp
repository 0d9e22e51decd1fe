// What is kept secret: files are their owner's alone, item bytes are wiped before their memory goes, and
// nothing but the vault is left after a close.

#include <sys/stat.h>

#include <cstring>

#include "tests/faults/session.h"

namespace {

constexpr char kSecret[] = "correct horse battery staple";

mode_t ModeOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class Secrets : public DataBaseTest {
 protected:
  static Bytes secretItem(size_t size) {
    Bytes item(size, ' ');
    for (size_t at = 0; at + sizeof kSecret < size; at += 90)
      std::memcpy(&item[at], kSecret, sizeof kSecret - 1);
    return item;
  }
};

TEST_F(Secrets, FilesAreTheirOwnersAlone) {
  umask(0);
  DataBaseHandle* handle = open();
  add(handle, Pattern(100));
  EXPECT_EQ(ModeOf(file()), 0600u);
  EXPECT_EQ(ModeOf(BackupOf(file())), 0600u);
  ASSERT_EQ(CloseDataBaseFile(handle), 0);
  chmod(file().c_str(), 0640);
  handle = open();
  add(handle, Pattern(200));
  EXPECT_EQ(ModeOf(file()), 0640u) << "a vault keeps its mode";
  EXPECT_EQ(ModeOf(BackupOf(file())), 0640u) << "never wider than the vault's";
  std::filesystem::copy_file(BackupOf(file()), file("kept"));
  ASSERT_EQ(CloseDataBaseFile(handle), 0);
  std::filesystem::rename(file("kept"), BackupOf(file()));
  chmod(BackupOf(file()).c_str(), 0666);
  ASSERT_EQ(PmRestoreBackupFile(Pm(file()).c_str()), 0);
  EXPECT_EQ(ModeOf(file()), 0640u) << "also after a restore";
}

TEST_F(Secrets, NoMemoryIsGivenBackWithItemBytesInIt) {
  const PmString path = Pm(file());  // the test's own memory is not to be looked at
  const Bytes small = secretItem(700), large = secretItem(5000), other = Pattern(3000);
  seam::WatchFreed(kSecret);
  for (int round = 0; round < 2; ++round) {
    DataBaseHandle* handle = OpenDataBaseFile(path.c_str());
    for (const uint32_t id : {1u, 2u, 3u}) {
      RetainID(handle, id, 1, nullptr);
      ASSERT_EQ(
          InserItemToDataBase(handle, id, id == 1 ? small.data() : large.data(), id == 1 ? 700 : 5000, 1), 0);
      uint32_t word = id;
      ASSERT_NE(PmGetItemPtrByID(handle, &word), nullptr);
    }
    ASSERT_EQ(PmModifyItem(handle, 1, large.data(), 700, 5000, 0), 0);    // grows
    ASSERT_EQ(InserItemToDataBase(handle, 2, other.data(), 3000, 0), 0);  // replaced
    ASSERT_EQ(DeleteItemFromDataBase(handle, 3, 1), 0);                   // deleted
    ASSERT_EQ(CloseDataBaseFile(handle), 0);                              // and released
    restart();
  }
  EXPECT_EQ(seam::FoundInFreed(), 0);
  void* control = Malloc(sizeof kSecret);
  std::memcpy(control, kSecret, sizeof kSecret);
  Free(control);
  EXPECT_EQ(seam::FoundInFreed(), 1) << "the watch sees what it should";
  seam::WatchFreed(nullptr);
}

TEST_F(Secrets, TheReportHoldsNoItemBytesUnlessAsked) {
  DataBaseHandle* handle = open();
  add(handle, secretItem(500));
  unsetenv("DB_DETAIL_HEX");
  PrintAllItemInfo(Pm(file("report")).c_str());
  const Bytes report = ReadBytes(file("report")).value_or(Bytes());
  const std::string text(report.begin(), report.end());
  EXPECT_NE(text.find("item num: 2"), std::string::npos);
  EXPECT_EQ(text.find("correct"), std::string::npos);
  EXPECT_EQ(text.find("63 6F 72 72"), std::string::npos);
}

TEST_F(Secrets, NothingIsLeftAfterAClose) {
  DataBaseHandle* handle = open();
  const uint32_t id = add(handle, Pattern(3000));
  ASSERT_EQ(modify(handle, id, Pattern(10), 5, 1), 0);
  EXPECT_TRUE(exists(BackupOf(file())));
  WriteBytes(BackupOf(file()).replace_extension(".pmt"), Pattern(10));  // a crash has left it
  ASSERT_EQ(CloseDataBaseFile(handle), 0);
  ASSERT_NE(handle = open(), nullptr);
  ASSERT_EQ(CloseDataBaseFile(handle), 0);
  const std::filesystem::directory_iterator folder(file().parent_path());
  EXPECT_EQ(std::distance(begin(folder), end(folder)), 1);
}

}  // namespace
