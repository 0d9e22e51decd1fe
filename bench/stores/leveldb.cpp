// LevelDB with its defaults: a change, or a transaction, is one write batch, written with sync. Reads verify
// checksums.
#include <leveldb/db.h>
#include <leveldb/write_batch.h>

#include <stdexcept>

#include "bench/stores/keyvalue.h"
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

class LevelDb final : public KeyValueStore {
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

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    const Key prefix = NameKey(kind, {});
    const std::unique_ptr<leveldb::Iterator> position(db_->NewIterator(read_));
    for (position->Seek(Bytes(prefix.view()));
         position->Valid() && position->key().starts_with(Bytes(prefix.view())); position->Next()) {
      visit(DecodeId(View(position->value())));
    }
  }

 private:
  void put(std::string_view key, std::string_view value) override { batch_.Put(Bytes(key), Bytes(value)); }
  void erase(std::string_view key) override { batch_.Delete(Bytes(key)); }

  bool get(std::string_view key, std::string* value) override {
    const leveldb::Status status = db_->Get(read_, Bytes(key), value);
    if (status.IsNotFound()) return false;
    Check(status);
    return true;
  }

  void flush() override {
    Check(db_->Write(write_, &batch_));
    batch_.Clear();
  }

  std::unique_ptr<leveldb::DB> db_;
  leveldb::ReadOptions read_;
  leveldb::WriteOptions write_;
  leveldb::WriteBatch batch_;
};

}  // namespace

std::unique_ptr<Store> NewLevelDb() {
  return std::make_unique<LevelDb>();
}

}  // namespace bench
