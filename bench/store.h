// What the benchmark asks of every store that it compares.
//
// All stores do the same work at the same level: an item has an ID, a kind, a user-data string that is unique
// within its kind, and bytes; a change outside a transaction is on the medium when the call returns, and a
// transaction is on the medium when commit() returns. Reads and look-ups come in batches, so that a store can
// serve a batch from one read transaction. A store that fails throws.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace bench {

struct Item {
  uint32_t id;
  uint32_t kind;
  std::u16string_view userData;  // as a desktop program has its strings; a terminator stands behind it
  std::string_view bytes;
};

class Store {
 public:
  virtual ~Store() = default;

  // Opens the store in the current folder, making it when it is missing.
  virtual void open() = 0;
  virtual void close() = 0;

  // Transactions hold inserts and removals.
  virtual void begin() = 0;
  virtual void commit() = 0;

  // The ID that the item has from now on: its own, which is above all the ones before, or one that the store
  // draws.
  virtual uint32_t insert(const Item& item) = 0;
  virtual void replace(uint32_t id, std::string_view bytes) = 0;
  virtual void remove(uint32_t id) = 0;

  // A batch of reads: no change comes in between.
  virtual void beginReading() {}
  virtual void endReading() {}

  // The item's bytes, valid until the next call; null data when there is no such item.
  virtual std::string_view read(uint32_t id) = 0;
  // The ID that carries kind and user data, or 0.
  virtual uint32_t lookUp(uint32_t kind, std::u16string_view userData) = 0;
  virtual void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) = 0;
};

std::unique_ptr<Store> NewPmstore();
std::unique_ptr<Store> NewSqlite(bool writeAheadLog);
std::unique_ptr<Store> NewLmdb(bool writeMap);
std::unique_ptr<Store> NewLevelDb();
std::unique_ptr<Store> NewTkrzw();

}  // namespace bench
