// A database in the library and in the model: each call is made on both, with the same answer and, where it changes
// something, the same files.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/model.h"

struct Pair {
  explicit Pair(const std::filesystem::path& file) : path(file), name(Pm(file)) {}

  void open() {
    DataBaseHandle* opened = OpenDataBaseFile(name.c_str());
    ASSERT_NE(opened, nullptr);
    ASSERT_EQ(opened, handle != nullptr ? handle : opened);
    handle = opened;
    model.open();
  }

  void close() {
    ASSERT_EQ(CloseDataBaseFile(handle), model.close());
    if (model.opens == 0) handle = nullptr;
    checkFiles();
  }

  // The source is where the caller has the bytes, if not in `bytes`: it may be the item's own buffer.
  void insert(uint32_t id, const Bytes& bytes, bool syncNow, const void* source = nullptr) {
    const int32_t expected = model.insert(id, bytes, syncNow);
    ASSERT_EQ(InserItemToDataBase(handle, id, source != nullptr ? source : bytes.data(),
                                  static_cast<uint32_t>(bytes.size()), syncNow),
              expected);
    checkFiles();
  }

  void modify(uint32_t id, const Bytes& bytes, int32_t offset, bool syncNow, const void* source = nullptr) {
    const int32_t expected = model.modify(id, bytes, offset, syncNow);
    ASSERT_EQ(PmModifyItem(handle, id, source != nullptr ? source : bytes.data(), offset,
                           static_cast<uint32_t>(bytes.size()), syncNow),
              expected);
    checkFiles();
  }

  void remove(uint32_t id, bool syncNow) {
    const int32_t expected = model.remove(id, syncNow);
    ASSERT_EQ(DeleteItemFromDataBase(handle, id, syncNow), expected);
    checkFiles();
  }

  void read(uint32_t id) {
    uint32_t word = id;
    const auto* found = static_cast<const uint8_t*>(PmGetItemPtrByID(handle, &word));
    const Bytes* expected = model.get(id);
    ASSERT_EQ(found == nullptr, expected == nullptr) << id;
    if (found == nullptr) {
      ASSERT_EQ(word, id) << "a failed read left its mark";
    } else {
      ASSERT_EQ(Bytes(found, found + word), *expected) << id;
    }
  }

  void checkFiles() const {
    const Bytes data = ReadBytes(path).value_or(Bytes());
    ASSERT_EQ(data.size(), model.disk.size()) << path;
    const auto differs = std::mismatch(data.begin(), data.end(), model.disk.begin()).first;
    ASSERT_EQ(differs - data.begin(), data.end() - data.begin()) << path << ": the first byte that differs";
    ASSERT_TRUE(ReadBytes(BackupOf(path)) == model.backup) << path << ": the backup differs";
    ASSERT_EQ(std::filesystem::exists(JournalOf(path)), model.journal) << path;
  }

  std::filesystem::path path;
  PmString name;
  Model model{};
  DataBaseHandle* handle = nullptr;
};
