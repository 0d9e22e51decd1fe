// How a new item ID is drawn.
#pragma once

#include <cstdint>

namespace catalogue {

// The 32-bit hash of a seed buffer; 0 for a null pointer or a length of 0 or below.
uint32_t GetIdHashValue(const uint8_t* bytes, int32_t length);

}  // namespace catalogue
