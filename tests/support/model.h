// A database as its rules describe it, in plain memory: which bytes stand in which block of the data file and
// of its backup, which items and IDs there are, and what each operation answers.
//
// Every step is literally that of the rules, one after the other, whatever the library does at once. Where the
// rules leave a choice, or a crash has cut a step off, it is the library's:
//  1. A table without records is no item: item 0 is removed as by a delete that marks.
//  2. Packets that a longer version of an item left stay its blocks, and are not read, when there is but one way
//     to read the others (vault::ScanFile).
//  3. A table that cannot be read keeps the database from opening, and such a backup from being restored, as does
//     a packet that is not sound.
//  4. Where a journal stood, an open or a restore marks the blocks that were free in memory only when the file
//     was last written.
#pragma once

#include <algorithm>
#include <sstream>

#include "tests/support/vault.h"

class Model {
 public:
  using Bytes = vault::Bytes;
  using Record = vault::Record;

  struct Item {
    uint32_t size = 0;
    std::optional<Bytes> bytes;     // nothing until they are first needed
    std::vector<uint32_t> blocks;   // packet i goes into block i of this list
    std::vector<uint32_t> reading;  // where the bytes are until then
    bool dirty = false;
  };

  static inline Model* current = nullptr;  // the one whose file is the current file

  Bytes disk;
  std::optional<Bytes> backup;
  std::set<uint32_t> unmarked;  // blocks that were free, but not marked, when the file was last written
  bool journal = false;         // whether it was, since it was opened
  std::map<uint32_t, Item> items;
  std::vector<std::optional<Record>> committed;
  std::map<uint32_t, Record> pending;
  int opens = 0;
  bool inTransaction = false;
  bool refused = false;  // nothing can be written
  int writes = 0;        // how often the file was

  void open() {
    if (opens++ > 0) return;
    current = this;
    const vault::Scan scan = vault::ScanFile(disk);
    items.clear();
    for (const auto& [id, found] : scan.items)
      items[id] = {found.size, std::nullopt, found.blocks, found.reading, false};
    free_ = scan.free;
    unmarked.clear();
    inTransaction = false;
    cursor_ = 0;
    committed.clear();
    pending.clear();
    const Bytes table = bytesOf(0) == nullptr ? Bytes() : *bytesOf(0);
    capacity_ = table.size() / 24 + 100;
    for (const Record& record : vault::ReadTable(table).value_or(std::vector<Record>())) commit(record);
  }

  // The data file as an open that carries the journal out leaves it.
  Bytes recovered() const {
    Bytes marked = disk;
    for (const uint32_t b : unmarked) marked[b * vault::kBlock + 1] = 2;
    return marked;
  }

  int32_t close() {
    if (opens == 0) return -1;
    if (--opens > 0) return 0;
    current = nullptr;
    sync();
    compact();
    backup.reset();
    journal = false;
    committed.clear();
    pending.clear();
    return 0;
  }

  // What a crash during a close may leave, besides the states before it and after it: synced, and with the blocks
  // that a transaction freed given up. Where its sync can fail, what was not written goes with the file, as in a
  // transaction; the rest is compacted, if the file knows of all that is free.
  std::vector<Bytes> statesOfClose(bool canFail) const {
    Model closing = *this;
    if (canFail && closing.namesFree()) closing.compact();
    std::vector<Bytes> states{closing.recovered()};
    closing = *this;
    closing.sync();
    states.push_back(closing.recovered());
    if (closing.items.empty()) states.push_back(closing.disk);  // nothing is compacted, and nothing marked
    if (closing.items.empty()) return states;
    closing.noteWritten();
    states.push_back(closing.recovered());
    closing.compact();
    states.push_back(closing.disk);
    return states;
  }

  void compact() {
    if (items.empty() || refused) return;
    const size_t live = blockNum() - free_.size();
    for (uint32_t b = blockNum(); b-- > live;) {
      if (free_.count(b) != 0) continue;
      std::copy_n(block(b), vault::kBlock, block(*free_.begin()));
      free_.erase(free_.begin());
    }
    disk.resize(live * vault::kBlock);
    unmarked.clear();
  }

  void saveTableAnew() {
    if (bytesOf(0) != nullptr) save(0, &items[0]);
  }

  int32_t insert(uint32_t id, const Bytes& bytes, bool syncNow) {
    if (id == 0 || opens == 0) return id == 0 ? -5 : -1;
    const auto waiting = pending.find(id);
    if (waiting == pending.end() && find(id) == nullptr) return -5;
    current = this;
    put(id, bytes);
    const int32_t synced = syncNow ? sync() : 0;
    if (synced != 0 || waiting == pending.end()) return synced;
    commit(waiting->second);
    pending.erase(waiting);
    saveTable();
    return 0;
  }

  int32_t modify(uint32_t id, const Bytes& bytes, int32_t offset, bool syncNow) {
    if (id == 0 || opens == 0) return opens == 0 ? -1 : -3;
    current = this;
    const auto found = items.find(id);
    if (found == items.end()) return -1;
    Item& item = found->second;
    const bool whole = offset == -1;
    const uint32_t from = whole ? 0 : static_cast<uint32_t>(offset);
    if (offset < -1 || from > item.size) return -1;
    const uint32_t end = from + static_cast<uint32_t>(bytes.size());
    if (whole && end != item.size) {
      item.bytes.emplace();
    } else if ((end > item.size && !item.bytes) || bytesOf(id) == nullptr) {
      return -1;
    }
    item.size = whole ? end : std::max(item.size, end);
    item.bytes->resize(item.size);
    std::copy(bytes.begin(), bytes.end(), item.bytes->begin() + from);
    item.dirty = true;
    return syncNow ? sync() : 0;
  }

  int32_t remove(uint32_t id, bool syncNow) {
    if (id == 0 || opens == 0) return id == 0 ? -5 : -1;
    if (find(id) == nullptr) return -5;
    current = this;
    if (items.count(id) == 0) return -1;
    if (refused && syncNow && !inTransaction) return -4;
    drop(id, syncNow);
    const auto hasId = [id](const auto& slot) { return slot && slot->id == id; };
    std::find_if(committed.begin(), committed.end(), hasId)->reset();
    saveTable();
    return 0;
  }

  const Bytes* get(uint32_t id) {
    if (id == 0 || opens == 0) return nullptr;
    current = this;
    return bytesOf(id);
  }

  int32_t sync() {
    dropKeptTable();
    const auto isDirty = [](const auto& item) { return item.second.dirty; };
    if (inTransaction || std::none_of(items.begin(), items.end(), isDirty)) return 0;
    if (refused) return -4;
    for (auto& [id, item] : items)
      if (item.dirty) save(id, &item);
    noteWritten();
    backup = disk;
    return 0;
  }

  int32_t start() {
    inTransaction = true;
    return 0;
  }

  int32_t stop() {
    inTransaction = false;
    dropKeptTable();
    const int32_t marked = markFree();
    return marked != 0 ? marked : sync();
  }

  // Two models of one database with equal traces go on alike.
  std::string trace() const {
    std::ostringstream text;
    text.write(reinterpret_cast<const char*>(disk.data()), static_cast<std::streamsize>(disk.size()));
    for (const uint32_t b : unmarked) text << b << ' ';
    for (const auto& [id, item] : items) {
      text << '/' << id << (item.dirty ? "d" : "c");
      for (const uint32_t b : item.blocks) text << b << ' ';
    }
    return text.str();
  }

  const Record* find(uint32_t id) const {
    return findIf([&](const Record& record) { return record.id == id; });
  }

  uint32_t findUserData(uint32_t kind, const vault::PmString& userData) const {
    const auto matches = [&](const Record& record) {
      return record.kind == kind && record.userData == userData;
    };
    const Record* found = findIf(matches);
    return found == nullptr ? 0 : found->id;
  }

  uint32_t first(uint32_t kind) {
    cursor_ = 0;
    return next(kind);
  }

  uint32_t next(uint32_t kind) {
    while (cursor_ < committed.size()) {
      const auto& slot = committed[cursor_++];
      if (slot && slot->kind == kind) return slot->id;
    }
    return 0;
  }

  uint32_t count(uint32_t kind) const {
    const auto isOfKind = [&](const auto& slot) { return slot && slot->kind == kind; };
    return static_cast<uint32_t>(std::count_if(committed.begin(), committed.end(), isOfKind));
  }

  // How the database that the handle is open on differs from this one; empty when it does not.
  std::string differences(DataBaseHandle* handle) {
    std::ostringstream text;
    std::set<uint32_t> kinds;
    for (const auto& slot : committed) {
      if (!slot) continue;
      kinds.insert(slot->kind);
      uint32_t pends = 1;
      const PmChar* userData = GetItemAddons(handle, slot->id, &pends);
      const Record* record = find(slot->id);
      const bool same = userData == nullptr
                            ? !record->userData
                            : record->userData && record->userData->c_str() == vault::PmString(userData);
      if (!same || pends != 0) text << " the record of " << slot->id << " differs;";
    }
    for (const uint32_t kind : kinds) {
      uint32_t id = FirstGetItemID(handle, kind), expected = first(kind);
      while (id == expected && id != 0) id = NextGetItemID(handle, kind), expected = next(kind);
      if (id != expected) text << " kind " << kind << " lists " << id << " for " << expected << ";";
    }
    for (const auto& [id, item] : items) {
      uint32_t word = id;
      const auto* found = id == 0 ? nullptr : static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
      const Bytes* bytes = id == 0 ? nullptr : bytesOf(id);
      const bool same = found != nullptr && bytes != nullptr ? Bytes(found, found + word) == *bytes
                                                             : found == nullptr && bytes == nullptr;
      if (!same) text << " item " << id << " differs;";
    }
    return text.str();
  }

 private:
  uint8_t* block(uint32_t index) { return disk.data() + index * vault::kBlock; }
  uint32_t blockNum() const { return static_cast<uint32_t>(disk.size()) / vault::kBlock; }
  bool namesFree() {
    return std::all_of(free_.begin(), free_.end(),
                       [&](uint32_t b) { return isMarked(b) || unmarked.count(b); });
  }
  bool isMarked(uint32_t index) { return block(index)[1] == 2; }

  const Bytes* bytesOf(uint32_t id) {
    const auto found = items.find(id);
    if (found == items.end()) return nullptr;
    Item& item = found->second;
    if (!item.bytes) item.bytes = vault::Assemble(disk, {item.size, item.blocks, item.reading});
    return item.bytes ? &*item.bytes : nullptr;
  }

  void put(uint32_t id, const Bytes& bytes) {
    Item& item = items[id];
    item.size = static_cast<uint32_t>(bytes.size());
    item.bytes = bytes;
    item.dirty = true;
  }

  void drop(uint32_t id, bool syncNow) {
    free_.insert(items[id].blocks.begin(), items[id].blocks.end());
    items.erase(id);
    if (syncNow) markFree();
  }

  int32_t markFree() {
    if (inTransaction) return 0;
    if (std::all_of(free_.begin(), free_.end(), [&](uint32_t b) { return isMarked(b); })) return 0;
    if (refused) return -4;
    for (const uint32_t b : free_) block(b)[1] = 2;
    noteWritten();
    return 0;
  }

  void noteWritten() {
    ++writes;
    journal = true;
    unmarked.clear();
    for (const uint32_t b : free_)
      if (!isMarked(b)) unmarked.insert(b);
  }

  void save(uint32_t id, Item* item) {
    while (item->blocks.size() < vault::BlocksFor(item->size)) {
      const uint32_t b = free_.empty() ? blockNum() : *free_.begin();
      if (free_.erase(b) == 0) disk.resize(disk.size() + vault::kBlock);
      item->blocks.push_back(b);
    }
    for (; item->blocks.size() > vault::BlocksFor(item->size); item->blocks.pop_back()) {
      free_.insert(item->blocks.back());
    }
    for (uint32_t i = 0; i < item->blocks.size(); ++i) {
      const Bytes packet = vault::MakeBlock(id, *item->bytes, i);
      std::copy(packet.begin(), packet.end(), block(item->blocks[i]));
    }
    item->reading = item->blocks;
    item->dirty = false;
  }

  template <typename Matches>
  const Record* findIf(Matches matches) const {
    for (const auto& slot : committed) {
      if (slot && matches(*slot)) return &*slot;
    }
    return nullptr;
  }

  void commit(const Record& record) {
    if (committed.size() < capacity_) committed.emplace_back();
    auto slot = std::find(committed.begin(), committed.end(), std::nullopt);
    if (slot == committed.end()) {
      capacity_ += 10;
      slot = committed.emplace(slot);
    }
    *slot = record;
  }

  void saveTable() {
    std::vector<Record> records;
    for (const auto& slot : committed) {
      if (slot) records.push_back(*slot);
    }
    if (!records.empty()) {
      put(0, vault::MakeTable(records));
    } else if (refused) {
      keepsTable_ = true;
    } else if (items.count(0) != 0) {
      drop(0, true);
    }
    sync();
  }

  // A table whose removal could not be written goes with the next sync, if it is still empty.
  void dropKeptTable() {
    const auto isRecord = [](const auto& slot) { return slot.has_value(); };
    if (!keepsTable_ || refused || inTransaction) return;
    keepsTable_ = false;
    if (std::none_of(committed.begin(), committed.end(), isRecord) && items.count(0) != 0) drop(0, true);
  }

  std::set<uint32_t> free_;
  size_t capacity_ = 0;
  size_t cursor_ = 0;
  bool keepsTable_ = false;
};
