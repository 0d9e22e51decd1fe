// Every result code of every function that takes a handle or a path, by what brings it about.

#if !defined(_WIN32)
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#endif

#include "storage/controller.h"
#include "tests/support/fixture.h"

namespace {

class ResultCodes : public DataBaseTest {
 protected:
  const PmString path_ = Pm(file());
};

// Null handles and all kinds of IDs are for tests/catalogue/differential_test.cpp.
TEST_F(ResultCodes, OfHandlesThatAreClosedAndOfFilesThatAreLost) {
  const struct {
    int32_t (*call)(DataBaseHandle* handle, uint32_t id);
    int32_t closed, lost;
  } kOperations[] = {
      {[](DataBaseHandle* handle, uint32_t id) { return InserItemToDataBase(handle, id, "abc", 3, 0); }, -1,
       -2},
      {[](DataBaseHandle* handle, uint32_t id) { return DeleteItemFromDataBase(handle, id, 0); }, -1, -2},
      {[](DataBaseHandle* handle, uint32_t id) { return PmModifyItem(handle, id, "abc", 0, 3, 0); }, -1, -2},
      {[](DataBaseHandle* handle, uint32_t id) { return PmGetItemPtrByID(handle, &id) == nullptr ? 0 : 1; },
       0, 0},
      {[](DataBaseHandle* handle, uint32_t id) { return RetainID(handle, id + 1, 1, nullptr); }, 0, 1},
      {[](DataBaseHandle* handle, uint32_t) { return CloseDataBaseFile(handle); }, -1, -2},
      {[](DataBaseHandle* handle, uint32_t) { return CloseDataBaseFile(handle); }, -1, -3}};
  DataBaseHandle *db = open(), *closed = open("closed.db");
  const uint32_t id = add(db, Pattern(3));
  EXPECT_EQ(CloseDataBaseFile(closed), 0);
  for (const auto& operation : kOperations)
    EXPECT_EQ(operation.call(closed, id), operation.closed) << &operation - kOperations;
  for (const auto call : {FirstGetItemID, NextGetItemID, GetItemCount}) EXPECT_EQ(call(closed, 1), 0u);
  EXPECT_EQ(CreateNewItemID(closed, 1, nullptr), 0u);
  // Behind the catalogue's back the engine closes the file.
  EXPECT_EQ(storage::CloseDataFile(path_.c_str()), 0);
  for (const auto& operation : kOperations)
    EXPECT_EQ(operation.call(db, id), operation.lost) << &operation - kOperations;
  EXPECT_EQ(open(), db);
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
  EXPECT_EQ(CreateNewItemID(full, 3, text.c_str()), 0u);
  EXPECT_EQ(RetainID(full, 5, 3, text.c_str()), 0);
  text.pop_back();
  EXPECT_EQ(PmStartTransaction(), 0);
  EXPECT_EQ(insert(full, CreateNewItemID(full, 3, text.c_str()), {}), 0);
  EXPECT_EQ(insert(full, CreateNewItemID(full, 4, nullptr), {}), -1);
}

TEST_F(ResultCodes, OfATableThatWasDamagedBehindOurBack) {
  const uint32_t id = add(open(), Pattern(900));
  restart();
  DataBaseHandle* db = open();
  Bytes bytes = *ReadBytes(file());
  const uint32_t table = vault::ScanFile(bytes).items[0].blocks[0];
  bytes[table * vault::kBlock + 20] ^= 1;
  WriteBytes(file(), bytes);
  const uint32_t other = add(db, Pattern(20));
  restart();
  EXPECT_EQ(get(open(), id), Pattern(900));
  EXPECT_EQ(get(open(), other), Pattern(20));
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

// Names that the file system takes, but not those of what stands beside them.
TEST_F(ResultCodes, OfNamesThatAreTooLong) {
  const std::filesystem::path folder = std::filesystem::current_path();
  std::filesystem::current_path(file().parent_path());
  for (const size_t length : {250, 251, 255}) {
    const std::string name = std::string(length - 3, 'x') + ".db";
    const bool opens = OpenDataBaseFile(Text(name).c_str()) != nullptr;
    EXPECT_EQ(opens, length == 250) << length;
    EXPECT_EQ(std::filesystem::exists(name), opens) << length;
  }
  restart();
  std::filesystem::current_path(folder);
}

#endif

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
