// The hash that makes a new item ID of random bytes.
#pragma once

#include <cstdint>

namespace catalogue {

// The hash of bytes that come one by one.
class IdHash {
 public:
  void add(uint8_t byte) {
    const uint32_t term = (byte * ++place_) & 0xFF;
    mixed_ = (mixed_ ^ term) + mixed_;
    sum_ += term;
  }
  uint32_t value() const { return mixed_ << 16 | sum_; }

 private:
  uint32_t place_ = 0;
  uint32_t mixed_ = 0;
  uint32_t sum_ = 0;
};

// The hash of a buffer; 0 for a null pointer or a length of 0 or below.
inline uint32_t GetIdHashValue(const uint8_t* bytes, int32_t length) {
  if (bytes == nullptr || length <= 0) return 0;
  IdHash hash;
  for (int32_t i = 0; i < length; ++i) hash.add(bytes[i]);
  return hash.value();
}

}  // namespace catalogue
