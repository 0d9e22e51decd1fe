// LMDB, every commit flushed, with its default flags or through a writable map, which is faster for some work
// and slower for some. Items and names are two databases of one file; IDs ascend, so items are appended, and
// records are encoded in the store's own pages. A batch of reads is one read transaction.
#include <lmdb.h>

#include <stdexcept>

#include "bench/store.h"
#include "bench/stores/record.h"

namespace bench {

namespace {

constexpr size_t kMapSize = size_t{8} << 30;

void Check(int result) {
  if (result != 0) throw std::runtime_error(std::string("lmdb: ") + mdb_strerror(result));
}

MDB_val Value(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

std::string_view View(const MDB_val& value) {
  return {static_cast<const char*>(value.mv_data), value.mv_size};
}

class Lmdb final : public Store {
 public:
  explicit Lmdb(bool writeMap) : writeMap_(writeMap) {}

  void open() override {
    Check(mdb_env_create(&env_));
    Check(mdb_env_set_mapsize(env_, kMapSize));
    Check(mdb_env_set_maxdbs(env_, 2));
    Check(mdb_env_open(env_, "vault", MDB_NOSUBDIR | (writeMap_ ? MDB_WRITEMAP : 0), 0600));
    begin();
    Check(mdb_dbi_open(write_, "items", MDB_CREATE | MDB_INTEGERKEY, &items_));
    Check(mdb_dbi_open(write_, "names", MDB_CREATE, &names_));
    commit();
  }

  void close() override {
    mdb_txn_abort(read_);
    read_ = nullptr;
    mdb_env_close(env_);
  }

  void begin() override { Check(mdb_txn_begin(env_, nullptr, 0, &write_)); }

  void commit() override {
    Check(mdb_txn_commit(write_));
    write_ = nullptr;
  }

  // One read transaction a batch; the record of it is kept and used again.
  void beginReading() override {
    if (read_ == nullptr) {
      Check(mdb_txn_begin(env_, nullptr, MDB_RDONLY, &read_));
    } else {
      Check(mdb_txn_renew(read_));
    }
  }

  void endReading() override { mdb_txn_reset(read_); }

  uint32_t insert(const Item& item) override {
    const bool single = write_ == nullptr;
    if (single) begin();
    const std::string_view userData = BytesOf(item.userData);
    put(item.id, {item.kind, userData, item.bytes}, MDB_APPEND);
    const Key name = NameKey(item.kind, userData);
    MDB_val key = Value(name.view()), value = Value(EncodeId(item.id));
    Check(mdb_put(write_, names_, &key, &value, MDB_NOOVERWRITE));
    if (single) commit();
    return item.id;
  }

  void replace(uint32_t id, std::string_view bytes) override {
    begin();
    Record record;
    if (!get(write_, id, &record)) throw std::runtime_error("lmdb: no such item");
    const std::string userData(record.userData);  // the record moves
    put(id, {record.kind, userData, bytes}, 0);
    commit();
  }

  void remove(uint32_t id) override {
    Record record;
    if (!get(write_, id, &record)) throw std::runtime_error("lmdb: no such item");
    const Key name = NameKey(record.kind, record.userData);
    MDB_val nameKey = Value(name.view()), idKey{sizeof id, &id};
    Check(mdb_del(write_, names_, &nameKey, nullptr));
    Check(mdb_del(write_, items_, &idKey, nullptr));
  }

  std::string_view read(uint32_t id) override {
    Record record;
    return get(read_, id, &record) ? record.bytes : std::string_view();
  }

  uint32_t lookUp(uint32_t kind, std::u16string_view userData) override {
    const Key name = NameKey(kind, BytesOf(userData));
    MDB_val key = Value(name.view()), value;
    return mdb_get(read_, names_, &key, &value) == 0 ? DecodeId(View(value)) : 0;
  }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    const Key prefixKey = NameKey(kind, {});
    const std::string_view prefix = prefixKey.view();
    MDB_cursor* cursor = nullptr;
    Check(mdb_cursor_open(read_, names_, &cursor));
    MDB_val key = Value(prefix), value;
    for (int result = mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
         result == 0 && View(key).substr(0, prefix.size()) == prefix;
         result = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) {
      visit(DecodeId(View(value)));
    }
    mdb_cursor_close(cursor);
  }

 private:
  // LMDB makes the room, and the record is encoded there.
  void put(uint32_t id, const Record& record, unsigned flags) {
    MDB_val key{sizeof id, &id}, value{RecordSize(record), nullptr};
    Check(mdb_put(write_, items_, &key, &value, flags | MDB_RESERVE));
    EncodeRecord(record, static_cast<char*>(value.mv_data));
  }

  bool get(MDB_txn* transaction, uint32_t id, Record* record) {
    MDB_val key{sizeof id, &id}, value;
    if (mdb_get(transaction, items_, &key, &value) != 0) return false;
    *record = DecodeRecord(View(value));
    return true;
  }

  const bool writeMap_;
  MDB_env* env_ = nullptr;
  MDB_txn *read_ = nullptr, *write_ = nullptr;
  MDB_dbi items_ = 0, names_ = 0;
};

}  // namespace

std::unique_ptr<Store> NewLmdb(bool writeMap) {
  return std::make_unique<Lmdb>(writeMap);
}

}  // namespace bench
