// A database as its rules describe it, in plain memory: which bytes stand in which block of the data file and
// of its backup, which items and IDs there are, and what each operation answers.
#pragma once

#include "tests/support/vault.h"

// One data file and the engine's view of it.
class ModelFile {
 public:
  using Bytes = vault::Bytes;

  struct Item {
    uint32_t size = 0;
    std::optional<Bytes> bytes;    // nothing until they are first needed
    std::vector<uint32_t> blocks;  // packet i goes into block i of this list
    bool dirty = false;
  };

  Bytes disk;
  std::optional<Bytes> backup;
  std::map<uint32_t, Item> items;
  std::set<uint32_t> free;
  bool inTransaction = false;
  std::map<uint32_t, Bytes> saved;  // what an open of the file as it stands must find

  const Bytes* get(uint32_t id);
  int32_t modify(uint32_t id, const Bytes& bytes, int32_t offset);
  void sync();
  void stop();
  void close();
  std::string report();

 protected:
  void load();
  void insert(uint32_t id, const Bytes& bytes);
  bool remove(uint32_t id, bool syncNow);

 private:
  uint8_t* block(uint32_t index) { return disk.data() + index * vault::kBlock; }
  bool isMarked(uint32_t index) { return block(index)[1] == 2; }
  void markFree();
  void save(uint32_t id, Item* item);
};

// The file with its two tables of IDs.
class Model : public ModelFile {
 public:
  using Record = vault::Record;

  std::vector<std::optional<Record>> committed;
  std::map<uint32_t, Record> pending;

  void open();
  int32_t insertItem(uint32_t id, const Bytes& bytes, bool syncNow);
  int32_t deleteItem(uint32_t id, bool syncNow);
  const Record* find(uint32_t id) const;
  uint32_t findUserData(uint32_t kind, const vault::PmString& userData) const;
  uint32_t first(uint32_t kind);
  uint32_t next(uint32_t kind);
  std::vector<uint32_t> list(uint32_t kind) const;

 private:
  void commit(const Record& record);
  void saveTable();

  size_t capacity_ = 0;
  size_t cursor_ = 0;
};
