// How the key-value stores keep an item: under its ID a record of kind, user data and bytes; under kind and
// user data the ID. In a store without tables of its own, a letter before the key tells the two apart.
//
//   record   kind (4), length of the user data (1), user data, bytes
//   item     'i', ID (4)
//   name     'n', kind (4), user data
//
// Numbers in keys are big-endian, so that keys sort by them.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "bench/store.h"

namespace bench {

inline void AppendNumber(std::string* key, uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) key->push_back(static_cast<char>(number >> shift));
}

inline std::string ItemKey(uint32_t id) {
  std::string key = "i";
  AppendNumber(&key, id);
  return key;
}

inline std::string NameKey(uint32_t kind, std::string_view userData) {
  std::string key = "n";
  AppendNumber(&key, kind);
  return key.append(userData);
}

inline std::string EncodeId(uint32_t id) {
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

inline void EncodeRecord(const Record& record, std::string* encoded) {
  encoded->assign(reinterpret_cast<const char*>(&record.kind), sizeof record.kind);
  encoded->push_back(static_cast<char>(record.userData.size()));
  encoded->append(record.userData).append(record.bytes);
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
