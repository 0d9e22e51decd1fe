#include "tests/support/drive.h"

#include "tests/support/pair.h"

namespace drive {
namespace {

const TempFolder folder;
const std::filesystem::path path = folder.path() / "v";
const vault::PmString name = Pm(path);

struct Library {
  Library() { InitPmTotalDataController(); }
  ~Library() {
    ReleasePmTotalDataController();
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) remove(entry.path());
  }
};

// Opens it and reads all items but the last, which nobody may notice to have been read along with them: it does not
// grow.
void Open(Pair* pair) {
  pair->open();
  Model& model = pair->model;
  for (const auto& [id, item] : model.items) {
    if (id == model.items.rbegin()->first) {
      pair->modify(id, Bytes(1, 'x'), static_cast<int32_t>(item.size), false);
    } else if (id != 0) {
      pair->read(id);
    }
  }
  EXPECT_EQ(model.differences(pair->handle), "");
}

// Changes, inserts and deletes, closes and opens again.
void Use(Pair pair) {
  const uint32_t added = 0x5eed;
  const Bytes bytes(1500, 'x');
  Open(&pair);
  const uint32_t listed = FirstGetItemID(pair.handle, 1);
  pair.modify(listed, bytes, 3, true);
  if (pair.model.get(listed) == nullptr) pair.insert(listed, bytes, true);
  if (RetainID(pair.handle, added, 1, u"new") == 1) pair.model.pending[added] = {{0, 0}, 1, added, u"new"};
  pair.insert(added, bytes, true);
  pair.remove(listed, true);
  pair.close();
  Open(&pair);
  pair.close();
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
  WriteBytes(path, file);
  DataBaseHandle* handle = OpenDataBaseFile(name.c_str());
  EXPECT_EQ(ReadBytes(path), file) << "an open writes nothing";
  EXPECT_EQ(handle != nullptr, vault::Opens(file));
  if (handle == nullptr) return;
  CloseDataBaseFile(handle);
  WriteBytes(path, file);
  Pair pair(path);
  pair.model.disk = file;
  Use(pair);
}

void UseTable(const Bytes& table) {
  OpenAndUse(WithItem(table, 700));
}

void Restore(const Bytes& backup) {
  const Library library;
  const Bytes sound = WithItem(vault::MakeTable({{{0, 0}, 1, 5, std::nullopt}}), 1200);
  WriteBytes(path, sound);
  WriteBytes(BackupOf(path), backup);
  const int32_t result = PmRestoreBackupFile(name.c_str());
  EXPECT_EQ(result, vault::Restores(backup) ? 0 : -2);
  EXPECT_EQ(ReadBytes(path), result == 0 ? backup : sound);
}

}  // namespace drive
