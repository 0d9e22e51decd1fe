// A hostile ID table, in blocks that are sound.
#include "tests/support/drive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  drive::UseTable({data, data + size});
  return 0;
}
