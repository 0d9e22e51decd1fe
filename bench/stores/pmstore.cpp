// pmstore by its exports. The insert of a new item and a delete sync by themselves, since the table of IDs changes with
// them; a replacement is told to.
#include "pmstore.h"

#include <stdexcept>

#include "bench/store.h"

namespace bench {

namespace {

void Check(int32_t result) {
  if (result != 0) throw std::runtime_error("pmstore: result " + std::to_string(result));
}

class Pmstore final : public Store {
 public:
  void open() override {
    if (InitPmTotalDataController() != 1) throw std::runtime_error("pmstore: does not come up");
    handle_ = OpenDataBaseFile(u"vault");
    if (handle_ == nullptr) throw std::runtime_error("pmstore: does not open");
  }

  void close() override {
    Check(CloseDataBaseFile(handle_));
    ReleasePmTotalDataController();
  }

  void begin() override { Check(PmStartTransaction()); }
  void commit() override { Check(PmStopTransaction()); }

  uint32_t insert(const Item& item) override {
    const uint32_t id = CreateNewItemID(handle_, item.kind, item.userData.data());
    if (id == 0) throw std::runtime_error("pmstore: no ID");
    Check(InserItemToDataBase(handle_, id, item.bytes.data(), static_cast<uint32_t>(item.bytes.size()), 0));
    return id;
  }

  void replace(uint32_t id, std::string_view bytes) override {
    Check(PmModifyItem(handle_, id, bytes.data(), -1, static_cast<uint32_t>(bytes.size()), 1));
  }

  void remove(uint32_t id) override { Check(DeleteItemFromDataBase(handle_, id, 0)); }

  std::string_view read(uint32_t id) override {
    uint32_t idThenSize = id;
    const void* bytes = PmGetItemPtrByID(handle_, &idThenSize);
    return bytes != nullptr ? std::string_view(static_cast<const char*>(bytes), idThenSize)
                            : std::string_view();
  }

  uint32_t lookUp(uint32_t kind, std::u16string_view userData) override {
    return GetItemIDByUserdata(handle_, kind, userData.data());
  }

  void enumerate(uint32_t kind, const std::function<void(uint32_t)>& visit) override {
    for (uint32_t id = FirstGetItemID(handle_, kind); id != 0; id = NextGetItemID(handle_, kind)) visit(id);
  }

 private:
  DataBaseHandle* handle_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> NewPmstore() {
  return std::make_unique<Pmstore>();
}

}  // namespace bench
