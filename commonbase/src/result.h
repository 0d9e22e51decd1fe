// The result codes of the lists and the file helpers, as they leave through the exports.
#pragma once

#include <cstdint>

namespace commonbase {

enum Result : int32_t {
  kOk = 0,
  kRefused = -1,      // no memory, nothing there, or an argument that cannot be
  kCannotOpen = -2,   // a file to copy from or to
  kNothingLeft = -3,  // no line to read
  kWriteFailed = -4,
};

}  // namespace commonbase
