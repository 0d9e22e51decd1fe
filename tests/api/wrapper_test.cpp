// The C++ interface: what it adds to the functions it calls.
#include "pmstore.hpp"
#include "tests/support/fixture.h"

namespace {

using pmstore::Errc;
using pmstore::Sync;
using pmstore::Transaction;
using pmstore::Vault;

class WrapperTest : public DataBaseTest {
 protected:
  std::string textOf(const Vault& vault, uint32_t id) const { return std::string(vault.get(id)->text()); }
};

TEST_F(WrapperTest, OpeningRestoresWhatACrashLeft) {
  const auto path = file(), kept = file("kept");
  uint32_t id = 0;
  {
    Vault vault(path);
    EXPECT_FALSE(vault.restored());
    id = vault.add(1, PM_TEXT("name"), "before");
    std::filesystem::copy_file(BackupOf(path), kept);
    vault.put(id, "after!");
  }
  std::filesystem::copy_file(kept, BackupOf(path));
  Vault opened(path), vault(std::move(opened));
  EXPECT_TRUE(vault.restored());
  vault.modify(id, 6, "!");
  EXPECT_EQ(textOf(vault, id), "before!") << "an item grows that nobody has read";
  vault.close();
  EXPECT_FALSE(std::filesystem::exists(BackupOf(path))) << "one close ends the restore's open and its own";

  WriteBytes(BackupOf(path), Bytes(100));
  std::error_code error;
  vault.open(path, error);
  EXPECT_EQ(error, Errc::kNotRestored);
  EXPECT_FALSE(vault);
  std::filesystem::remove(BackupOf(path));
}

TEST_F(WrapperTest, EachVaultSyncsItsOwnFile) {
  Vault first(file("first")), second(file("second"));
  const uint32_t id = first.add(1, nullptr, "one");
  const uint32_t other = second.add(1, nullptr, "two");
  const auto size = std::filesystem::file_size(file("first"));
  Transaction transaction(first);
  first.put(id, std::string(3000, 'x'));
  second.put(other, "three");
  EXPECT_EQ(std::filesystem::file_size(file("first")), size);
  second.sync();
  transaction.commit();
  EXPECT_EQ(std::filesystem::file_size(file("first")), size + 2 * 1024);
  first.modify(id, 3000, "y", Sync::kLater);
  EXPECT_EQ(first.get(id)->size(), 3001U);
}

TEST_F(WrapperTest, MovesAndReportsErrors) {
  Vault vault;
  std::error_code error;
  EXPECT_EQ(vault.add(1, nullptr, "", error), 0U);
  EXPECT_EQ(error, Errc::kNotCreated);
  vault = Vault(file());
  const uint32_t id = vault.add(2, PM_TEXT("name"), "");
  EXPECT_THROW(vault.add(2, PM_TEXT("name"), "again"), pmstore::Error);
  EXPECT_EQ(vault.find(2, PM_TEXT("name")), id);
  EXPECT_EQ(vault.ids(2), std::vector<uint32_t>{id});
  EXPECT_EQ(vault.get(id)->size(), 0U);

  Vault moved(std::move(vault));
  moved.remove(id);
  EXPECT_EQ(moved.count(2), 0U);
  try {
    moved.remove(id);
    ADD_FAILURE() << "an ID was removed twice";
  } catch (const pmstore::Error& caught) {
    EXPECT_EQ(caught.code(), Errc::kUnknownId);
  }
  EXPECT_THROW(Vault(file("no") / "such" / "folder"), pmstore::Error);
}

TEST_F(WrapperTest, WithoutAVaultNothingHappensToAnother) {
  Vault vault(file()), none;
  const uint32_t id = vault.add(1, nullptr, "one");
  const auto before = ReadBytes(file());
  Transaction transaction(vault);
  vault.put(id, "two", Sync::kLater);
  std::error_code error;
  Transaction(none).commit(error);
  EXPECT_EQ(error, Errc::kNoVault);
  none.sync(error);
  EXPECT_EQ(error, Errc::kNoVault);
  EXPECT_EQ(ReadBytes(file()), before) << "the transaction goes on";
  none.open(file().string() + std::string("\0x", 2), error);
  EXPECT_EQ(error, Errc::kNotOpened);
}

#if !defined(_WIN32)  // where an open file has a name for good
TEST_F(WrapperTest, AVaultThatCannotBeWrittenStaysOpen) {
  Vault vault(file());
  const uint32_t id = vault.add(1, nullptr, "one");
  vault.put(id, "two", Sync::kLater);
  std::filesystem::rename(file(), file("away"));
  std::error_code error;
  vault.open(file("other.db"), error);
  EXPECT_EQ(error, Errc::kCannotOpen);
  EXPECT_EQ(textOf(vault, id), "two");
  const uint32_t added = vault.add(1, PM_TEXT("waits"), "three", error);
  EXPECT_EQ(error, Errc::kCannotOpen);
  EXPECT_EQ(vault.find(1, PM_TEXT("waits")), added);
  std::filesystem::rename(file("away"), file());
  vault.open(file("other.db"), error);
  EXPECT_FALSE(error);
  vault.open(file(), error);
  EXPECT_EQ(textOf(vault, id), "two");
  EXPECT_EQ(textOf(vault, added), "three");
}
#endif

}  // namespace
