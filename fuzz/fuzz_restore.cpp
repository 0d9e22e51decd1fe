// A vault is restored from a hostile backup.
#include "tests/support/drive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  drive::Restore({data, data + size});
  return 0;
}
