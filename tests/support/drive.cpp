#include "tests/support/drive.h"

#include "tests/support/files.h"
#include "tests/support/model.h"

namespace drive {
namespace {

const TempFolder folder;
const std::filesystem::path path = folder.path() / "v";
const vault::PmString name = Pm(path);

void Require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error("wrong: " + what);
}

struct Library {
  Library() { InitPmTotalDataController(); }
  ~Library() {
    ReleasePmTotalDataController();
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) remove(entry.path());
  }
};

// A vault and its model, with the same calls made on both.
class Pair {
 public:
  explicit Pair(const Bytes& file) {
    model_.disk = file;
    open();
  }

  // Changes, inserts and deletes, closes and opens again.
  void use() {
    const uint32_t listed = FirstGetItemID(handle_, 1), added = 0x5eed;
    const Bytes bytes(1500, 'x');
    const auto insert = [&](uint32_t id) {
      expect(InserItemToDataBase(handle_, id, bytes.data(), 1500, 1), model_.insert(id, bytes, true),
             "an insert");
    };
    expect(PmModifyItem(handle_, listed, bytes.data(), 3, 1500, 1), model_.modify(listed, bytes, 3, true),
           "a modify");
    if (model_.get(listed) == nullptr) insert(listed);
    if (RetainID(handle_, added, 1, u"new") == 1) model_.pending[added] = {{0, 0}, 1, added, u"new"};
    insert(added);
    expect(DeleteItemFromDataBase(handle_, listed, 1), model_.remove(listed, true), "a delete");
    close();
    open();
    close();
  }

 private:
  void open() {
    handle_ = OpenDataBaseFile(name.c_str());
    Require(handle_ != nullptr, "it opens");
    model_.open();
    growUnread();
    const std::string differences = model_.differences(handle_);
    Require(differences.empty(), "opened," + differences);
  }

  // Reads all items but the last, which nobody may notice to have been read along with them: it does not grow.
  void growUnread() {
    for (const auto& [id, item] : model_.items) {
      uint32_t idThenSize = id;
      if (id == model_.items.rbegin()->first) {
        const auto end = static_cast<int32_t>(item.size);
        expect(PmModifyItem(handle_, id, "x", end, 1, 0), model_.modify(id, Bytes(1, 'x'), end, false),
               "growing");
      } else if (id != 0) {
        Require((PmGetItemPtrByID(handle_, &idThenSize) == nullptr) == (model_.get(id) == nullptr), "a read");
      }
    }
  }

  void close() { expect(CloseDataBaseFile(handle_), model_.close(), "a close"); }

  void expect(int32_t result, int32_t expected, const std::string& what) const {
    Require(result == expected, what + " gives " + std::to_string(result));
    Require(ReadBytes(path) == model_.disk, what + " leaves other bytes");
  }

  Model model_;
  DataBaseHandle* handle_ = nullptr;
};

// Whether the file opens; it is untouched when it does not.
bool Opens(const Bytes& file) {
  WriteBytes(path, file);
  DataBaseHandle* handle = OpenDataBaseFile(name.c_str());
  Require(ReadBytes(path) == file, "an open writes nothing");
  if (handle == nullptr) return false;
  CloseDataBaseFile(handle);
  WriteBytes(path, file);
  return true;
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
  const bool opens = Opens(file);
  Require(opens == vault::Opens(file), "what is a data file opens, and nothing else");
  if (opens) Pair(file).use();
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
  Require(result == (vault::Restores(backup) ? 0 : -2), "what is sound restores, and nothing else");
  Require(ReadBytes(path) == (result == 0 ? backup : sound), "restored or untouched");
}

}  // namespace drive
