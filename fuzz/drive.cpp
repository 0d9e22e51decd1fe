#include "fuzz/drive.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace drive {

namespace fs = std::filesystem;

namespace {

void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

// One folder for the process, in memory where the system has that.
const fs::path& Folder() {
  static const fs::path folder = [] {
    std::string name = fs::exists("/dev/shm") ? "/dev/shm/pmstore-drive-XXXXXX" : "/tmp/pmstore-drive-XXXXXX";
    const fs::path made = mkdtemp(name.data());
    std::atexit([] { fs::remove_all(Folder()); });
    return made;
  }();
  return folder;
}

const fs::path& VaultPath() {
  static const fs::path path = Folder() / "v";
  return path;
}

void Write(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes Read(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(stream), {});
}

std::optional<Bytes> Item(DataBaseHandle* handle, uint32_t id) {
  uint32_t word = id;
  const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
  if (bytes == nullptr) return std::nullopt;
  return Bytes(bytes, bytes + word);
}

// Every item but the table and `changed` reads as the file has it.
void CompareItems(DataBaseHandle* handle, const Bytes& file, uint32_t changed) {
  for (const auto& [id, item] : vault::ScanFile(file).items) {
    if (id == 0 || id == changed) continue;
    Require(Item(handle, id) == vault::Assemble(file, item), "an item reads as it stands");
  }
}

// Inserts, changes and deletes; then everything that was sound still is.
void Use(DataBaseHandle* handle, const Bytes& file) {
  CompareItems(handle, file, 0);
  const uint32_t listed = FirstGetItemID(handle, 1);
  const Bytes bytes(1500, 'x');
  if (listed != 0) PmModifyItem(handle, listed, bytes.data(), 3, 1500, 1);
  const uint32_t id = CreateNewItemID(handle, 1, u"new");
  const bool inserted = id != 0 && InserItemToDataBase(handle, id, bytes.data(), 1500, 1) == 0;
  if (listed != 0) DeleteItemFromDataBase(handle, listed, 1);
  Require(CloseDataBaseFile(handle) == 0, "a close");
  handle = OpenDataBaseFile(VaultPath().u16string().c_str());
  Require(handle != nullptr, "what was closed opens");
  CompareItems(handle, file, listed);
  if (inserted) Require(Item(handle, id) == bytes, "what was inserted is there");
  Require(CloseDataBaseFile(handle) == 0, "a second close");
}

class Library {
 public:
  Library() { InitPmTotalDataController(); }
  ~Library() {
    ReleasePmTotalDataController();
    for (const auto& entry : fs::directory_iterator(Folder())) fs::remove(entry.path());
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

Bytes SoundFile() {
  Bytes file = vault::MakeBlocks(0, vault::MakeTable({{{0, 0}, 1, 5, std::nullopt}}));
  const Bytes item = vault::MakeBlocks(5, Bytes(1200, 'y'));
  file.insert(file.end(), item.begin(), item.end());
  return file;
}

}  // namespace

void OpenAndUse(const Bytes& file) {
  const Library library;
  Write(VaultPath(), file);
  DataBaseHandle* handle = OpenDataBaseFile(VaultPath().u16string().c_str());
  if (handle != nullptr) return Use(handle, file);
  Require(Read(VaultPath()) == file, "a refused file is untouched");
}

void UseTable(const Bytes& table) {
  Bytes file = vault::MakeBlocks(0, table);
  const Bytes item = vault::MakeBlocks(0x01010101, Bytes(700, 'z'));
  file.insert(file.end(), item.begin(), item.end());
  const Library library;
  Write(VaultPath(), file);
  DataBaseHandle* handle = OpenDataBaseFile(VaultPath().u16string().c_str());
  const auto records = vault::ReadTable(table);
  Require((handle != nullptr) == records.has_value(), "a table is read or refused as a whole");
  if (handle == nullptr) return;
  size_t listed = 0;
  for (const vault::Record& record : *records) listed += record.kind == records->front().kind;
  if (!records->empty())
    Require(GetItemCount(handle, records->front().kind) == listed, "every record counts");
  Use(handle, file);
}

void Restore(const Bytes& backup) {
  const Library library;
  const Bytes sound = SoundFile();
  Write(VaultPath(), sound);
  Write(Folder() / ".v.bak", backup);
  const int32_t result = PmRestoreBackupFile(VaultPath().u16string().c_str());
  Require(result == 0 || result == -2, "a documented result");
  Require(Read(VaultPath()) == (result == 0 ? backup : sound), "restored or untouched");
  if (result == 0) Use(OpenDataBaseFile(VaultPath().u16string().c_str()), backup);
}

}  // namespace drive
