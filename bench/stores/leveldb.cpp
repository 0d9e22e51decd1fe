// LevelDB: a change, or a transaction, is one write batch, written with sync. Reads verify checksums.
#include <leveldb/db.h>
#include <leveldb/write_batch.h>

#include <stdexcept>

#include "bench/store.h"
#include "bench/stores/record.h"

namespace bench {

namespace {

void Check(const leveldb::Status& status) {
  if (!status.ok()) throw std::runtime_error("leveldb: " + status.ToString());
}

leveldb::Slice Bytes(std::string_view bytes) {
  return {bytes.data(), bytes.size()};
}

std::string_view View(const leveldb::Slice& slice) {
  return {slice.data(), slice.size()};
}

class LevelDb final : public Store {
 public:
  void open() override {
    leveldb::Options options;
    options.create_if_missing = true;
    leveldb::DB* db = nullptr;
    Check(leveldb::DB::Open(options, "vault", &db));
    db_.reset(db);
    read_.verify_checksums = true;
    write_.sync = true;
  }

  void close() override { db_.reset(); }

  void begin() override { inTransaction_ = true; }

  void commit() override {
    inTransaction_ = false;
    finish();
  }

  uint32_t insert(const Item& item) override {
    EncodeRecord({item.kind, item.userData, item.bytes}, &encoded_);
    batch_.Put(ItemKey(item.id), encoded_);
    batch_.Put(NameKey(item.kind, item.userData), EncodeId(item.id));
    finish();
    return item.id;
  }

  void replace(uint32_t id, std::string_view bytes) override {
    const Record record = get(id);
    EncodeRecord({record.kind, record.userData, bytes}, &encoded_);
    batch_.Put(ItemKey(id), encoded_);
    finish();
  }

  void remove(uint32_t id) override {
    const Record record = get(id);
    batch_.Delete(NameKey(record.kind, record.userData));
    batch_.Delete(ItemKey(id));
    finish();
  }

  std::string_view read(uint32_t id) override {
    const leveldb::Status status = db_->Get(read_, ItemKey(id), &value_);
    if (status.IsNotFound()) return {};
    Check(status);
    return DecodeRecord(value_).bytes;
  }

  uint32_t lookUp(uint32_t kind, std::string_view userData) override {
    return db_->Get(read_, NameKey(kind, userData), &value_).ok() ? DecodeId(value_) : 0;
  }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    const std::string prefix = NameKey(kind, {});
    const std::unique_ptr<leveldb::Iterator> position(db_->NewIterator(read_));
    for (position->Seek(Bytes(prefix)); position->Valid() && position->key().starts_with(prefix);
         position->Next()) {
      visit(DecodeId(View(position->value())));
    }
  }

 private:
  Record get(uint32_t id) {
    Check(db_->Get(read_, ItemKey(id), &value_));
    return DecodeRecord(value_);
  }

  void finish() {
    if (inTransaction_) return;
    Check(db_->Write(write_, &batch_));
    batch_.Clear();
  }

  std::unique_ptr<leveldb::DB> db_;
  leveldb::ReadOptions read_;
  leveldb::WriteOptions write_;
  leveldb::WriteBatch batch_;
  bool inTransaction_ = false;
  std::string encoded_, value_;
};

}  // namespace

std::unique_ptr<Store> NewLevelDb() {
  return std::make_unique<LevelDb>();
}

}  // namespace bench
