#include "catalogue/registry.h"

#include "commonbase/src/pmstring.h"
#include "platform/heap.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

constexpr uint32_t kExpectedDataBases = 10;

// The slot of the first record that `matches`, or the registry's end.
template <typename Matches>
uint32_t FindSlot(Matches matches) {
  const DataBaseRegistry* registry = totalController.registry;
  if (registry == nullptr) return 0;
  for (uint32_t slot = 0; slot < registry->usedEnd(); ++slot) {
    const DataBaseHandle* handle = (*registry)[slot];
    if (handle != nullptr && matches(handle)) return slot;
  }
  return registry->usedEnd();
}

DataBaseHandle* RecordIn(uint32_t slot) {
  const DataBaseRegistry* registry = totalController.registry;
  return registry != nullptr && slot < registry->usedEnd() ? (*registry)[slot] : nullptr;
}

uint32_t SlotOf(const DataBaseHandle* handle) {
  return FindSlot([handle](const DataBaseHandle* other) { return other == handle; });
}

}  // namespace

PmTotalDataController totalController = {};

bool InitDataBaseRegistry() {
  auto* registry = platform::Make<DataBaseRegistry>();
  if (registry == nullptr) return false;
  if (!registry->reserve(kExpectedDataBases)) {
    platform::Destroy(registry);
    return false;
  }
  totalController.registry = registry;
  return true;
}

void ReleaseDataBaseRegistry() {
  totalController.registry->forEach(ReleaseDataBaseHandle);
  platform::Destroy(totalController.registry);
  totalController.registry = nullptr;
}

void RemoveDataBaseFromRegistry(DataBaseHandle* handle) {
  totalController.registry->remove(SlotOf(handle));
  ReleaseDataBaseHandle(handle);
}

bool IsValidDataBaseHandle(const DataBaseHandle* handle) {
  return handle != nullptr && RecordIn(SlotOf(handle)) != nullptr;
}

DataBaseHandle* FindDataBaseByPath(const PmChar* path) {
  if (path == nullptr) return nullptr;
  return RecordIn(
      FindSlot([path](const DataBaseHandle* other) { return commonbase::SameString(other->path, path); }));
}

DataBaseHandle* CurrentDataBase() {
  return FindDataBaseByPath(storage::CurrentDataFilePath());
}

}  // namespace catalogue
