// What the stores of plain keys and values have in common: items and names stand side by side, as record.h says.
#pragma once

#include <string>
#include <string_view>

#include "bench/store.h"
#include "bench/stores/record.h"

namespace bench {

class KeyValueStore : public Store {
 public:
  void begin() final { inTransaction_ = true; }
  void commit() final;
  uint32_t insert(const Item& item) final;
  void replace(uint32_t id, std::string_view bytes) final;
  void remove(uint32_t id) final;
  std::string_view read(uint32_t id) final;
  uint32_t lookUp(uint32_t kind, std::u16string_view userData) final;

 protected:
  virtual void put(std::string_view key, std::string_view value) = 0;
  virtual void erase(std::string_view key) = 0;
  // False when there is no such key.
  virtual bool get(std::string_view key, std::string* value) = 0;
  // Carries what changed to the medium.
  virtual void flush() = 0;

 private:
  void putRecord(const Key& key, const Record& record);
  void finish();

  bool inTransaction_ = false;
  std::string encoded_, value_;
};

}  // namespace bench
