// What the tests of databases share: a folder of their own, the library brought up and down around each test,
// and at the end a check that every data file left behind is sound and has no backup.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/files.h"

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
  static uint32_t add(DataBaseHandle* handle, const Bytes& bytes) {
    const uint32_t id = CreateNewItemID(handle, 1, nullptr);
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
