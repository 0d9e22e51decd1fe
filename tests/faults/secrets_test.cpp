// Item bytes are wiped before their memory is given back.

#include <cstring>

#include "tests/faults/seam.h"
#include "tests/support/fixture.h"

namespace {

constexpr char kSecret[] = "correct horse battery staple";

Bytes SecretItem(size_t size) {
  Bytes item(size, ' ');
  for (size_t at = 0; at + sizeof kSecret < size; at += 90)
    std::copy_n(kSecret, sizeof kSecret - 1, &item[at]);
  return item;
}

using Secrets = DataBaseTest;

TEST_F(Secrets, NoMemoryIsGivenBackWithItemBytesInIt) {
  const PmString path = Pm(file());  // the test's own memory is not to be looked at
  const Bytes items[] = {{}, SecretItem(700), SecretItem(5000), SecretItem(5000)}, other = Pattern(3000);
  seam::watched = kSecret;
  for (int round = 0; round < 2; ++round) {
    DataBaseHandle* handle = OpenDataBaseFile(path.c_str());
    for (uint32_t id = 1; id <= 3; ++id) {
      RetainID(handle, id, 1, nullptr);
      ASSERT_EQ(insert(handle, id, items[id], 1), 0);
      uint32_t word = id;
      ASSERT_NE(PmGetItemPtrByID(handle, &word), nullptr);
    }
    ASSERT_EQ(modify(handle, 1, items[2], 700, 0), 0);   // grows
    ASSERT_EQ(insert(handle, 2, other), 0);              // replaced
    ASSERT_EQ(DeleteItemFromDataBase(handle, 3, 1), 0);  // deleted
    restart();                                           // and released
  }
  EXPECT_EQ(seam::foundInFreed, 0);
  void* control = Malloc(sizeof kSecret);
  std::memcpy(control, kSecret, sizeof kSecret);
  Free(control);
  EXPECT_EQ(seam::foundInFreed, 1) << "the watch sees what it should";
  seam::watched = nullptr;
}

}  // namespace
