// tkrzw: a tree database, made durable by a hard Synchronize after every change or transaction. It has no
// transaction over several records: what a crash leaves of one that was under way is not what the other
// stores leave.
#include <tkrzw_dbm_tree.h>

#include <stdexcept>

#include "bench/store.h"
#include "bench/stores/record.h"

namespace bench {

namespace {

void Check(const tkrzw::Status& status) {
  if (status != tkrzw::Status::SUCCESS) throw std::runtime_error("tkrzw: " + tkrzw::ToString(status));
}

class Tkrzw final : public Store {
 public:
  void open() override { Check(db_.Open("vault.tkt", true)); }
  void close() override { Check(db_.Close()); }

  void begin() override { inTransaction_ = true; }

  void commit() override {
    inTransaction_ = false;
    finish();
  }

  uint32_t insert(const Item& item) override {
    EncodeRecord({item.kind, item.userData, item.bytes}, &encoded_);
    Check(db_.Set(ItemKey(item.id), encoded_, false));
    Check(db_.Set(NameKey(item.kind, item.userData), EncodeId(item.id), false));
    finish();
    return item.id;
  }

  void replace(uint32_t id, std::string_view bytes) override {
    const Record record = get(id);
    EncodeRecord({record.kind, record.userData, bytes}, &encoded_);
    Check(db_.Set(ItemKey(id), encoded_));
    finish();
  }

  void remove(uint32_t id) override {
    const Record record = get(id);
    Check(db_.Remove(NameKey(record.kind, record.userData)));
    Check(db_.Remove(ItemKey(id)));
    finish();
  }

  std::string_view read(uint32_t id) override {
    const tkrzw::Status status = db_.Get(ItemKey(id), &value_);
    if (status == tkrzw::Status::NOT_FOUND_ERROR) return {};
    Check(status);
    return DecodeRecord(value_).bytes;
  }

  uint32_t lookUp(uint32_t kind, std::string_view userData) override {
    return db_.Get(NameKey(kind, userData), &value_).IsOK() ? DecodeId(value_) : 0;
  }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    const std::string prefix = NameKey(kind, {});
    const auto position = db_.MakeIterator();
    Check(position->Jump(prefix));
    std::string key;
    while (position->Get(&key, &value_).IsOK() && key.compare(0, prefix.size(), prefix) == 0) {
      visit(DecodeId(value_));
      Check(position->Next());
    }
  }

 private:
  Record get(uint32_t id) {
    Check(db_.Get(ItemKey(id), &value_));
    return DecodeRecord(value_);
  }

  void finish() {
    if (!inTransaction_) Check(db_.Synchronize(true));
  }

  tkrzw::TreeDBM db_;
  bool inTransaction_ = false;
  std::string encoded_, value_;
};

}  // namespace

std::unique_ptr<Store> NewTkrzw() {
  return std::make_unique<Tkrzw>();
}

}  // namespace bench
