// How the key-value stores keep an item: under its ID a record of kind, user data and bytes; under kind and
// user data the ID. In a store without tables of its own, a letter before the key tells the two apart.
//
//   record   kind (4), length of the user data in bytes (1), user data, bytes
//   item     'i', ID (4)
//   name     'n', kind (4), user data
//
// Numbers in keys are big-endian, so that keys sort by them. User data are the bytes of its UTF-16 units.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "bench/store.h"

namespace bench {

inline std::string_view BytesOf(std::u16string_view text) {
  return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

// A key on the stack.
class Key {
 public:
  Key(char table, uint32_t number, std::string_view rest = {}) : size_(1 + sizeof number + rest.size()) {
    if (size_ > sizeof bytes_) throw std::runtime_error("a key is too long");
    bytes_[0] = table;
    for (int i = 0; i < 4; ++i) bytes_[1 + i] = static_cast<char>(number >> (24 - 8 * i));
    std::memcpy(bytes_ + 1 + sizeof number, rest.data(), rest.size());
  }
  std::string_view view() const { return {bytes_, size_}; }

 private:
  char bytes_[64];
  size_t size_;
};

inline Key ItemKey(uint32_t id) {
  return {'i', id};
}

inline Key NameKey(uint32_t kind, std::string_view userData) {
  return {'n', kind, userData};
}

inline std::string_view EncodeId(const uint32_t& id) {
  return {reinterpret_cast<const char*>(&id), sizeof id};
}

inline uint32_t DecodeId(std::string_view bytes) {
  uint32_t id;
  std::memcpy(&id, bytes.data(), sizeof id);
  return id;
}

struct Record {
  uint32_t kind = 0;
  std::string_view userData;
  std::string_view bytes;
};

inline size_t RecordSize(const Record& record) {
  return sizeof record.kind + 1 + record.userData.size() + record.bytes.size();
}

inline void EncodeRecord(const Record& record, char* encoded) {
  std::memcpy(encoded, &record.kind, sizeof record.kind);
  encoded += sizeof record.kind;
  *encoded++ = static_cast<char>(record.userData.size());
  std::memcpy(encoded, record.userData.data(), record.userData.size());
  std::memcpy(encoded + record.userData.size(), record.bytes.data(), record.bytes.size());
}

inline Record DecodeRecord(std::string_view encoded) {
  Record record;
  std::memcpy(&record.kind, encoded.data(), sizeof record.kind);
  encoded.remove_prefix(sizeof record.kind);
  const size_t length = static_cast<uint8_t>(encoded[0]);
  record.userData = encoded.substr(1, length);
  record.bytes = encoded.substr(1 + length);
  return record;
}

}  // namespace bench
