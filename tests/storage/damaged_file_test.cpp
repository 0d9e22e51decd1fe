// One damage a row, done to the same sound file: what opening and reading it answers, and that nothing is
// made worse.

#include "tests/support/fixture.h"

using vault::kBlock;

namespace {

// The file: item 0 in block 0, item 7 (2500 bytes) in blocks 1 to 3, item 9 (1000 bytes) in block 4, a free
// block.
constexpr uint32_t kTable = 0, kPart1 = kBlock, kPart2 = 2 * kBlock, kPart3 = 3 * kBlock, kNine = 4 * kBlock,
                   kFree = 5 * kBlock;

const Bytes kSeven = Pattern(2500, 7), kNineItem = Pattern(1000, 9);
const Bytes kTableItem = vault::MakeTable({{{0, 0}, 1, 7, std::nullopt}, {{5, 6}, 1, 9, Text("xyz")}});

void Append(Bytes* file, const Bytes& blocks) {
  file->insert(file->end(), blocks.begin(), blocks.end());
}

Bytes FileWithTable(const Bytes& table) {
  Bytes file = vault::MakeBlocks(0, table), free = vault::MakeBlock(11, Pattern(100), 0);
  free[1] = 2;
  for (const Bytes& part : {vault::MakeBlocks(7, kSeven), vault::MakeBlocks(9, kNineItem), free})
    Append(&file, part);
  return file;
}

// Changes the stored table before it is cut into blocks.
template <typename Change>
void Retable(Bytes* file, Change change) {
  Bytes table = kTableItem;
  change(&table);
  *file = FileWithTable(table);
}

void SetField(Bytes* file, uint32_t at, uint32_t value, int width = 4) {
  vault::Put(file->data() + at, value, width);
  vault::Reseal(file, at / kBlock);
}

enum Outcome {
  kInvalid,   // no data file: neither opened nor restored from
  kBadTable,  // a data file whose table cannot be trusted: not opened
  kSevenLost,
  kSound,
};

struct Row {
  const char* name;
  Outcome outcome;
  void (*damage)(Bytes* file);
};

const Row kRows[] = {
    {"nothing", kSound, [](Bytes*) {}},
    {"one byte short", kInvalid, [](Bytes* f) { f->pop_back(); }},
    {"one byte long", kInvalid, [](Bytes* f) { f->push_back(0); }},
    {"flag 2", kInvalid, [](Bytes* f) { (*f)[kPart2] = 0x42; }},
    {"flag 0", kSound, [](Bytes* f) { SetField(f, kPart2, 0x40, 1); }},
    {"version 3", kInvalid, [](Bytes* f) { (*f)[kNine] = 0x31; }},
    {"version 5 of a free block", kInvalid, [](Bytes* f) { (*f)[kFree] = 0x51; }},
    {"no trailer", kInvalid, [](Bytes* f) { vault::Put(&(*f)[kPart2 + 1020], 0); }},
    {"last trailer byte", kInvalid, [](Bytes* f) { f->back() ^= 1; }},
    {"a data byte", kSevenLost, [](Bytes* f) { (*f)[kPart3 + 16] ^= 1; }},
    {"the last data byte", kSevenLost, [](Bytes* f) { (*f)[kPart3 + 515] ^= 1; }},
    {"a filler byte", kSound, [](Bytes* f) { (*f)[kPart3 + 516] ^= 1; }},
    {"a free block's data", kSound, [](Bytes* f) { (*f)[kFree + 16] ^= 1; }},
    {"the checksum's upper half", kSevenLost, [](Bytes* f) { (*f)[kPart1 + 1019] ^= 0x80; }},
    {"dataLength 1001", kSevenLost, [](Bytes* f) { SetField(f, kPart2 + 4, 1001); }},
    {"dataLength of 4 GiB", kSevenLost, [](Bytes* f) { SetField(f, kPart2 + 4, 0xFFFFFFFF); }},
    {"dataLengths past 4 GiB", kSevenLost,
     [](Bytes* f) {
       SetField(f, kPart1 + 4, 0x80000000);
       SetField(f, kPart2 + 4, 0x80000000);
     }},
    {"offset at the end", kSevenLost, [](Bytes* f) { SetField(f, kPart3 + 8, 2500); }},
    {"offset far out", kSevenLost, [](Bytes* f) { SetField(f, kPart3 + 8, 0xFFFFFF00); }},
    {"reaching past the end", kSevenLost, [](Bytes* f) { SetField(f, kPart3 + 8, 2001); }},
    {"first packet missing", kSevenLost, [](Bytes* f) { (*f)[kPart1 + 1] = 2; }},
    {"middle packet missing", kSevenLost, [](Bytes* f) { (*f)[kPart2 + 1] = 2; }},
    {"packets in any order", kSound,
     [](Bytes* f) { std::swap_ranges(f->begin() + kPart1, f->begin() + kPart2, f->begin() + kPart3); }},
    {"packets of a longer version", kSound,
     [](Bytes* f) {
       Append(f, vault::MakeBlock(7, Pattern(4500), 3));
       Append(f, vault::MakeBlock(7, Pattern(4500), 4));
     }},
    {"packets of a version longer than one", kSound,
     [](Bytes* f) {
       Append(f, vault::MakeBlock(9, Pattern(2500), 1));
       Append(f, vault::MakeBlock(9, Pattern(2500), 2));
     }},
    {"table: checksum", kBadTable, [](Bytes* f) { (*f)[kTable + 20] ^= 1; }},
    {"table: dataLength of 4 GiB", kBadTable, [](Bytes* f) { SetField(f, kTable + 4, 0xFFFFFFFF); }},
    {"table: packet missing", kBadTable,
     [](Bytes* f) {
       Retable(f, [](Bytes* t) { t->resize(1200); });
       (*f)[kTable + 1] = 2;
     }},
    {"table: cut in a header", kBadTable, [](Bytes* f) { Retable(f, [](Bytes* t) { t->resize(39); }); }},
    {"table: cut in user data", kBadTable, [](Bytes* f) { Retable(f, [](Bytes* t) { t->resize(46); }); }},
    {"table: two bytes long", kBadTable, [](Bytes* f) { Retable(f, [](Bytes* t) { t->resize(50); }); }},
    {"table: one byte long", kSound, [](Bytes* f) { Retable(f, [](Bytes* t) { t->resize(49); }); }},
    {"table: odd user data", kBadTable, [](Bytes* f) { Retable(f, [](Bytes* t) { (*t)[36] = 7; }); }},
    {"table: negative user data", kBadTable,
     [](Bytes* f) { Retable(f, [](Bytes* t) { vault::Put(&(*t)[36], 0xFFFFFFF8); }); }},
    {"table: user data of 2 GiB", kBadTable,
     [](Bytes* f) { Retable(f, [](Bytes* t) { vault::Put(&(*t)[36], 0x7FFFFFFE); }); }},
    {"table: no terminator", kBadTable, [](Bytes* f) { Retable(f, [](Bytes* t) { (*t)[46] = 'w'; }); }},
};

class DamagedFile : public DataBaseTest {
 protected:
  void checkRefused(const Row& row, const Bytes& content) {
    EXPECT_EQ(open(), nullptr);
    EXPECT_EQ(ReadBytes(file()), content);
    // As a backup it must not replace what stands.
    const Bytes sound = FileWithTable(kTableItem);
    WriteBytes(file(), sound);
    WriteBytes(BackupOf(file()), content);
    EXPECT_EQ(PmRestoreBackupFile(Pm(file()).c_str()), -2);
    EXPECT_EQ(ReadBytes(BackupOf(file())), content);
    EXPECT_TRUE(row.outcome != kInvalid || ReadBytes(file()) == sound);
    std::filesystem::remove(file());
    std::filesystem::remove(BackupOf(file()));
  }

  void checkOpened(const Row& row, const Bytes& content) {
    DataBaseHandle* handle = open();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(ids(handle, 1), (std::vector<uint32_t>{7, 9}));
    EXPECT_EQ(get(handle, 9), kNineItem);
    EXPECT_EQ(get(handle, 7), row.outcome == kSound ? std::optional<Bytes>(kSeven) : std::nullopt);
    EXPECT_EQ(ReadBytes(file()), content) << "reading changed the file";
    if (row.outcome == kSevenLost) {
      EXPECT_EQ(modify(handle, 7, Pattern(1), 0, 1), -1);
      EXPECT_EQ(ReadBytes(file()), content);
      EXPECT_EQ(insert(handle, 7, kSeven, 1), 0);
    }
    EXPECT_EQ(CloseDataBaseFile(handle), 0);
    const Bytes closed = ReadBytes(file()).value_or(Bytes());
    EXPECT_EQ(vault::Fault(closed), "");
    const vault::Scan scan = vault::ScanFile(closed);
    EXPECT_TRUE(scan.free.empty());
    EXPECT_EQ(vault::Assemble(closed, scan.items.at(7)), kSeven);
  }
};

TEST_F(DamagedFile, OneDamageARow) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    restart();
    Bytes content = FileWithTable(kTableItem);
    row.damage(&content);
    WriteBytes(file(), content);
    row.outcome <= kBadTable ? checkRefused(row, content) : checkOpened(row, content);
  }
}

TEST_F(DamagedFile, ATableOfManyShortRecordsKeepsItsOrderAndItsReservedWords) {
  std::vector<vault::Record> records;
  for (uint32_t i = 1; i <= 900; ++i) records.push_back({{i, ~i}, 1, i, std::nullopt});
  records.push_back({{1, 2}, 2, 5000, Text("user data")});
  WriteBytes(file(), vault::MakeBlocks(0, vault::MakeTable(records)));
  DataBaseHandle* handle = open();
  ASSERT_EQ(GetItemCount(handle, 1), 900);
  EXPECT_EQ(FirstGetItemID(handle, 1), 1);
  EXPECT_EQ(GetItemIDByUserdata(handle, 2, Text("user data").c_str()), 5000);
  EXPECT_EQ(DeleteItemFromDataBase(handle, 3, 0), -1) << "there is a record but no item";
  ASSERT_EQ(RetainID(handle, 6000, 3, nullptr), 1);
  ASSERT_EQ(insert(handle, 6000, Bytes(1)), 0);
  ASSERT_EQ(CloseDataBaseFile(handle), 0);
  records.push_back({{0, 0}, 3, 6000, std::nullopt});
  const Bytes closed = ReadBytes(file()).value_or(Bytes());
  EXPECT_EQ(vault::Assemble(closed, vault::ScanFile(closed).items[0]), vault::MakeTable(records));
}

}  // namespace
