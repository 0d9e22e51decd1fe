// The engine's result codes, as they leave through the exports.
#pragma once

#include <cstdint>

namespace storage {

enum Result : int32_t {
  kOk = 0,
  kNoItem = -1,      // no such item, no such open file, no current file, no memory, arguments out of range
  kCannotOpen = -2,  // a file cannot be opened or created
  kIncomplete = -3,  // a short read while scanning; an item whose blocks are incomplete or fail their check
  kWriteFailed = -4,
  kBadData = -6,  // not a valid data file, or a checksum mismatch
  kNoController = -11,
};

}  // namespace storage
