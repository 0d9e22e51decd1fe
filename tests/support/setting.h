// Numbers that the environment gives a random test, to repeat or to lengthen it.
#pragma once

#include <cstdint>
#include <cstdlib>

inline uint32_t Setting(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}
