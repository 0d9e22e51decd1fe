#include "bench/stores/keyvalue.h"

#include <stdexcept>

#include "bench/stores/record.h"

namespace bench {

void KeyValueStore::commit() {
  inTransaction_ = false;
  flush();
}

uint32_t KeyValueStore::insert(const Item& item) {
  EncodeRecord({item.kind, item.userData, item.bytes}, &encoded_);
  put(ItemKey(item.id), encoded_);
  put(NameKey(item.kind, item.userData), EncodeId(item.id));
  finish();
  return item.id;
}

void KeyValueStore::replace(uint32_t id, std::string_view bytes) {
  const std::string key = ItemKey(id);
  if (!get(key, &value_)) throw std::runtime_error("no item to replace");
  const Record record = DecodeRecord(value_);
  EncodeRecord({record.kind, record.userData, bytes}, &encoded_);
  put(key, encoded_);
  finish();
}

void KeyValueStore::remove(uint32_t id) {
  const std::string key = ItemKey(id);
  if (!get(key, &value_)) throw std::runtime_error("no item to remove");
  const Record record = DecodeRecord(value_);
  erase(NameKey(record.kind, record.userData));
  erase(key);
  finish();
}

std::string_view KeyValueStore::read(uint32_t id) {
  return get(ItemKey(id), &value_) ? DecodeRecord(value_).bytes : std::string_view();
}

uint32_t KeyValueStore::lookUp(uint32_t kind, std::string_view userData) {
  return get(NameKey(kind, userData), &value_) ? DecodeId(value_) : 0;
}

void KeyValueStore::finish() {
  if (!inTransaction_) flush();
}

}  // namespace bench
