// What the tests of databases share: a folder of their own, the library brought up and down around each test,
// and at the end a check that every data file left behind is sound and has no backup.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/vault.h"

using vault::Bytes;
using vault::PmString;

// A folder that goes with the object.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

PmString Pm(const std::filesystem::path& path);
PmString Text(const std::string& ascii);

std::optional<Bytes> ReadBytes(const std::filesystem::path& path);  // nothing when there is no such file
std::string ReadText(const std::filesystem::path& path);            // with line ends as a program reads them
void WriteBytes(const std::filesystem::path& path, const Bytes& bytes);

// The same bytes for the same arguments, different ones otherwise.
Bytes Pattern(size_t size, uint32_t seed = 1);

std::filesystem::path BackupOf(const std::filesystem::path& path);

class DataBaseTest : public testing::Test {
 protected:
  DataBaseTest();
  ~DataBaseTest() override;

  std::filesystem::path file(const std::string& name = "a.db") const { return folder_.path() / name; }
  DataBaseHandle* open(const std::string& name = "a.db") const;

  // A new ID stored with these bytes.
  static uint32_t add(DataBaseHandle* handle, const Bytes& bytes, uint32_t kind = 1);
  static int32_t modify(DataBaseHandle* handle, uint32_t id, const Bytes& bytes, int32_t offset,
                        int32_t syncNow);
  static std::optional<Bytes> get(DataBaseHandle* handle, uint32_t id);
  static std::vector<uint32_t> ids(DataBaseHandle* handle, uint32_t kind);

  // Takes the library down, which closes every database, and brings it up again.
  static void restart();

  // For tests that leave damaged files behind.
  bool checkFiles_ = true;

 private:
  TempFolder folder_;
};
