#include "tests/support/fixture.h"

#include <fstream>
#include <iterator>
#include <random>

namespace fs = std::filesystem;

TempFolder::TempFolder() {
  std::random_device random;
  do {
    path_ = fs::temp_directory_path() / ("pmstore-test-" + std::to_string(random()));
  } while (!fs::create_directory(path_));
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

PmString Pm(const fs::path& path) {
  return path.string<PmChar>();
}

PmString Text(const std::string& ascii) {
  return PmString(ascii.begin(), ascii.end());
}

std::optional<Bytes> ReadBytes(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return std::nullopt;
  std::error_code failed;
  Bytes bytes(static_cast<size_t>(fs::file_size(path, failed)));
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (stream.gcount() != static_cast<std::streamsize>(bytes.size())) return std::nullopt;
  return bytes;
}

std::string ReadText(const fs::path& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteBytes(const fs::path& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  EXPECT_TRUE(stream.good()) << path;
}

Bytes Pattern(size_t size, uint32_t seed) {
  Bytes bytes(size);
  for (uint8_t& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return bytes;
}

fs::path BackupOf(const fs::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".bak");
}

DataBaseTest::DataBaseTest() {
  EXPECT_EQ(InitPmTotalDataController(), 1);
}

DataBaseTest::~DataBaseTest() {
  ReleasePmTotalDataController();
  if (!checkFiles_) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder_.path())) {
    if (entry.path().extension() == ".db") {
      EXPECT_EQ(vault::Fault(ReadBytes(entry.path()).value_or(Bytes(1))), "") << entry.path();
    } else {
      EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path() << " was left behind";
    }
  }
}

DataBaseHandle* DataBaseTest::open(const std::string& name) const {
  return OpenDataBaseFile(Pm(file(name)).c_str());
}

uint32_t DataBaseTest::add(DataBaseHandle* handle, const Bytes& bytes, uint32_t kind) {
  const uint32_t id = CreateNewItemID(handle, kind, nullptr);
  EXPECT_EQ(InserItemToDataBase(handle, id, bytes.data(), static_cast<uint32_t>(bytes.size()), 0), 0);
  return id;
}

int32_t DataBaseTest::modify(DataBaseHandle* handle, uint32_t id, const Bytes& bytes, int32_t offset,
                             int32_t syncNow) {
  return PmModifyItem(handle, id, bytes.data(), offset, static_cast<uint32_t>(bytes.size()), syncNow);
}

std::optional<Bytes> DataBaseTest::get(DataBaseHandle* handle, uint32_t id) {
  uint32_t word = id;
  const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
  if (bytes == nullptr) {
    EXPECT_EQ(word, id) << "a failed read left its mark";
    return std::nullopt;
  }
  return Bytes(bytes, bytes + word);
}

std::vector<uint32_t> DataBaseTest::ids(DataBaseHandle* handle, uint32_t kind) {
  std::vector<uint32_t> found;
  for (uint32_t id = FirstGetItemID(handle, kind); id != 0; id = NextGetItemID(handle, kind))
    found.push_back(id);
  return found;
}

void DataBaseTest::restart() {
  ReleasePmTotalDataController();
  EXPECT_EQ(InitPmTotalDataController(), 1);
}
