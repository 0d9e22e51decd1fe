// Writes the seed corpora into the given folder.
#include <filesystem>
#include <fstream>

#include "tests/support/vault.h"

using vault::Bytes;

namespace {

void Save(const std::filesystem::path& path, const Bytes& bytes) {
  create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void Append(Bytes* file, const Bytes& more) {
  file->insert(file->end(), more.begin(), more.end());
}

}  // namespace

int main(int, char** argv) {
  const std::filesystem::path folder = argv[1];
  const vault::PmString name = u"name";
  const Bytes table =
      vault::MakeTable({{{0, 0}, 1, 7, name}, {{1, 2}, 1, 9, std::nullopt}, {{0, 0}, 2, 11, u""}});
  Bytes all = vault::MakeBlocks(0, table);
  Append(&all, vault::MakeBlocks(7, Bytes(2300, 'a')));
  Append(&all, vault::MakeBlocks(9, Bytes(300, 'b')));
  Bytes free = vault::MakeBlocks(11, Bytes(10, 'c'));
  free[1] = 2;
  Append(&all, free);
  Bytes leftover = vault::MakeBlocks(0, table);
  Append(&leftover, vault::MakeBlocks(7, Bytes(900, 'd')));
  Append(&leftover, vault::MakeBlock(7, Bytes(2300, 'a'), 1));
  Append(&leftover, vault::MakeBlock(7, Bytes(2300, 'a'), 2));
  for (const char* target : {"open", "restore"}) {
    Save(folder / target / "every-kind", all);
    Save(folder / target / "leftover", leftover);
    Save(folder / target / "empty", {});
    Save(folder / target / "ragged", Bytes(all.begin(), all.begin() + 1500));
  }
  Save(folder / "table/three", table);
  Save(folder / "table/cut", Bytes(table.begin(), table.end() - 1));
  Save(folder / "table/long", vault::MakeTable({{{0, 0}, 1, 7, vault::PmString(700, u'x')}}));
}
