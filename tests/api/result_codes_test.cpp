// Every result code of every function that takes a handle or a path, one condition a row.

#include <functional>

#include "storage/storage.h"
#include "tests/support/fixture.h"

namespace {

class ResultCodes : public DataBaseTest {
 protected:
  struct Row {
    const char* name;
    int64_t expected;
    std::function<int64_t()> call;
  };

  static void check(const std::vector<Row>& rows) {
    for (const Row& row : rows) EXPECT_EQ(row.call(), row.expected) << row.name;
  }

  static int64_t read(DataBaseHandle* handle, uint32_t id) { return get(handle, id) ? 1 : 0; }
  static int64_t insert(DataBaseHandle* handle, uint32_t id, uint32_t size = 3, int32_t syncNow = 0) {
    return InserItemToDataBase(handle, id, "abc", size, syncNow);
  }
  static int64_t change(DataBaseHandle* handle, uint32_t id, int32_t offset, uint32_t size,
                        int32_t syncNow = 0) {
    return PmModifyItem(handle, id, "abc", offset, size, syncNow);
  }

  const PmString text_ = Text("text");
};

TEST_F(ResultCodes, HandlesThatAreNotRegistered) {
  DataBaseHandle* closed = open();
  ASSERT_EQ(CloseDataBaseFile(closed), 0);
  for (DataBaseHandle* bad : {static_cast<DataBaseHandle*>(nullptr), closed}) {
    uint32_t flag = 7;
    check({
        {"close", -1, [&] { return CloseDataBaseFile(bad); }},
        {"create", 0, [&] { return CreateNewItemID(bad, 1, nullptr); }},
        {"retain", 0, [&] { return RetainID(bad, 1, 1, nullptr); }},
        {"find by user data", 0, [&] { return GetItemIDByUserdata(bad, 1, text_.c_str()); }},
        {"user data", 1, [&] { return GetItemAddons(bad, 1, &flag) == nullptr && flag == 7; }},
        {"first", 0, [&] { return FirstGetItemID(bad, 1); }},
        {"next", 0, [&] { return NextGetItemID(bad, 1); }},
        {"count", 0, [&] { return GetItemCount(bad, 1); }},
        {"insert", -1, [&] { return insert(bad, 1); }},
        {"insert of ID 0", -5, [&] { return insert(bad, 0); }},
        {"delete", -1, [&] { return DeleteItemFromDataBase(bad, 1, 0); }},
        {"delete of ID 0", -5, [&] { return DeleteItemFromDataBase(bad, 0, 0); }},
        {"modify", -1, [&] { return change(bad, 1, -1, 3); }},
        {"modify of ID 0", -1, [&] { return change(bad, 0, -1, 3); }},
        {"read", 0, [&] { return read(bad, 1); }},
    });
  }
}

TEST_F(ResultCodes, NothingCurrent) {
  const auto report = file("report.txt");
  check({
      {"sync", -1, [] { return PmSyncDirtyData(); }},
      {"start", -1, [] { return PmStartTransaction(); }},
      {"stop", -1, [] { return PmStopTransaction(); }},
      {"dump", 0, [&] { return PrintAllItemInfo(Pm(report).c_str()), std::filesystem::exists(report); }},
  });
}

TEST_F(ResultCodes, IdsAndArguments) {
  DataBaseHandle* db = open();
  DataBaseHandle* other = open("b.db");
  const uint32_t stored = add(db, Pattern(10));
  const uint32_t waiting = CreateNewItemID(db, 2, text_.c_str());
  const Bytes huge(65535 * vault::kRoom + 1);
  uint32_t word = stored;
  uint32_t flag = 7;
  check({
      {"insert: unknown ID", -5, [&] { return insert(db, 12345); }},
      {"insert: another database's ID", -5, [&] { return insert(other, stored); }},
      {"insert: ID 0", -5, [&] { return insert(db, 0); }},
      {"insert: stored ID", 0, [&] { return insert(db, stored); }},
      {"insert: null bytes", -1, [&] { return InserItemToDataBase(db, waiting, nullptr, 1, 0); }},
      {"insert: too large", -1, [&] { return InserItemToDataBase(db, waiting, huge.data(), 65535001, 0); }},
      {"a refused insert leaves the ID pending", 1,
       [&] { return GetItemAddons(db, waiting, &flag) && flag == 1; }},
      {"delete: pending ID", -5, [&] { return DeleteItemFromDataBase(db, waiting, 0); }},
      {"delete: unknown ID", -5, [&] { return DeleteItemFromDataBase(db, 12345, 0); }},
      {"delete: ID 0", -5, [&] { return DeleteItemFromDataBase(db, 0, 0); }},
      {"modify: ID 0", -3, [&] { return change(db, 0, -1, 3); }},
      {"modify: unknown ID", -1, [&] { return change(db, 12345, -1, 3); }},
      {"modify: pending ID", -1, [&] { return change(db, waiting, -1, 3); }},
      {"modify: offset -2", -1, [&] { return change(db, stored, -2, 1); }},
      {"modify: offset past the end", -1, [&] { return change(db, stored, 4, 1); }},
      {"modify: past 32 bits", -1, [&] { return change(db, stored, 2, 0xFFFFFFFF); }},
      {"modify: too large", -1, [&] { return PmModifyItem(db, stored, huge.data(), 3, 65534998, 0); }},
      {"modify: null bytes", -1, [&] { return PmModifyItem(db, stored, nullptr, 0, 1, 0); }},
      {"modify: nothing at the end", 0, [&] { return PmModifyItem(db, stored, nullptr, 3, 0, 0); }},
      {"all that was refused changed nothing", 1,
       [&] {
         return get(db, stored) == Bytes{'a', 'b', 'c'};
       }},
      {"read: unknown ID", 0, [&] { return read(db, 12345); }},
      {"read: ID 0", 0, [&] { return read(db, 0); }},
      {"read: null word", 1, [&] { return PmGetItemPtrByID(db, nullptr) == nullptr; }},
      {"user data: null word", 1, [&] { return GetItemAddons(db, waiting, nullptr) == nullptr; }},
      {"read: size", 3, [&] { return PmGetItemPtrByID(db, &word) != nullptr ? word : 0; }},
      {"retain: stored", 0, [&] { return RetainID(db, stored, 1, nullptr); }},
      {"retain: pending", 0, [&] { return RetainID(db, waiting, 1, nullptr); }},
      {"retain: another database's", 1, [&] { return RetainID(other, stored, 1, nullptr); }},
      {"find: pending", 0, [&] { return GetItemIDByUserdata(db, 2, text_.c_str()); }},
      {"insert: pending ID", 0, [&] { return insert(db, waiting); }},
      {"find: stored", waiting, [&] { return GetItemIDByUserdata(db, 2, text_.c_str()); }},
      {"find: other case", 0, [&] { return GetItemIDByUserdata(db, 2, Text("Text").c_str()); }},
      {"find: null", 0, [&] { return GetItemIDByUserdata(db, 2, nullptr); }},
      {"create: same kind and text", 0, [&] { return CreateNewItemID(db, 2, text_.c_str()); }},
      {"create: other kind", 1, [&] { return CreateNewItemID(db, 3, text_.c_str()) != 0; }},
      {"empty item: insert", 0, [&] { return insert(db, stored, 0, 1); }},
      {"empty item: read", 1, [&] { return read(db, stored); }},
      {"close", 0, [&] { return CloseDataBaseFile(db); }},
      {"reopen", 1, [&] { return (db = open()) != nullptr; }},
      {"empty item: gone from the file", 0, [&] { return read(db, stored); }},
      {"empty item: delete", -1, [&] { return DeleteItemFromDataBase(db, stored, 1); }},
      {"growth of what was never read", -1, [&] { return change(db, waiting, 3, 1); }},
      {"growth once it was read", 0, [&] { return read(db, waiting) == 1 ? change(db, waiting, 3, 1) : 9; }},
  });
}

TEST_F(ResultCodes, Paths) {
  const PmString full = Pm(file());
  const PmString longest = full + PmString(255 - full.size(), 'x');
  const auto folder = file("folder");
  std::filesystem::create_directory(folder);
  DataBaseHandle* db = open();
  check({
      {"open: null", 1, [] { return OpenDataBaseFile(nullptr) == nullptr; }},
      {"open: a folder", 1, [&] { return OpenDataBaseFile(Pm(folder).c_str()) == nullptr; }},
      {"open: in no folder", 1,
       [&] { return OpenDataBaseFile(Pm(folder / "no" / "a.db").c_str()) == nullptr; }},
      {"open: 256 characters", 1,
       [&] { return OpenDataBaseFile((longest + PmChar('x')).c_str()) == nullptr; }},
      {"restore: null", -1, [] { return PmRestoreBackupFile(nullptr); }},
      {"restore: no backup", -2, [&] { return PmRestoreBackupFile(Pm(file("b.db")).c_str()); }},
      {"restore: 256 characters", -2, [&] { return PmRestoreBackupFile((longest + PmChar('x')).c_str()); }},
      {"none of these took the current file away", 0, [] { return PmSyncDirtyData(); }},
      {"restore: open", 0, [&] { return PmRestoreBackupFile(full.c_str()); }},
      {"close: one opening", 0, [&] { return CloseDataBaseFile(db); }},
      {"close: the restore's", 0, [&] { return CloseDataBaseFile(db); }},
      {"close: once more", -1, [&] { return CloseDataBaseFile(db); }},
  });
  EXPECT_FALSE(std::filesystem::exists(file("b.db")));
}

TEST_F(ResultCodes, TheEngineLostTheFile) {
  DataBaseHandle* db = open();
  const uint32_t id = add(db, Pattern(10));
  ASSERT_EQ(storage::CloseDataFile(Pm(file()).c_str()), 0);
  check({
      {"insert", -2, [&] { return insert(db, id); }},
      {"delete", -2, [&] { return DeleteItemFromDataBase(db, id, 0); }},
      {"modify", -2, [&] { return change(db, id, 0, 1); }},
      {"read", 0, [&] { return read(db, id); }},
      {"close", -2, [&] { return CloseDataBaseFile(db); }},
      {"close again", -3, [&] { return CloseDataBaseFile(db); }},
      {"open revives the record", 1, [&] { return open() == db; }},
      {"close", -2, [&] { return CloseDataBaseFile(db); }},
  });
}

TEST_F(ResultCodes, BeforeTheFirstInitialisation) {
  ReleasePmTotalDataController();
  check({
      {"open", 1, [&] { return open() == nullptr; }},
      {"restore", -2, [&] { return PmRestoreBackupFile(Pm(file()).c_str()); }},
      {"sync", -1, [] { return PmSyncDirtyData(); }},
      {"release", 0, [] { return ReleasePmTotalDataController(), 0; }},
      {"up", 1, [] { return InitPmTotalDataController(); }},
  });
  EXPECT_FALSE(std::filesystem::exists(file()));
}

}  // namespace
