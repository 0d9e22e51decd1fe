// How databases live together: counted handles, the current file, the cursor, transactions and the report.

#include <cstdlib>

#include "tests/support/fixture.h"

namespace {

class DataBase : public DataBaseTest {
 protected:
  Bytes data(const std::string& name = "a.db") const { return ReadBytes(file(name)).value_or(Bytes()); }

  // Which database is current: the one whose report comes out. Empty when none is.
  std::string report() const {
    PrintAllItemInfo(Pm(file("report.txt")).c_str());
    const std::string text = ReadText(file("report.txt"));
    std::filesystem::remove(file("report.txt"));
    return text;
  }
};

TEST_F(DataBase, InitialisationsAndOpensAreCounted) {
  EXPECT_EQ(InitPmTotalDataController(), 1);
  DataBaseHandle* db = open();
  EXPECT_EQ(open(), db);
  const uint32_t id = add(db, Pattern(10));
  ReleasePmTotalDataController();
  EXPECT_EQ(CloseDataBaseFile(db), 0);
  EXPECT_EQ(get(db, id), Pattern(10)) << "open for its other user";
  restart();
  EXPECT_EQ(CloseDataBaseFile(db), -1);
}

TEST_F(DataBase, ManyDataBasesKeepTheirHandles) {
  std::vector<DataBaseHandle*> handles;
  std::vector<uint32_t> ids;
  for (int i = 0; i < 35; ++i) {
    handles.push_back(open(std::to_string(i) + ".db"));
    ids.push_back(add(handles.back(), Pattern(100, static_cast<uint32_t>(i))));
  }
  for (size_t i = 0; i < handles.size(); ++i)
    EXPECT_EQ(get(handles[i], ids[i]), Pattern(100, static_cast<uint32_t>(i)));
  EXPECT_NE(open("a.db"), open("A.db"));
  for (size_t i = 0; i < handles.size(); i += 2) EXPECT_EQ(CloseDataBaseFile(handles[i]), 0);
  for (size_t i = 1; i < handles.size(); i += 2) EXPECT_TRUE(get(handles[i], ids[i]));
}

TEST_F(DataBase, TheCurrentFileFollowsTheCalls) {
  DataBaseHandle* a = open("a.db");
  const uint32_t id = add(a, Pattern(2500));
  DataBaseHandle* b = open("b.db");
  const char* const kA = "size: 4096(";
  const char* const kB = "size: 0(";
  const struct {
    const char* name;
    std::function<void()> call;
    const char* current;
  } kRows[] = {
      {"open", [] {}, kB},
      {"open of an open one", [&] { open("a.db"); }, kB},
      {"close that only counts", [&] { CloseDataBaseFile(a); }, kB},
      {"refused handle", [&] { get(nullptr, id); }, kB},
      {"refused ID", [&] { get(a, 0); }, kB},
      {"delete of an unknown ID", [&] { DeleteItemFromDataBase(a, 77, 0); }, kB},
      {"read", [&] { get(a, id); }, kA},
      {"look-ups", [&] { GetItemCount(b, 1), FirstGetItemID(b, 1), CreateNewItemID(b, 1, nullptr); }, kA},
      {"failed open", [&] { OpenDataBaseFile(Pm(file("no/a.db")).c_str()); }, kA},
      {"failed restore", [&] { PmRestoreBackupFile(Pm(file("c.db")).c_str()); }, kA},
      {"read that finds nothing", [&] { get(b, 77); }, kB},
      {"modify", [&] { modify(a, id, Pattern(2500), 0, 0); }, kA},
      {"close of another", [&] { CloseDataBaseFile(b); }, ""},
      {"insert", [&] { InserItemToDataBase(a, id, "x", 1, 0); }, kA},
      {"close", [&] { CloseDataBaseFile(a); }, ""},
  };
  for (const auto& row : kRows) {
    row.call();
    const std::string found = report();
    EXPECT_EQ(found.empty(), *row.current == 0) << row.name;
    EXPECT_NE(found.find(row.current), std::string::npos) << row.name << ": " << found;
  }
}

TEST_F(DataBase, TheCursorKeepsItsPlaceWhileTheTableChanges) {
  DataBaseHandle* db = open();
  std::vector<uint32_t> all;
  ASSERT_EQ(PmStartTransaction(), 0);
  for (uint32_t i = 0; i < 130; ++i) all.push_back(add(db, Pattern(5), 1 + i % 2));
  EXPECT_EQ(NextGetItemID(db, 1), all[0]) << "before the first FirstGetItemID";
  EXPECT_EQ(FirstGetItemID(db, 2), all[1]);
  ASSERT_EQ(DeleteItemFromDataBase(db, all[3], 0), 0);
  ASSERT_EQ(DeleteItemFromDataBase(db, all[0], 0), 0);
  EXPECT_EQ(NextGetItemID(db, 2), all[5]) << "a deleted record is passed over";
  const uint32_t behind = add(db, Pattern(5), 2);  // takes slot 0
  const uint32_t slot3 = add(db, Pattern(5), 2);   // takes slot 3
  EXPECT_EQ(NextGetItemID(db, 2), all[7]);
  while (NextGetItemID(db, 2) != 0) continue;
  const uint32_t ahead = add(db, Pattern(5), 2);
  EXPECT_EQ(NextGetItemID(db, 2), ahead);
  EXPECT_EQ(NextGetItemID(db, 2), 0);
  const std::vector<uint32_t> found = ids(db, 2);
  ASSERT_EQ(found.size(), 67);
  EXPECT_EQ(found[0], behind);
  EXPECT_EQ(found[2], slot3);
  EXPECT_EQ(found[66], ahead);
  EXPECT_EQ(PmStopTransaction(), 0);
}

TEST_F(DataBase, ATransactionHoldsAllWritingBack) {
  DataBaseHandle* db = open();
  const uint32_t kept = add(db, Pattern(1500));
  const uint32_t deleted = add(db, Pattern(1500));
  const Bytes before = data();
  EXPECT_EQ(PmStartTransaction(), 0);
  EXPECT_EQ(PmStartTransaction(), 0);
  const uint32_t added = add(db, Pattern(3000));
  EXPECT_EQ(modify(db, kept, Pattern(1500, 2), -1, 1), 0);
  EXPECT_EQ(DeleteItemFromDataBase(db, deleted, 1), 0);
  EXPECT_EQ(PmSyncDirtyData(), 0);
  EXPECT_EQ(data(), before);
  EXPECT_EQ(ReadBytes(BackupOf(file())), before);
  EXPECT_EQ(PmStopTransaction(), 0);
  EXPECT_EQ(data().size(), 6 * vault::kBlock) << "the deleted item's blocks are taken again";
  EXPECT_EQ(ReadBytes(BackupOf(file())), data());
  ASSERT_EQ(PmStartTransaction(), 0);
  add(db, Pattern(10));
  restart();
  db = open();
  EXPECT_EQ(ids(db, 1), (std::vector<uint32_t>{kept, added}))
      << "a transaction left open at the close is dropped";
}

TEST_F(DataBase, ContentMayComeFromTheItemsOwnBuffer) {
  DataBaseHandle* db = open();
  const Bytes bytes = Pattern(1200);
  uint32_t word = add(db, bytes);
  const uint32_t id = word;
  const auto* lent = static_cast<const uint8_t*>(PmGetItemPtrByID(db, &word));
  ASSERT_NE(lent, nullptr);
  EXPECT_EQ(PmModifyItem(db, id, lent + 700, -1, 500, 1), 0);
  EXPECT_EQ(get(db, id), Bytes(bytes.begin() + 700, bytes.end()));
  word = id;
  lent = static_cast<const uint8_t*>(PmGetItemPtrByID(db, &word));
  EXPECT_EQ(PmModifyItem(db, id, lent, 500, 500, 1), 0);
  word = id;
  lent = static_cast<const uint8_t*>(PmGetItemPtrByID(db, &word));
  EXPECT_EQ(InserItemToDataBase(db, id, lent + 1, 998, 1), 0);
  Bytes twice(bytes.begin() + 701, bytes.end());
  twice.insert(twice.end(), bytes.begin() + 700, bytes.end() - 1);
  EXPECT_EQ(get(db, id), twice);
}

TEST_F(DataBase, TheReportListsEveryItem) {
  Bytes counting(20);
  for (size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<uint8_t>(i);
  Bytes content = vault::MakeBlocks(7, counting);
  for (const Bytes& more : {vault::MakeBlocks(3, Pattern(1001)), vault::MakeBlocks(1, {255})}) {
    content.insert(content.end(), more.begin(), more.end());
  }
  content[vault::kBlock + 16] ^= 1;  // item 3
  content[3 * vault::kBlock + 1] = 2;
  WriteBytes(file(), content);
  checkFiles_ = false;
  open();
  const std::string head =
      "file information:\n\t size: 4096( 4k )\n\t item num: 2\n\t block num: 4\n\t free block num: 1\n"
      "item: { ID = 3, size = 1001, frag count = 2 }\n"
      "\t\tfragment offset: 1024(0x400)\n\t\tfragment offset: 2048(0x800)\nitem 3 corrupted\n"
      "item: { ID = 7, size = 20, frag count = 1 }\n\t\tfragment offset: 0(0x0)\n";
  const std::string hex = "0x0000 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F \n0x0010 10 11 12 13 \n";
  EXPECT_EQ(report(), head);
#if !defined(_WIN32)
  setenv("DB_DETAIL_HEX", "Yes", 1);
  EXPECT_EQ(report(), head);
  setenv("DB_DETAIL_HEX", "Y", 1);
  EXPECT_EQ(report(), head + hex);
  PrintAllItemInfo(Pm(file("report.txt")).c_str());
  EXPECT_EQ(report(), head + hex + head + hex) << "reports are appended";
#endif
}

}  // namespace
