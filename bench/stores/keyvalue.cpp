#include "bench/stores/keyvalue.h"

#include <stdexcept>

namespace bench {

void KeyValueStore::commit() {
  inTransaction_ = false;
  flush();
}

uint32_t KeyValueStore::insert(const Item& item) {
  const std::string_view userData = BytesOf(item.userData);
  putRecord(ItemKey(item.id), {item.kind, userData, item.bytes});
  put(NameKey(item.kind, userData).view(), EncodeId(item.id));
  finish();
  return item.id;
}

void KeyValueStore::replace(uint32_t id, std::string_view bytes) {
  const Key key = ItemKey(id);
  if (!get(key.view(), &value_)) throw std::runtime_error("no item to replace");
  const Record record = DecodeRecord(value_);
  putRecord(key, {record.kind, record.userData, bytes});
  finish();
}

void KeyValueStore::remove(uint32_t id) {
  const Key key = ItemKey(id);
  if (!get(key.view(), &value_)) throw std::runtime_error("no item to remove");
  const Record record = DecodeRecord(value_);
  erase(NameKey(record.kind, record.userData).view());
  erase(key.view());
  finish();
}

std::string_view KeyValueStore::read(uint32_t id) {
  return get(ItemKey(id).view(), &value_) ? DecodeRecord(value_).bytes : std::string_view();
}

uint32_t KeyValueStore::lookUp(uint32_t kind, std::u16string_view userData) {
  return get(NameKey(kind, BytesOf(userData)).view(), &value_) ? DecodeId(value_) : 0;
}

void KeyValueStore::putRecord(const Key& key, const Record& record) {
  encoded_.resize(RecordSize(record));
  EncodeRecord(record, encoded_.data());
  put(key.view(), encoded_);
}

void KeyValueStore::finish() {
  if (!inTransaction_) flush();
}

}  // namespace bench
