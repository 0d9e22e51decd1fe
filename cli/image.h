// An Image is what one file of a vault holds, read without being touched: which items, of which blocks, with which
// records. Everything that only looks at a vault looks at its Image; a Vault (vault.h) is for what changes one.
//
// The index is rebuilt from the block headers as the library does on opening, and kept apart from any judgement: a
// damaged vault can be looked at as well as a sound one. What is wrong is said by block and byte offset. Files are
// opened for reading only, nothing beside them is made or changed.
//
// Invariants:
//  1. blocks() has one entry for each block of the file, in file order.
//  2. Every block that is neither free nor malformed stands in the blocks, or in the leftovers, of exactly one
//     item of items().
//  3. Memory stays in proportion to the number of blocks; item bytes are read on demand.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/blockfile.h"
#include "cli/tablerecords.h"
#include "cli/vaultpath.h"
#include "storage/format.h"

namespace cli {

// What is read: the vault as a program would open it, its bare file, or its backup.
enum class Source { kAuto, kFile, kBackup };

enum class BlockState { kUsed, kFree, kLeftOver, kMalformed };

struct Block {
  storage::PacketHeader header;
  BlockState state{};
  bool sound = false;  // its checksum is right
};

struct Problem {
  uint32_t block = 0;
  std::string what;
  const char* code = "";  // of what keeps a file from being a data file; see findings.h
};

struct Item {
  uint32_t id = 0;
  uint32_t size = 0;
  std::vector<uint32_t> blocks;     // block numbers, ascending
  std::vector<uint32_t> leftovers;  // blocks with packets of a longer version of it
  bool whole = false;               // the blocks are packets 1 to n of the item, or its only packet
  bool endsFull = false;  // whole, of several packets, and the last one is full: another may have followed
};

struct ItemBytes {
  Bytes bytes;                    // as much as could be read, zeros where not
  std::vector<Problem> problems;  // empty when the item is intact
};

// What is left of an item that is not whole: the bytes of its sound packets, each at its place.
struct ItemRemains {
  Bytes bytes;                // zeros in the gaps
  std::vector<bool> isThere;  // of each byte
};

class Image {
 public:
  // Opens the file that `source` names. Fails when there is none or it cannot be read; a file that is not a
  // sound data file opens, with its problems listed. For a rescue the vault is, where its file is gone, its backup, and
  // where that is gone too, its journal; and blocks are found that are out of step.
  Image(const VaultPath& path, Source source, Reading reading = Reading::kAsPrograms);

  // Opens the vault as a program would.
  explicit Image(const VaultPath& path) : Image(path, Source::kAuto) {}

  // The same vault with other bytes in some blocks; also in one behind the last, where the file was cut.
  Image(const Image& image, std::map<uint32_t, Bytes> mended);

  const std::string& fileShown() const { return file_->shown(); }
  const BlockFile& file() const { return *file_; }
  std::string blockText(uint32_t number) const { return file_->blockText(number); }
  bool isBackup() const { return isBackup_; }

  const std::vector<Block>& blocks() const { return blocks_; }
  const std::map<uint32_t, Item>& items() const { return items_; }
  const Item* findItem(uint32_t id) const;
  uint32_t sizeOf(uint32_t id) const;  // of an item, 0 when it has no block
  size_t freeBlockCount() const;

  // The ID table in stored order; what is wrong with it is in tableProblem().
  const std::vector<Record>& records() const { return records_; }
  const std::string& tableProblem() const { return tableProblem_; }
  const Record* findRecord(uint32_t id) const;

  // Whether anything in the file looks like a part of a vault; also when it is empty.
  bool looksLikeVault() const { return looksLikeVault_; }

  // What keeps the file from being a data file at all: its length, or malformed blocks.
  const std::vector<Problem>& fileProblems() const { return fileProblems_; }

  // Fails for a file that is something else than a vault.
  void requireVault() const;

  // Fails unless the file is a valid data file with a readable ID table.
  void requireSound() const;

  // The item's bytes; an ID without blocks is an item of no bytes.
  ItemBytes readItem(uint32_t id) const;
  ItemRemains readRemains(uint32_t id) const;

  // Whether every packet of the item is there, once, with a right checksum.
  bool isIntact(uint32_t id) const;

  // Whether any packet that bears the ID has a right checksum.
  bool hasSoundPacket(uint32_t id) const;

  // Whole blocks as they stand in the file.
  Bytes readBlocks(uint32_t first, uint32_t count) const;
  Bytes readBlock(uint32_t number) const { return readBlocks(number, 1); }

 private:
  Image(std::shared_ptr<const BlockFile> file, bool isBackup);
  void build();
  void scan();
  void noteRest();
  void putInStep();
  void judgeBlock(const uint8_t* bytes);
  void formItem(Item& item);
  void loadTable();

  std::shared_ptr<const BlockFile> file_;
  std::map<uint32_t, Bytes> mended_;
  bool isBackup_ = false;
  bool looksLikeVault_ = false;
  std::vector<Block> blocks_;
  std::map<uint32_t, Item> items_;
  std::vector<Record> records_;
  std::map<uint32_t, size_t> recordOf_;
  std::string tableProblem_;
  std::vector<Problem> fileProblems_;
};

}  // namespace cli
