// What is kept secret: files are their owner's alone, and item bytes are wiped before their memory goes.

#include <sys/stat.h>

#include <cstring>

#include "tests/faults/seam.h"
#include "tests/support/fixture.h"

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
  EXPECT_EQ(modeOf(JournalOf(file())), 0600u);
  restart();
  chmod(file().c_str(), 0640);
  add(open(), Pattern(200));
  EXPECT_EQ(modeOf(file()), 0640u) << "a vault keeps its mode";
  EXPECT_EQ(modeOf(BackupOf(file())), 0640u) << "never wider than the vault's";
  EXPECT_EQ(modeOf(JournalOf(file())), 0640u);
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
  seam::watched = kSecret;
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
  EXPECT_EQ(seam::foundInFreed, 0);
  void* control = Malloc(sizeof kSecret);
  std::memcpy(control, kSecret, sizeof kSecret);
  Free(control);
  EXPECT_EQ(seam::foundInFreed, 1) << "the watch sees what it should";
  seam::watched = nullptr;
}

}  // namespace
