#include "fuzz/drive.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace drive {
namespace {

namespace fs = std::filesystem;

// A folder for the process, in memory where the system has that.
struct Folder {
  std::string path = fs::exists("/dev/shm") ? "/dev/shm/pmstore-drive-XXXXXX" : "/tmp/pmstore-drive-XXXXXX";
  Folder() { path = mkdtemp(path.data()); }
  ~Folder() { fs::remove_all(path); }
};
const Folder folder;
const fs::path vaultPath = folder.path + "/v", backupPath = folder.path + "/.v.bak";
const vault::PmString vaultName = vaultPath.u16string();

struct Library {
  Library() { InitPmTotalDataController(); }
  ~Library() {
    ReleasePmTotalDataController();
    for (const auto& entry : fs::directory_iterator(folder.path)) fs::remove(entry.path());
  }
};

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

void Write(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes ReadVault() {
  std::ifstream stream(vaultPath, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(stream), {});
}

std::optional<Bytes> Item(DataBaseHandle* handle, uint32_t id) {
  uint32_t word = id;
  const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
  if (bytes == nullptr) return std::nullopt;
  return Bytes(bytes, bytes + word);
}

// Whether its packets share no byte, so that their order in the file is no matter.
bool IsSound(const Bytes& file, const vault::Item& item) {
  std::map<uint32_t, uint32_t> ends;  // by offset
  for (const uint32_t block : item.blocks) {
    const uint8_t* at = &file[block * vault::kBlock];
    if (!ends.emplace(vault::Get(at + 8), vault::Get(at + 8) + vault::Get(at + 4)).second) return false;
  }
  uint32_t end = 0;
  for (const auto& packet : ends) {
    if (packet.first < end) return false;
    end = packet.second;
  }
  return true;
}

// The packets that bear the ID, whatever becomes of them.
size_t PacketsOf(const Bytes& file, uint32_t id) {
  size_t packets = 0;
  for (size_t at = 0; at < file.size(); at += vault::kBlock)
    packets += file[at + 1] != 2 && vault::Get(&file[at + 12]) == id;
  return packets;
}

// Inserts, changes and deletes; then everything that was sound still is, and what cannot be read is kept.
void Use(DataBaseHandle* handle, const Bytes& file) {
  const auto items = vault::ScanFile(file).items;
  for (const auto& [id, item] : items) {
    if (id != 0) Require(Item(handle, id) == vault::Assemble(file, item), "an item reads as it stands");
  }
  const uint32_t listed = FirstGetItemID(handle, 1);
  const Bytes bytes(1500, 'x');
  const bool lost = listed != 0 && !Item(handle, listed);
  const bool changed = listed != 0 && PmModifyItem(handle, listed, bytes.data(), 3, 1500, 1) == 0;
  if (lost) {
    Require(!changed && ReadVault() == file, "what cannot be read is not changed");
    Require(InserItemToDataBase(handle, listed, bytes.data(), 1500, 1) == 0, "it can be replaced");
    Require(Item(handle, listed) == bytes, "what replaced it is there");
  }
  const uint32_t added = CreateNewItemID(handle, 1, u"new");
  const bool inserted = added != 0 && InserItemToDataBase(handle, added, bytes.data(), 1500, 1) == 0;
  if (listed != 0) DeleteItemFromDataBase(handle, listed, 1);
  Require(CloseDataBaseFile(handle) == 0, "a close");
  const Bytes closed = ReadVault();
  handle = OpenDataBaseFile(vaultName.c_str());
  Require(handle != nullptr, "what was closed opens");
  for (const auto& [id, item] : items) {
    if (id == 0 || id == listed) continue;
    const auto before = vault::Assemble(file, item);
    if (IsSound(file, item)) Require(Item(handle, id) == before, "a sound item stays as it was");
    if (!before) Require(PacketsOf(closed, id) == PacketsOf(file, id), "no damaged item loses packets");
  }
  if (inserted) Require(Item(handle, added) == bytes, "what was inserted is there");
  Require(CloseDataBaseFile(handle) == 0, "a second close");
}

DataBaseHandle* OpenWith(const Bytes& file) {
  Write(vaultPath, file);
  return OpenDataBaseFile(vaultName.c_str());
}

Bytes WithItem(const Bytes& table, size_t size) {
  Bytes file = vault::MakeBlocks(0, table);
  const Bytes item = vault::MakeBlocks(5, Bytes(size, 'y'));
  file.insert(file.end(), item.begin(), item.end());
  return file;
}

}  // namespace

void OpenAndUse(const Bytes& file) {
  const Library library;
  DataBaseHandle* handle = OpenWith(file);
  Require((handle != nullptr) == vault::Opens(file), "what is a data file opens, and nothing else");
  if (handle != nullptr) return Use(handle, file);
  Require(ReadVault() == file, "a refused file is untouched");
}

void UseTable(const Bytes& table) {
  const Library library;
  const Bytes file = WithItem(table, 700);
  DataBaseHandle* handle = OpenWith(file);
  const auto records = vault::ReadTable(table);
  Require((handle != nullptr) == records.has_value(), "a table is read or refused as a whole");
  if (handle == nullptr) return;
  std::map<uint32_t, uint32_t> counts;
  for (const vault::Record& record : *records) ++counts[record.kind];
  for (const auto& [kind, count] : counts)
    Require(GetItemCount(handle, kind) == count, "every record counts");
  Use(handle, file);
}

void Restore(const Bytes& backup) {
  const Library library;
  const Bytes sound = WithItem(vault::MakeTable({{{0, 0}, 1, 5, std::nullopt}}), 1200);
  Write(vaultPath, sound);
  Write(backupPath, backup);
  const int32_t result = PmRestoreBackupFile(vaultName.c_str());
  Require(result == (vault::Opens(backup) ? 0 : -2), "what is a data file restores, and nothing else");
  Require(ReadVault() == (result == 0 ? backup : sound), "restored or untouched");
  if (result == 0) Use(OpenDataBaseFile(vaultName.c_str()), backup);
}

}  // namespace drive
