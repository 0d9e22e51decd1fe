// What the tests of databases share: a folder of their own, the library brought up and down around each test,
// and at the end a check that every data file left behind is sound and has no backup.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "tests/support/vault.h"

using vault::Bytes;
using vault::PmString;

// A folder that goes with the object; in memory where the system has that, for thousands of small files.
class TempFolder {
 public:
  TempFolder() { std::filesystem::create_directory(path_); }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  static std::filesystem::path home() {
#if !defined(_WIN32)
    if (std::filesystem::exists("/dev/shm")) return "/dev/shm";
#endif
    return std::filesystem::temp_directory_path();
  }
  const std::filesystem::path path_ = home() / ("pmstore-test-" + std::to_string(std::random_device()()));
};

inline PmString Pm(const std::filesystem::path& path) {
  return path.string<PmChar>();
}

inline PmString Text(const std::string& ascii) {
  return PmString(ascii.begin(), ascii.end());
}

// Nothing when there is no such file.
inline std::optional<Bytes> ReadBytes(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(path)) return std::nullopt;
  Bytes bytes(static_cast<size_t>(std::filesystem::file_size(path)));
  const auto size = static_cast<std::streamsize>(bytes.size());
  std::ifstream stream(path, std::ios::binary);
  stream.read(reinterpret_cast<char*>(bytes.data()), size);
  return stream.gcount() == size ? std::optional<Bytes>(bytes) : std::nullopt;
}

inline void WriteBytes(const std::filesystem::path& path, const Bytes& bytes) {
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(stream.flush()) << path;
}

// The same bytes for the same arguments, different ones otherwise.
inline Bytes Pattern(size_t size, uint32_t seed = 1) {
  Bytes bytes(size);
  for (uint8_t& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return bytes;
}

inline std::filesystem::path BackupOf(const std::filesystem::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".bak");
}

inline std::filesystem::path JournalOf(const std::filesystem::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".pmj");
}

class DataBaseTest : public testing::Test {
 protected:
  DataBaseTest() { EXPECT_EQ(InitPmTotalDataController(), 1); }
  ~DataBaseTest() override {
    ReleasePmTotalDataController();
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      const auto name = entry.path().filename();
      if (!checkFiles_) return;
      EXPECT_NE(name.string().front(), '.') << name << " was left behind";
      if (name.extension() != ".db") continue;
      EXPECT_EQ(vault::Fault(ReadBytes(entry.path()).value_or(Bytes(1))), "") << name;
    }
  }

  std::filesystem::path file(const std::string& name = "a.db") const { return folder_.path() / name; }
  DataBaseHandle* open(const std::string& name = "a.db") const {
    return OpenDataBaseFile(Pm(file(name)).c_str());
  }

  static int32_t insert(DataBaseHandle* handle, uint32_t id, const Bytes& bytes, int32_t syncNow = 0) {
    return InserItemToDataBase(handle, id, bytes.data(), static_cast<uint32_t>(bytes.size()), syncNow);
  }
  static int32_t modify(DataBaseHandle* handle, uint32_t id, const Bytes& bytes, int32_t offset,
                        int32_t syncNow) {
    return PmModifyItem(handle, id, bytes.data(), offset, static_cast<uint32_t>(bytes.size()), syncNow);
  }
  // A new ID stored with these bytes.
  static uint32_t add(DataBaseHandle* handle, const Bytes& bytes, uint32_t kind = 1) {
    const uint32_t id = CreateNewItemID(handle, kind, nullptr);
    EXPECT_EQ(insert(handle, id, bytes), 0);
    return id;
  }
  static std::optional<Bytes> get(DataBaseHandle* handle, uint32_t id) {
    uint32_t word = id;
    const auto* bytes = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
    if (bytes != nullptr) return Bytes(bytes, bytes + word);
    EXPECT_EQ(word, id) << "a failed read left its mark";
    return std::nullopt;
  }
  static std::vector<uint32_t> ids(DataBaseHandle* handle, uint32_t kind) {
    std::vector<uint32_t> found;
    for (uint32_t id = FirstGetItemID(handle, kind); id != 0; id = NextGetItemID(handle, kind))
      found.push_back(id);
    return found;
  }

  // Takes the library down, which closes every database, and brings it up again.
  static void restart() {
    ReleasePmTotalDataController();
    EXPECT_EQ(InitPmTotalDataController(), 1);
  }

  // For tests that leave damaged files behind.
  bool checkFiles_ = true;

 private:
  TempFolder folder_;
};
