#include "tests/catalogue/model.h"

#include <algorithm>

using vault::kBlock;
using vault::kRoom;

namespace {

// Whether an old packet of an item, left in a free block, could be taken for a part of the item as it is now.
bool IsConfusable(uint32_t seq, size_t size) {
  const uint32_t packets = vault::BlocksFor(size);
  if (packets < 2) return packets == 0 || seq == 0;
  return seq <= packets || size % kRoom == 0;
}

}  // namespace

void ModelFile::load() {
  const vault::Scan scan = vault::ScanFile(disk);
  items.clear();
  for (const auto& [id, found] : scan.items) items[id] = {found.size, std::nullopt, found.blocks, false};
  free = scan.free;
  inTransaction = false;
}

const ModelFile::Bytes* ModelFile::get(uint32_t id) {
  const auto found = items.find(id);
  if (found == items.end()) return nullptr;
  Item& item = found->second;
  if (!item.bytes) item.bytes = vault::Assemble(disk, {item.size, item.blocks});
  return item.bytes ? &*item.bytes : nullptr;
}

void ModelFile::insert(uint32_t id, const Bytes& bytes) {
  Item& item = items[id];
  item.size = static_cast<uint32_t>(bytes.size());
  item.bytes = bytes;
  item.dirty = true;
}

int32_t ModelFile::modify(uint32_t id, const Bytes& bytes, int32_t offset) {
  const auto found = items.find(id);
  if (found == items.end()) return -1;
  Item& item = found->second;
  const bool whole = offset == -1;
  if (offset < -1 || (!whole && static_cast<uint32_t>(offset) > item.size)) return -1;
  const auto end = static_cast<uint32_t>(bytes.size()) + (whole ? 0 : static_cast<uint32_t>(offset));
  if (whole && end != item.size) {
    item.bytes.emplace();
  } else if (end > item.size && !item.bytes) {
    return -1;
  } else if (get(id) == nullptr) {
    return -1;
  }
  if (whole || end > item.size) item.size = end;
  item.bytes->resize(item.size);
  std::copy(bytes.begin(), bytes.end(), item.bytes->begin() + (whole ? 0 : offset));
  item.dirty = true;
  return 0;
}

bool ModelFile::remove(uint32_t id, bool syncNow) {
  const auto found = items.find(id);
  if (found == items.end()) return false;
  free.insert(found->second.blocks.begin(), found->second.blocks.end());
  items.erase(found);
  saved.erase(id);
  if (syncNow) markFree();
  return true;
}

void ModelFile::markFree() {
  if (inTransaction || std::all_of(free.begin(), free.end(), [&](uint32_t b) { return isMarked(b); })) return;
  for (const uint32_t b : free) block(b)[1] = 2;
  backup = disk;
}

void ModelFile::save(uint32_t id, Item* item) {
  while (item->blocks.size() < vault::BlocksFor(item->size)) {
    const uint32_t b = free.empty() ? static_cast<uint32_t>(disk.size()) / kBlock : *free.begin();
    if (free.erase(b) == 0) disk.resize(disk.size() + kBlock);
    item->blocks.push_back(b);
  }
  for (; item->blocks.size() > vault::BlocksFor(item->size); item->blocks.pop_back()) {
    free.insert(item->blocks.back());
  }
  for (uint32_t i = 0; i < item->blocks.size(); ++i) {
    const Bytes packet = vault::MakeBlock(id, *item->bytes, i);
    std::copy(packet.begin(), packet.end(), block(item->blocks[i]));
  }
  saved[id] = *item->bytes;
}

void ModelFile::sync() {
  if (inTransaction) return;
  std::set<uint32_t> dirty;
  for (auto& [id, item] : items) {
    if (!item.dirty) continue;
    save(id, &item);
    item.dirty = false;
    dirty.insert(id);
  }
  if (dirty.empty()) return;
  for (const uint32_t b : free) {
    const uint32_t id = vault::Get(block(b) + 12);
    if (!isMarked(b) && dirty.count(id) != 0 && IsConfusable(vault::Get(block(b) + 2, 2), items[id].size)) {
      block(b)[1] = 2;
    }
  }
  backup = disk;
}

void ModelFile::stop() {
  inTransaction = false;
  markFree();
  sync();
}

void ModelFile::close() {
  sync();
  backup.reset();
  if (items.empty()) return;
  const size_t live = disk.size() / kBlock - free.size();
  for (auto b = static_cast<uint32_t>(disk.size()) / kBlock; b-- > live;) {
    if (free.count(b) != 0) continue;
    std::copy_n(block(b), kBlock, block(*free.begin()));
    free.erase(free.begin());
  }
  disk.resize(live * kBlock);
}

std::string ModelFile::report() {
  const std::string blocks = std::to_string(disk.size() / kBlock);
  std::string text = "file information:\n\t size: " + std::to_string(disk.size()) + "( " + blocks + "k )\n" +
                     "\t item num: " + std::to_string(items.size()) + "\n\t block num: " + blocks +
                     "\n\t free block num: " + std::to_string(free.size()) + "\n";
  for (const auto& [id, item] : items) {
    text += "item: { ID = " + std::to_string(id) + ", size = " + std::to_string(item.size) +
            ", frag count = " + std::to_string(item.blocks.size()) + " }\n";
    for (const uint32_t b : item.blocks) {
      char line[64];
      std::snprintf(line, sizeof line, "\t\tfragment offset: %u(0x%x)\n", b * kBlock, b * kBlock);
      text += line;
    }
    if (get(id) == nullptr) text += "item " + std::to_string(id) + " corrupted\n";
  }
  return text;
}

void Model::open() {
  load();
  pending.clear();
  committed.clear();
  cursor_ = 0;
  const Bytes* table = get(0);
  capacity_ = (table == nullptr ? 0 : table->size()) / 24 + 100;
  if (table == nullptr) return;
  for (const Record& record : vault::ReadTable(*table).value_or(std::vector<Record>())) commit(record);
}

void Model::commit(const Record& record) {
  if (committed.size() < capacity_) committed.emplace_back();
  auto slot = std::find(committed.begin(), committed.end(), std::nullopt);
  if (slot == committed.end()) {
    capacity_ += 10;
    slot = committed.emplace(slot);
  }
  *slot = record;
}

void Model::saveTable() {
  std::vector<Record> records;
  for (const auto& slot : committed) {
    if (slot) records.push_back(*slot);
  }
  if (records.empty()) {
    remove(0, true);
  } else {
    insert(0, vault::MakeTable(records));
  }
  sync();
}

const Model::Record* Model::find(uint32_t id) const {
  for (const auto& slot : committed) {
    if (slot && slot->id == id) return &*slot;
  }
  return nullptr;
}

int32_t Model::insertItem(uint32_t id, const Bytes& bytes, bool syncNow) {
  const auto waiting = pending.find(id);
  if (id == 0 || (waiting == pending.end() && find(id) == nullptr)) return -5;
  insert(id, bytes);
  if (syncNow) sync();
  if (waiting == pending.end()) return 0;
  commit(waiting->second);
  pending.erase(waiting);
  saveTable();
  return 0;
}

int32_t Model::deleteItem(uint32_t id, bool syncNow) {
  if (id == 0 || find(id) == nullptr) return -5;
  if (!remove(id, syncNow)) return -1;
  for (auto& slot : committed) {
    if (slot && slot->id == id) slot.reset();
  }
  saveTable();
  return 0;
}

uint32_t Model::findUserData(uint32_t kind, const vault::PmString& userData) const {
  for (const auto& slot : committed) {
    if (slot && slot->kind == kind && slot->userData == userData) return slot->id;
  }
  return 0;
}

uint32_t Model::first(uint32_t kind) {
  cursor_ = 0;
  return next(kind);
}

uint32_t Model::next(uint32_t kind) {
  while (cursor_ < committed.size()) {
    const auto& slot = committed[cursor_++];
    if (slot && slot->kind == kind) return slot->id;
  }
  return 0;
}

std::vector<uint32_t> Model::list(uint32_t kind) const {
  std::vector<uint32_t> ids;
  for (const auto& slot : committed) {
    if (slot && slot->kind == kind) ids.push_back(slot->id);
  }
  return ids;
}
