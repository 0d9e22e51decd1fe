// tkrzw: a tree database, made durable by a hard Synchronize after every change or transaction. Its file is
// written at positions, which makes that cheaper than the default, a mapped file. It has no
// transaction over several records: what a crash leaves of one that was under way is not what the other
// stores leave.
#include <tkrzw_dbm_tree.h>
#include <tkrzw_file_pos.h>

#include <stdexcept>

#include "bench/stores/keyvalue.h"
#include "bench/stores/record.h"

namespace bench {

namespace {

void Check(const tkrzw::Status& status) {
  if (status != tkrzw::Status::SUCCESS) throw std::runtime_error("tkrzw: " + tkrzw::ToString(status));
}

class Tkrzw final : public KeyValueStore {
 public:
  void open() override { Check(db_.Open("vault.tkt", true)); }
  void close() override { Check(db_.Close()); }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    const Key prefixKey = NameKey(kind, {});
    const std::string_view prefix = prefixKey.view();
    const auto position = db_.MakeIterator();
    Check(position->Jump(prefix));
    std::string key, value;
    while (position->Get(&key, &value).IsOK() && key.compare(0, prefix.size(), prefix) == 0) {
      visit(DecodeId(value));
      Check(position->Next());
    }
  }

 private:
  void put(std::string_view key, std::string_view value) override { Check(db_.Set(key, value)); }
  void erase(std::string_view key) override { Check(db_.Remove(key)); }

  bool get(std::string_view key, std::string* value) override {
    const tkrzw::Status status = db_.Get(key, value);
    if (status == tkrzw::Status::NOT_FOUND_ERROR) return false;
    Check(status);
    return true;
  }

  void flush() override { Check(db_.Synchronize(true)); }

  tkrzw::TreeDBM db_{std::make_unique<tkrzw::PositionalAtomicFile>()};
};

}  // namespace

std::unique_ptr<Store> NewTkrzw() {
  return std::make_unique<Tkrzw>();
}

}  // namespace bench
