// Zero-terminated PmChar strings, compared code unit by code unit.
#pragma once

#include <cstdint>

#include "platform/pmtypes.h"

namespace commonbase {

inline uint32_t LengthOf(const PmChar* text) {
  uint32_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

inline bool SameString(const PmChar* a, const PmChar* b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

}  // namespace commonbase
