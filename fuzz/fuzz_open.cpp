// A hostile vault is opened and used.
#include "tests/support/drive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  drive::OpenAndUse({data, data + size});
  return 0;
}
