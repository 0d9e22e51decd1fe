// Every result code of every function that takes a handle or a path, by what brings it about.

#include "storage/storage.h"
#include "tests/support/fixture.h"

namespace {

class ResultCodes : public DataBaseTest {
 protected:
  const PmString path_ = Pm(file());
};

struct Operation {
  int32_t (*call)(DataBaseHandle* handle, uint32_t id);
  int32_t unregistered, unregisteredAndZero, zero, unknown, pending, stored, lost;
};
constexpr Operation kOperations[] = {
    {[](DataBaseHandle* handle, uint32_t id) { return InserItemToDataBase(handle, id, "abc", 3, 0); },  //
     -1, -5, -5, -5, 0, 0, -2},
    {[](DataBaseHandle* handle, uint32_t id) { return DeleteItemFromDataBase(handle, id, 0); },  //
     -1, -5, -5, -5, -5, 0, -2},
    {[](DataBaseHandle* handle, uint32_t id) { return PmModifyItem(handle, id, "abc", 0, 3, 0); },  //
     -1, -1, -3, -1, -1, 0, -2},
    {[](DataBaseHandle* handle, uint32_t id) { return PmGetItemPtrByID(handle, &id) == nullptr ? 0 : 1; },  //
     0, 0, 0, 0, 0, 1, 0},
};

TEST_F(ResultCodes, OfHandlesAndIds) {
  for (const Operation& operation : kOperations) {
    SCOPED_TRACE(&operation - kOperations);
    DataBaseHandle *db = open(), *closed = open("closed.db");
    EXPECT_EQ(CloseDataBaseFile(closed), 0);
    const uint32_t stored = add(db, Pattern(3)), other = add(db, Pattern(3));
    const uint32_t pending = CreateNewItemID(db, 2, nullptr);
    for (DataBaseHandle* bad : {static_cast<DataBaseHandle*>(nullptr), closed}) {
      EXPECT_EQ(operation.call(bad, stored), operation.unregistered);
      EXPECT_EQ(operation.call(bad, 0), operation.unregisteredAndZero);
      uint32_t flag = 7;
      EXPECT_EQ(GetItemAddons(bad, pending, &flag), nullptr);
      EXPECT_EQ(flag, 7u);
      EXPECT_EQ(CreateNewItemID(bad, 1, nullptr), 0u);
      EXPECT_EQ(GetItemIDByUserdata(bad, 2, path_.c_str()), 0u);
      for (const auto call : {FirstGetItemID, NextGetItemID, GetItemCount}) EXPECT_EQ(call(bad, 1), 0u);
      EXPECT_EQ(RetainID(bad, 1, 1, nullptr), 0);
      EXPECT_EQ(CloseDataBaseFile(bad), -1);
    }
    EXPECT_EQ(operation.call(db, 0), operation.zero);
    EXPECT_EQ(operation.call(db, 12345), operation.unknown);
    EXPECT_EQ(operation.call(db, pending), operation.pending);
    EXPECT_EQ(operation.call(db, stored), operation.stored);
    // Behind the catalogue's back the engine closes the file.
    EXPECT_EQ(storage::CloseDataFile(path_.c_str()), 0);
    EXPECT_EQ(operation.call(db, other), operation.lost);
    EXPECT_EQ(CloseDataBaseFile(db), -2);
    EXPECT_EQ(CloseDataBaseFile(db), -3);
    EXPECT_EQ(open(), db);
    restart();
  }
}

TEST_F(ResultCodes, OfBytesThatCannotBeStored) {
  DataBaseHandle* db = open();
  const Bytes huge(65535 * vault::kRoom + 1);
  const uint32_t stored = add(db, Pattern(10)), pending = CreateNewItemID(db, 2, nullptr);
  const struct {
    const void* bytes;
    int32_t offset;
    uint32_t size;
  } kRefused[] = {{"a", -2, 1},
                  {"a", 11, 1},
                  {nullptr, 0, 1},
                  {huge.data(), 2, 0xFFFFFFFF},
                  {huge.data(), -1, 65535001},
                  {huge.data(), 10, 65534991}};
  for (const auto& [bytes, offset, size] : kRefused)
    EXPECT_EQ(PmModifyItem(db, stored, bytes, offset, size, 1), -1) << offset << ", " << size;
  for (const uint32_t id : {stored, pending}) {
    EXPECT_EQ(insert(db, id, huge), -1);
    EXPECT_EQ(InserItemToDataBase(db, id, nullptr, 1, 0), -1);
  }
  EXPECT_EQ(get(db, stored), Pattern(10));
  uint32_t flag = 0;
  EXPECT_EQ(GetItemAddons(db, pending, &flag), nullptr);
  EXPECT_EQ(flag, 1u) << "still pending";
  EXPECT_EQ(GetItemAddons(db, pending, nullptr), nullptr);
  EXPECT_EQ(PmGetItemPtrByID(db, nullptr), nullptr);
  EXPECT_EQ(PmModifyItem(db, stored, nullptr, 10, 0, 0), 0);
  // The table of IDs holds the longest record that there is, and then no other.
  DataBaseHandle* full = open("full.db");
  PmString text(32767490, 'x');
  EXPECT_EQ(
      CreateNewItemID(full, 3, text.c_str()) + static_cast<uint32_t>(RetainID(full, 5, 3, text.c_str())), 0u);
  text.pop_back();
  EXPECT_EQ(PmStartTransaction(), 0);
  EXPECT_EQ(insert(full, CreateNewItemID(full, 3, text.c_str()), {}), 0);
  EXPECT_EQ(insert(full, CreateNewItemID(full, 4, nullptr), {}), -1);
}

TEST_F(ResultCodes, OfPathsAndCounts) {
  ReleasePmTotalDataController();
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(PmRestoreBackupFile(path_.c_str()), -2);
  ReleasePmTotalDataController();  // which was down
  EXPECT_FALSE(std::filesystem::exists(file()));
  for (int user = 0; user < 2; ++user) EXPECT_EQ(InitPmTotalDataController(), 1);
  for (const auto call : {PmSyncDirtyData, PmStartTransaction, PmStopTransaction}) EXPECT_EQ(call(), -1);
  DataBaseHandle* db = open();
  ReleasePmTotalDataController();  // but for the other user
  const PmString longest = path_ + PmString(255 - path_.size(), 'x');
  for (const PmString& path : {Pm(file().parent_path()), Pm(file("no") / "a.db"), longest + PmChar('x')}) {
    EXPECT_EQ(OpenDataBaseFile(path.c_str()), nullptr);
    EXPECT_EQ(PmRestoreBackupFile(path.c_str()), -2);
  }
  EXPECT_EQ(OpenDataBaseFile(nullptr), nullptr);
  EXPECT_EQ(PmRestoreBackupFile(nullptr), -1);
  EXPECT_EQ(PmSyncDirtyData(), 0) << "none of these took the current file away";
  EXPECT_NE(OpenDataBaseFile(longest.c_str()), nullptr);
  EXPECT_EQ(open(), db);
  EXPECT_EQ(PmRestoreBackupFile(path_.c_str()), 0);
  for (const int32_t expected : {0, 0, 0, -1}) EXPECT_EQ(CloseDataBaseFile(db), expected);
}

}  // namespace
