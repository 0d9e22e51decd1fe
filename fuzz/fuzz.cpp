// Hostile bytes go through the door that the target is built for: as a vault, as an ID table, or as a backup.
#include <gtest/gtest.h>

#include "tests/support/drive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  testing::FLAGS_gtest_throw_on_failure = true;
  drive::DOOR({data, data + size});
  return 0;
}
