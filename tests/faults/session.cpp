#include "tests/faults/session.h"

#include <stdlib.h>

#include <algorithm>

#include "storage/itemindex.h"
#include "storage/storage.h"

namespace {

constexpr uint32_t kNoSuchId = 1000;

Bytes ItemBytes(DataBaseHandle* handle, uint32_t id) {
  uint32_t word = id;
  const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
  return bytes != nullptr ? Bytes(bytes, bytes + word) : Bytes();
}

std::string Describe(const std::vector<Item>& listing, const std::set<uint32_t>& strays) {
  std::string text;
  for (const Item& item : listing) {
    text += " " + std::to_string(item.id) + ":" + std::to_string(item.bytes.size()) + "#" +
            std::to_string(vault::Checksum(item.bytes.data(), item.bytes.size()) & 0xFFFF);
  }
  for (const uint32_t id : strays) text += " stray " + std::to_string(id);
  return text;
}

std::string Compare(DataBaseHandle* handle, const std::vector<World>& worlds) {
  const std::vector<Item> found = ListingOf(handle);
  std::set<uint32_t> strays;
  for (uint32_t id = 1; id <= kMaxId; ++id) {
    const bool listed =
        std::any_of(found.begin(), found.end(), [&](const Item& item) { return item.id == id; });
    if (!listed && storage::FindItemInIndex(id) != nullptr) strays.insert(id);
  }
  for (const World& world : worlds) {
    if (found == world.listing() &&
        std::includes(world.strays.begin(), world.strays.end(), strays.begin(), strays.end()))
      return "";
  }
  std::string wrong = "found" + Describe(found, strays);
  for (const World& world : worlds) wrong += ", expected" + Describe(world.listing(), world.strays);
  return wrong;
}

}  // namespace

FastFolder::FastFolder() {
  std::string name = std::filesystem::exists("/dev/shm") ? "/dev/shm/pmstore-XXXXXX" : "/tmp/pmstore-XXXXXX";
  path_ = mkdtemp(name.data());
}

void FastFolder::clear() const {
  for (const auto& entry : std::filesystem::directory_iterator(path_))
    std::filesystem::remove_all(entry.path());
}

Item* World::find(uint32_t id) {
  for (auto& slot : slots) {
    if (slot && slot->id == id) return &*slot;
  }
  return nullptr;
}

void World::add(const Item& item) {
  const auto free = std::find(slots.begin(), slots.end(), std::nullopt);
  strays.erase(item.id);
  if (free != slots.end()) {
    *free = item;
  } else {
    slots.emplace_back(item);
  }
}

std::vector<Item> World::listing() const {
  std::vector<Item> items;
  for (uint32_t kind = 0; kind < kKinds; ++kind) {
    for (const auto& slot : slots) {
      if (slot && slot->kind() == kind) items.push_back(*slot);
    }
  }
  return items;
}

std::vector<Item> ListingOf(DataBaseHandle* handle) {
  std::vector<Item> items;
  for (uint32_t kind = 0; kind < kKinds; ++kind) {
    for (uint32_t id = FirstGetItemID(handle, kind); id != 0; id = NextGetItemID(handle, kind)) {
      uint32_t pending;
      const PmChar* userData = GetItemAddons(handle, id, &pending);
      items.push_back({id, std::nullopt, ItemBytes(handle, id)});
      if (userData != nullptr) items.back().userData = userData;
    }
  }
  return items;
}

std::string Recover(const std::filesystem::path& path, const std::vector<World>& worlds) {
  const PmString name = Pm(path);
  const bool restored = FExists(Pm(BackupOf(path)).c_str()) == 0;
  if (restored && PmRestoreBackupFile(name.c_str()) != 0) return "the backup was refused";
  DataBaseHandle* handle = OpenDataBaseFile(name.c_str());
  if (handle == nullptr) return "the vault does not open";
  std::string wrong = Compare(handle, worlds);
  CloseDataBaseFile(handle);
  if (restored) CloseDataBaseFile(handle);
  if (FExists(Pm(BackupOf(path)).c_str()) == 0) wrong += " and the backup stayed";
  return wrong;
}

Session::Session(const std::filesystem::path& folder) : folder_(folder) {}

void Session::record(std::vector<seam::Change>* changes) {
  changes_ = changes;
  calls_.clear();
}

// Makes a call and notes what it may leave on the medium: the states before it, the state in memory after it,
// or either.
template <typename Body>
void Session::call(int v, Body body) {
  Call call{};
  call.firstCall = seam::CallNum();
  call.firstChange = changes_ != nullptr ? changes_->size() : 0;
  for (int i = 0; i < kVaults; ++i) call.during[i] = vaults_[i].durable;
  Vault& vault = vaults_[v];
  Outcome outcome = body(&vault);
  if (seam::CallNum() == call.firstCall) outcome = kNothingWritten;  // a result of 0 then says nothing new
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
Session::Outcome Session::synced(const Vault& vault, int32_t result) const {
  if (vault.inTransaction) return kNothingWritten;
  return result == 0 && !seam::Struck() ? kWritten : kPerhapsWritten;
}

void Session::open(int v) {
  if (isOpen(v)) return;
  call(v, [&](Vault* vault) {
    const bool restored = exists(BackupOf(path(v)));
    if (restored && PmRestoreBackupFile(Pm(path(v)).c_str()) != 0) return kNothingWritten;
    vault->handle = OpenDataBaseFile(Pm(path(v)).c_str());
    if (vault->handle == nullptr) return kNothingWritten;
    if (restored) CloseDataBaseFile(vault->handle);
    seam::Suspend(true);
    std::string wrong = "nothing to find";
    for (const World& world : vault->durable) {
      wrong = vault->durable.size() == 1 ? "" : Compare(vault->handle, {world});
      vault->memory = world;
      if (wrong.empty()) break;
    }
    EXPECT_EQ(wrong, "");
    seam::Suspend(false);
    auto& slots = vault->memory.slots;
    slots.erase(std::remove(slots.begin(), slots.end(), std::nullopt), slots.end());
    // Behind a flush that failed, what is seen is not yet what the medium would give after a power failure.
    return seam::Struck() ? kPerhapsWritten : kWritten;
  });
}

void Session::close(int v) {
  if (!isOpen(v)) return;
  call(v, [&](Vault* vault) {
    EXPECT_EQ(CloseDataBaseFile(vault->handle), 0);
    vault->handle = nullptr;
    if (!vault->inTransaction) return seam::Struck() ? kPerhapsWritten : kWritten;
    dropTransaction(vault);
    return kPerhapsWritten;
  });
}

// What an open transaction changed goes with the close, but the blocks that it freed are squeezed out: those
// of the items that it removed, and those of the table when it removed them all.
void Session::dropTransaction(Vault* vault) {
  std::vector<World> squeezed = vault->durable;
  for (World& world : squeezed) {
    for (const uint32_t id : vault->removedInTransaction) {
      if (Item* item = world.find(id)) item->bytes.clear();
    }
    const std::vector<Item> left = world.listing();
    const bool none =
        std::all_of(left.begin(), left.end(), [](const Item& item) { return item.bytes.empty(); });
    vault->durable.push_back(world);
    if (none) vault->durable.emplace_back();
  }
  vault->memory = squeezed.back();
  vault->inTransaction = false;
  vault->removedInTransaction.clear();
}

void Session::insert(int v, uint32_t id, size_t size, int32_t syncNow, size_t userDataLength) {
  if (!isOpen(v)) return;
  call(v, [&](Vault* vault) {
    Item* present = vault->memory.find(id);
    Item item{id, std::nullopt, newBytes(size)};
    if (userDataLength != 0) item.userData = PmString(userDataLength, static_cast<PmChar>('a' + id));
    const PmChar* userData = item.userData ? item.userData->c_str() : nullptr;
    if (present == nullptr && RetainID(vault->handle, id, item.kind(), userData) != 1) {
      uint32_t pending;  // from an insert that failed: it keeps what it was made with
      userData = GetItemAddons(vault->handle, id, &pending);
      item.userData = userData != nullptr ? std::optional<PmString>(userData) : std::nullopt;
    }
    const auto bytes = static_cast<uint32_t>(size);
    const int32_t result = noted(InserItemToDataBase(vault->handle, id, item.bytes.data(), bytes, syncNow));
    if (present != nullptr) {
      if (result != -1) present->bytes = item.bytes;
      if (syncNow == 0) return kNothingWritten;
    } else if (result == 0) {
      vault->memory.add(item);
    } else {
      vault->memory.strays.insert(id);  // in memory, and unlisted until the call is made again
      for (World& world : vault->durable) world.strays.insert(id);
    }
    return synced(*vault, result);
  });
}

void Session::modify(int v, uint32_t id, int32_t offset, size_t size, int32_t syncNow) {
  if (!isOpen(v) || vaults_[v].memory.find(id) == nullptr) return;
  call(v, [&](Vault* vault) {
    Item* item = vault->memory.find(id);
    const Bytes bytes = newBytes(size);
    const auto count = static_cast<uint32_t>(size);
    const int32_t result = noted(PmModifyItem(vault->handle, id, bytes.data(), offset, count, syncNow));
    if (result == -1) return kNothingWritten;
    const size_t from = offset == -1 ? 0 : static_cast<size_t>(offset);
    if (offset == -1 || from + size > item->bytes.size()) item->bytes.resize(from + size);
    std::copy(bytes.begin(), bytes.end(), item->bytes.begin() + static_cast<ptrdiff_t>(from));
    return syncNow != 0 ? synced(*vault, result) : kNothingWritten;
  });
}

void Session::remove(int v, uint32_t id, int32_t syncNow) {
  if (!isOpen(v) || vaults_[v].memory.find(id) == nullptr) return;
  call(v, [&](Vault* vault) {
    const int32_t result = noted(DeleteItemFromDataBase(vault->handle, id, syncNow));
    if (result != 0) {
      if (storage::FindItemInIndex(id) == nullptr) vault->memory.find(id)->bytes.clear();
      return synced(*vault, result);
    }
    for (auto& slot : vault->memory.slots) {
      if (slot && slot->id == id) slot.reset();
    }
    if (vault->inTransaction) {
      vault->removedInTransaction.insert(id);
    } else if (syncNow == 0) {
      vault->memory.strays.insert(id);
    }
    return synced(*vault, result);
  });
}

void Session::read(int v, uint32_t id) {
  if (isOpen(v)) ItemBytes(vaults_[v].handle, id);
}

void Session::select(int v) {
  read(v, kNoSuchId);
}

void Session::start(int v) {
  if (!isOpen(v)) return;
  select(v);
  EXPECT_EQ(PmStartTransaction(), 0);
  vaults_[v].inTransaction = true;
}

void Session::stop(int v) {
  if (!isOpen(v)) return;
  select(v);
  call(v, [&](Vault* vault) {
    noted(PmStopTransaction());
    vault->inTransaction = false;
    vault->removedInTransaction.clear();
    return lastResult_ == 0 ? kWritten : kPerhapsWritten;
  });
}

void Session::sync(int v) {
  if (!isOpen(v)) return;
  select(v);
  call(v, [&](Vault* vault) {
    noted(PmSyncDirtyData());
    if (vault->inTransaction) return kNothingWritten;
    return lastResult_ == 0 ? kWritten : kPerhapsWritten;
  });
}

std::string Session::checkClean(int v) {
  if (!isOpen(v)) return "";
  select(v);
  const Bytes file = ReadBytes(path(v)).value_or(Bytes());
  for (const auto& slot : vaults_[v].memory.slots) {
    const storage::ItemInfo* item = slot ? storage::FindItemInIndex(slot->id) : nullptr;
    if (item == nullptr || item->dirty || slot->bytes.empty()) continue;
    vault::Item placed{item->size, {}};
    bool inFile = true;
    for (const uint32_t offset : item->fragments) {
      placed.blocks.push_back(offset / vault::kBlock);
      inFile = inFile && offset + vault::kBlock <= file.size();
    }
    if (!inFile || vault::Assemble(file, placed) != slot->bytes) return "item " + std::to_string(slot->id);
  }
  return "";
}
