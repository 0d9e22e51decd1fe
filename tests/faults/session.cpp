#include "tests/faults/session.h"

#include <algorithm>

#include "storage/itemindex.h"
#include "storage/storage.h"

namespace {

constexpr uint32_t kKinds = 2, kMaxId = 9;  // sessions use no others
constexpr uint32_t kNoSuchId = 1000;

std::string Compare(DataBaseHandle* handle, const Worlds& worlds) {
  const World found = WorldOf(handle);
  for (const World& world : worlds) {
    if (found.items == world.items &&
        std::includes(world.strays.begin(), world.strays.end(), found.strays.begin(), found.strays.end()))
      return "";
  }
  return "found" + Describe({found}) + ", expected" + Describe(worlds);
}

}  // namespace

World WorldOf(DataBaseHandle* handle) {
  World world;
  for (uint32_t kind = 0; kind < kKinds; ++kind) {
    for (uint32_t id = FirstGetItemID(handle, kind); id != 0; id = NextGetItemID(handle, kind)) {
      Item& item = world.items[id];
      item.kind = kind;
      uint32_t word = id, pending;
      if (const PmChar* userData = GetItemAddons(handle, id, &pending)) item.userData = userData;
      const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
      if (bytes != nullptr) item.bytes.assign(bytes, bytes + word);
    }
  }
  for (uint32_t id = 1; id <= kMaxId; ++id) {
    if (world.items.count(id) == 0 && storage::FindItemInIndex(id) != nullptr) world.strays.insert(id);
  }
  return world;
}

std::string Describe(const Worlds& worlds) {
  std::string text;
  for (const World& world : worlds) {
    text += " [";
    for (const auto& [id, item] : world.items) {
      const std::string bytes(item.bytes.begin(), item.bytes.end());
      text += std::to_string(id) + ":" + std::to_string(bytes.size()) + "#" +
              std::to_string(std::hash<std::string>()(bytes) % 10000) + " ";
    }
    for (const uint32_t id : world.strays) text += "stray " + std::to_string(id) + " ";
    text += "]";
  }
  return text;
}

std::string Recover(const std::filesystem::path& path, const Worlds& worlds) {
  const PmString name = Pm(path), backup = Pm(BackupOf(path));
  const bool restored = FExists(backup.c_str()) == 0;
  if (restored && PmRestoreBackupFile(name.c_str()) != 0) return "the backup was refused";
  DataBaseHandle* handle = OpenDataBaseFile(name.c_str());
  if (handle == nullptr) return "the vault does not open";
  std::string wrong = Compare(handle, worlds);
  CloseDataBaseFile(handle);
  if (restored) CloseDataBaseFile(handle);
  if (FExists(backup.c_str()) == 0) wrong += " and the backup stayed";
  return wrong;
}

void Session::record(const std::vector<seam::Change>* changes) {
  changes_ = changes;
  calls_.clear();
}

// Makes a call and notes what it may leave on the medium: the states before it, the state in memory after it,
// or either.
template <typename Body>
void Session::call(int v, Body body) {
  Call call{};
  const int firstCall = seam::CallNum();
  call.firstChange = changes_ != nullptr ? changes_->size() : 0;
  for (int i = 0; i < kVaults; ++i) call.during[i] = vaults_[i].durable;
  Vault& vault = vaults_[v];
  Outcome outcome = body(vault);
  if (seam::CallNum() == firstCall) outcome = kNothingWritten;  // a result of 0 then says nothing new
  if (outcome != kNothingWritten) call.during[v].push_back(vault.memory);
  if (outcome == kPerhapsWritten) vault.durable.push_back(vault.memory);
  if (outcome == kWritten) vault.durable = {vault.memory};
  for (int i = 0; i < kVaults; ++i) call.after[i] = vaults_[i].durable;
  call.during[v].insert(call.during[v].end(), vault.durable.begin(), vault.durable.end());
  call.endCall = seam::CallNum();
  call.endChange = changes_ != nullptr ? changes_->size() : 0;
  calls_.push_back(std::move(call));
}

// A result as the interface documents it.
int32_t Session::noted(int32_t result) {
  EXPECT_TRUE(result == 0 || result == -1 || (seam::Struck() && (result == -2 || result == -4))) << result;
  return lastResult_ = result;
}

// After a call that syncs without telling how that went: it did, when nothing was struck.
Session::Outcome Session::synced(const Vault& vault, int32_t result) {
  if (vault.inTransaction) return kNothingWritten;
  return result == 0 && !seam::Struck() ? kWritten : kPerhapsWritten;
}

void Session::open(int v) {
  if (isOpen(v)) return;
  call(v, [&](Vault& vault) {
    const bool restored = exists(BackupOf(path(v)));
    if (restored && PmRestoreBackupFile(Pm(path(v)).c_str()) != 0) return kNothingWritten;
    vault.handle = OpenDataBaseFile(Pm(path(v)).c_str());
    if (vault.handle == nullptr) return kNothingWritten;
    if (restored) CloseDataBaseFile(vault.handle);
    seam::Suspend(true);
    EXPECT_EQ(Compare(vault.handle, vault.durable), "");
    for (const World& world : vault.durable) {
      vault.memory = world;
      if (vault.durable.size() == 1 || Compare(vault.handle, {world}).empty()) break;
    }
    seam::Suspend(false);
    // Behind a flush that failed, what is seen is not yet what the medium would give after a power failure.
    return seam::Struck() ? kPerhapsWritten : kWritten;
  });
}

void Session::close(int v) {
  if (!isOpen(v)) return;
  call(v, [&](Vault& vault) {
    EXPECT_EQ(CloseDataBaseFile(vault.handle), 0);
    return closed(&vault);
  });
}

void Session::takeDown() {
  ReleasePmTotalDataController();
  EXPECT_EQ(InitPmTotalDataController(), 1);
  for (Vault& vault : vaults_) {
    if (vault.handle == nullptr) continue;
    if (closed(&vault) == kWritten) vault.durable.clear();
    vault.durable.push_back(vault.memory);
  }
}

Session::Outcome Session::closed(Vault* vault) {
  vault->handle = nullptr;
  if (!vault->inTransaction) return seam::Struck() ? kPerhapsWritten : kWritten;
  dropTransaction(vault);
  return kPerhapsWritten;
}

// What an open transaction changed goes with the close, but the blocks that it freed are squeezed out: those
// of the items that it removed, and those of the table when it removed them all.
void Session::dropTransaction(Vault* vault) {
  Worlds squeezed = vault->durable;
  for (World& world : squeezed) {
    bool none = true;
    for (auto& [id, item] : world.items) {
      if (vault->removedInTransaction.count(id) != 0) item.bytes.clear();
      none = none && item.bytes.empty();
    }
    vault->durable.push_back(world);
    if (none) vault->durable.push_back({{}, world.strays});
  }
  vault->memory = squeezed.back();
  vault->inTransaction = false;
  vault->removedInTransaction.clear();
}

void Session::insert(int v, uint32_t id, size_t size, int32_t syncNow, size_t userDataLength) {
  if (!isOpen(v)) return;
  call(v, [&](Vault& vault) {
    auto& items = vault.memory.items;
    const bool isNew = items.count(id) == 0;
    Item item{id % kKinds, std::nullopt, newBytes(size)};
    if (userDataLength != 0) item.userData = PmString(userDataLength, static_cast<PmChar>('a' + id));
    const PmChar* userData = item.userData ? item.userData->c_str() : nullptr;
    if (isNew && RetainID(vault.handle, id, item.kind, userData) != 1) {
      uint32_t pending;  // from an insert that failed: it keeps what it was made with
      userData = GetItemAddons(vault.handle, id, &pending);
      item.userData = userData != nullptr ? std::optional<PmString>(userData) : std::nullopt;
    }
    const auto count = static_cast<uint32_t>(size);
    const int32_t result = noted(InserItemToDataBase(vault.handle, id, item.bytes.data(), count, syncNow));
    if (!isNew) {
      if (result != -1) items[id].bytes = item.bytes;
      if (syncNow == 0) return kNothingWritten;
    } else if (result == 0) {
      items[id] = item;
      vault.memory.strays.erase(id);
    } else {
      vault.memory.strays.insert(id);  // in memory, and unlisted until the call is made again
      for (World& world : vault.durable) world.strays.insert(id);
    }
    return synced(vault, result);
  });
}

void Session::modify(int v, uint32_t id, int32_t offset, size_t size, int32_t syncNow) {
  if (!isOpen(v) || vaults_[v].memory.items.count(id) == 0) return;
  call(v, [&](Vault& vault) {
    Bytes& item = vault.memory.items[id].bytes;
    const Bytes bytes = newBytes(size);
    const auto count = static_cast<uint32_t>(size);
    const int32_t result = noted(PmModifyItem(vault.handle, id, bytes.data(), offset, count, syncNow));
    if (result == -1) return kNothingWritten;
    const size_t from = offset == -1 ? 0 : static_cast<size_t>(offset);
    if (offset == -1 || from + size > item.size()) item.resize(from + size);
    std::copy(bytes.begin(), bytes.end(), item.begin() + static_cast<ptrdiff_t>(from));
    return syncNow != 0 ? synced(vault, result) : kNothingWritten;
  });
}

void Session::remove(int v, uint32_t id, int32_t syncNow) {
  if (!isOpen(v) || vaults_[v].memory.items.count(id) == 0) return;
  call(v, [&](Vault& vault) {
    auto& [items, strays] = vault.memory;
    const int32_t result = noted(DeleteItemFromDataBase(vault.handle, id, syncNow));
    if (result != 0) {
      if (storage::FindItemInIndex(id) == nullptr) items[id].bytes.clear();
    } else {
      items.erase(id);
      if (vault.inTransaction) vault.removedInTransaction.insert(id);
      if (!vault.inTransaction && syncNow == 0) strays.insert(id);
    }
    return synced(vault, result);
  });
}

void Session::read(int v, uint32_t id) const {
  if (isOpen(v)) PmGetItemPtrByID(vaults_[v].handle, &id);
}

void Session::start(int v) {
  if (!isOpen(v)) return;
  read(v, kNoSuchId);  // makes the vault the current one
  EXPECT_EQ(PmStartTransaction(), 0);
  vaults_[v].inTransaction = true;
}

void Session::stop(int v) {
  if (!isOpen(v)) return;
  read(v, kNoSuchId);
  call(v, [&](Vault& vault) {
    vault.inTransaction = false;
    vault.removedInTransaction.clear();
    return noted(PmStopTransaction()) == 0 ? kWritten : kPerhapsWritten;
  });
}

void Session::sync(int v) {
  if (!isOpen(v)) return;
  read(v, kNoSuchId);
  call(v, [&](Vault& vault) {
    noted(PmSyncDirtyData());
    if (vault.inTransaction) return kNothingWritten;
    return lastResult_ == 0 ? kWritten : kPerhapsWritten;
  });
}

std::string Session::checkClean(int v) const {
  if (!isOpen(v)) return "";
  read(v, kNoSuchId);
  const Bytes file = ReadBytes(path(v)).value_or(Bytes());
  for (const auto& [id, listed] : vaults_[v].memory.items) {
    const storage::ItemInfo* item = storage::FindItemInIndex(id);
    if (item == nullptr || item->dirty || listed.bytes.empty()) continue;
    vault::Item placed{item->size, {}};
    for (const uint32_t offset : item->fragments) {
      if (offset + vault::kBlock > file.size()) return "a block of item " + std::to_string(id);
      placed.blocks.push_back(offset / vault::kBlock);
    }
    if (vault::Assemble(file, placed) != listed.bytes) return "item " + std::to_string(id);
  }
  return "";
}
