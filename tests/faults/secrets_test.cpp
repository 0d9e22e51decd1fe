// What is kept secret: files are their owner's alone, item bytes are wiped before their memory goes, and
// nothing but the vault is left after a close.

#include <sys/stat.h>

#include <cstring>

#include "tests/faults/session.h"

namespace {

constexpr char kSecret[] = "correct horse battery staple";

class Secrets : public DataBaseTest {
 protected:
  static mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  static Bytes secretItem(size_t size) {
    Bytes item(size, ' ');
    for (size_t at = 0; at + sizeof kSecret < size; at += 90)
      std::copy_n(kSecret, sizeof kSecret - 1, &item[at]);
    return item;
  }
};

TEST_F(Secrets, FilesAreTheirOwnersAlone) {
  umask(0);
  DataBaseHandle* handle = open();
  add(handle, Pattern(100));
  EXPECT_EQ(modeOf(file()), 0600u);
  EXPECT_EQ(modeOf(BackupOf(file())), 0600u);
  restart();
  chmod(file().c_str(), 0640);
  add(open(), Pattern(200));
  EXPECT_EQ(modeOf(file()), 0640u) << "a vault keeps its mode";
  EXPECT_EQ(modeOf(BackupOf(file())), 0640u) << "never wider than the vault's";
  std::filesystem::copy_file(BackupOf(file()), file("kept"));
  restart();
  std::filesystem::rename(file("kept"), BackupOf(file()));
  chmod(BackupOf(file()).c_str(), 0666);
  ASSERT_EQ(PmRestoreBackupFile(Pm(file()).c_str()), 0);
  EXPECT_EQ(modeOf(file()), 0640u) << "also after a restore";
}

TEST_F(Secrets, NoMemoryIsGivenBackWithItemBytesInIt) {
  const PmString path = Pm(file());  // the test's own memory is not to be looked at
  const Bytes items[] = {{}, secretItem(700), secretItem(5000), secretItem(5000)}, other = Pattern(3000);
  seam::WatchFreed(kSecret);
  for (int round = 0; round < 2; ++round) {
    DataBaseHandle* handle = OpenDataBaseFile(path.c_str());
    for (uint32_t id = 1; id <= 3; ++id) {
      RetainID(handle, id, 1, nullptr);
      ASSERT_EQ(insert(handle, id, items[id], 1), 0);
      uint32_t word = id;
      ASSERT_NE(PmGetItemPtrByID(handle, &word), nullptr);
    }
    ASSERT_EQ(modify(handle, 1, items[2], 700, 0), 0);   // grows
    ASSERT_EQ(insert(handle, 2, other), 0);              // replaced
    ASSERT_EQ(DeleteItemFromDataBase(handle, 3, 1), 0);  // deleted
    restart();                                           // and released
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
  for (const char* secret : {"correct", "63 6F 72 72"}) EXPECT_EQ(text.find(secret), std::string::npos);
}

TEST_F(Secrets, NothingIsLeftAfterAClose) {
  const uint32_t id = add(open(), Pattern(3000));
  ASSERT_EQ(modify(open(), id, Pattern(10), 5, 1), 0);
  EXPECT_TRUE(exists(BackupOf(file())));
  WriteBytes(BackupOf(file()).replace_extension(".pmt"), Pattern(10));  // a crash has left it
  restart();
  open();
  restart();
  const std::filesystem::directory_iterator folder(file().parent_path());
  EXPECT_EQ(std::distance(begin(folder), end(folder)), 1);
}

}  // namespace
