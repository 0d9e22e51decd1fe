// A vault read without being touched: its file is opened for reading only, nothing beside it is made or
// changed.
//
// The index is rebuilt from the block headers as the library does on opening, and kept apart from any
// judgement: a damaged vault can be looked at as well as a sound one. What is wrong is said by block and byte
// offset.
//
// Invariants:
//  1. blocks() has one entry for each whole block of the file, in file order.
//  2. Every block that is neither free nor malformed belongs to exactly one item of items(), or is stale:
//     left over from a longer version of its item, and free as far as the vault is concerned.
//  3. Memory stays in proportion to the number of blocks; item bytes are read on demand.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/text.h"
#include "platform/platform.h"
#include "storage/format.h"

namespace cli {

// A vault's place: its path as typed and as the library takes it, and the path of its backup.
struct VaultPath {
  explicit VaultPath(std::string typed);

  std::string shown;
  PmString file;
  PmString backup;
  std::string backupShown;
};

// Which of a vault's two files is read. The backup beside a closed vault is what counts: it is there only
// when the program that used the vault last did not close it.
enum class Source { kAuto, kFile, kBackup };

enum class BlockState { kUsed, kFree, kStale, kMalformed };

struct Block {
  storage::PacketHeader header;
  BlockState state;
};

struct Problem {
  uint32_t block;
  std::string what;
};

struct Item {
  uint32_t id = 0;
  uint32_t size = 0;
  std::vector<uint32_t> blocks;  // block numbers, ascending
  bool whole = true;             // the blocks are packets 1 to n of the item, or its only packet
};

struct ItemBytes {
  Bytes bytes;                    // as much as could be read, zeros where not
  std::vector<Problem> problems;  // empty when the item is intact
};

// One entry of the ID table.
struct Record {
  uint32_t id = 0;
  uint32_t kind = 0;
  std::optional<PmString> name;  // the user data
};

class Image {
 public:
  // Opens the file that `source` chooses. Fails when there is none or it cannot be read; a file that is not a
  // sound data file opens, with its problems listed.
  Image(const VaultPath& path, Source source);

  // Opens one data file by its own name, whatever lies beside it.
  explicit Image(const VaultPath& path) : Image(path, Source::kFile) {}

  const std::string& fileShown() const { return fileShown_; }
  bool isBackup() const { return isBackup_; }
  uint64_t fileSize() const { return fileSize_; }
  int64_t modified() const;  // seconds since 1970

  const std::vector<Block>& blocks() const { return blocks_; }
  const std::map<uint32_t, Item>& items() const { return items_; }
  size_t freeBlockCount() const;  // stale ones are free

  // The ID table in stored order; what is wrong with it is in tableProblem().
  const std::vector<Record>& records() const { return records_; }
  const std::string& tableProblem() const { return tableProblem_; }
  const Record* findRecord(uint32_t id) const;

  // What keeps the file from being a data file at all: its length, or malformed blocks.
  const std::vector<Problem>& fileProblems() const { return fileProblems_; }

  // Fails unless the file is a valid data file with a readable ID table.
  void requireSound() const;

  // The item's bytes; an ID without blocks is an item of no bytes.
  ItemBytes readItem(uint32_t id) const;

  // One whole block as it stands in the file.
  Bytes readBlock(uint32_t number) const;

  // Whether the file was changed by someone since it was opened here.
  bool hasChanged() const;

 private:
  void openFile(const PmString& path);
  void scan();
  void judgeBlock(const uint8_t* bytes, uint32_t number);
  bool areSound(const std::vector<uint32_t>& numbers) const;
  void formItem(Item& item);
  void loadTable();

  platform::File file_;
  PmString path_;
  std::string fileShown_;
  bool isBackup_ = false;
  uint64_t fileSize_ = 0;
  platform::FileStamp stamp_;
  std::vector<Block> blocks_;
  std::map<uint32_t, Item> items_;
  std::vector<Record> records_;
  std::map<uint32_t, size_t> recordOf_;
  std::string tableProblem_;
  std::vector<Problem> fileProblems_;
};

// Reads an ID table; records up to the first that makes no sense. The complaint, empty when there is none.
std::string ParseIdTable(const Bytes& table, std::vector<Record>& records);

// "block 3 (offset 3072)"
std::string BlockText(uint32_t number);

}  // namespace cli
