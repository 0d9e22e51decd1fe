#include "catalogue/registry.h"

#include "catalogue/tableformat.h"
#include "commonbase/src/pmstring.h"
#include "platform/heap.h"
#include "platform/platform.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

using Registry = SlotArray<DataBaseHandle>;

enum Refusal : int32_t {
  kBadArgument = -1,  // no handle, no path
  kFailed = -2,       // the table could not be saved; nothing could be restored or opened
  kNotOpen = -3,
};

constexpr uint32_t kExpectedDataBases = 10;

bool InitDataBaseRegistry() {
  auto* registry = platform::Make<Registry>();
  if (registry == nullptr) return false;
  if (!registry->reserve(kExpectedDataBases)) {
    platform::Destroy(registry);
    return false;
  }
  totalController.registry = registry;
  return true;
}

void ReleaseDataBaseRegistry() {
  Registry* registry = totalController.registry;
  for (uint32_t slot = 0; slot < registry->usedEnd(); ++slot) {
    if ((*registry)[slot] != nullptr) ReleaseDataBaseHandle((*registry)[slot]);
  }
  platform::Destroy(registry);
  totalController.registry = nullptr;
}

// The slot of the first record that `matches`, or the registry's end.
template <typename Matches>
uint32_t FindSlot(Matches matches) {
  const Registry* registry = totalController.registry;
  if (registry == nullptr) return 0;
  for (uint32_t slot = 0; slot < registry->usedEnd(); ++slot) {
    const DataBaseHandle* handle = (*registry)[slot];
    if (handle != nullptr && matches(handle)) return slot;
  }
  return registry->usedEnd();
}

DataBaseHandle* At(uint32_t slot) {
  const Registry* registry = totalController.registry;
  return registry != nullptr && slot < registry->usedEnd() ? (*registry)[slot] : nullptr;
}

void RemoveDataBaseFromRegistry(DataBaseHandle* handle) {
  totalController.registry->remove(
      FindSlot([handle](const DataBaseHandle* other) { return other == handle; }));
  ReleaseDataBaseHandle(handle);
}

// Brings item 0 of a file that is to be closed up to its table, for the engine's close to write; a transaction
// that was not stopped takes its changes along. False when the engine does not hold the file.
bool FlushBeforeClose(DataBaseHandle* handle) {
  if (storage::SelectDataFile(handle->path) != storage::kOk) return false;
  if (storage::InTransaction()) return true;
  storage::OneChange one;
  const int32_t flushed = FlushIdTable(handle);
  // Items whose table cannot go with them go with the file, like those of a transaction.
  if (one.end(flushed == storage::kOk ? storage::SyncDirtyData() : flushed) != storage::kOk)
    storage::StartTransaction();
  return true;
}

void FlushAllTables() {
  for (uint32_t slot = 0; slot < totalController.registry->usedEnd(); ++slot) {
    if (DataBaseHandle* handle = At(slot); handle != nullptr) FlushBeforeClose(handle);
  }
}

// The engine's way of making a database's file current: open it, or restore it first.
using Opening = int32_t (*)(DataBaseHandle* handle);

int32_t OpenFile(DataBaseHandle* handle) {
  const uint32_t flags = 0;
  return storage::OpenDataFile(handle->path, &flags, PathBytes(handle));
}

int32_t RestoreFile(DataBaseHandle* handle) {
  return storage::RestoreDataFile(handle->path, [](const uint8_t* bytes, uint32_t size) {
    TableMeasure measure;
    return MeasureTable(bytes, size, &measure);
  });
}

// A path in the form in which the registry keeps it; empty, which no file has, when it cannot be kept.
struct KeptPath {
  explicit KeptPath(const PmChar* path) {
    if (!platform::ToOwnForm(path, text, storage::kMaxPath + 1)) text[0] = 0;
  }
  PmChar text[storage::kMaxPath + 1];
};

// Makes a database of a path that the registry does not hold. Null when that failed; the file that was
// current before is current again then, and nothing is left open.
DataBaseHandle* MakeDataBase(const PmChar* path, Opening open) {
  if (totalController.registry == nullptr || !totalController.registry->reserve(1)) return nullptr;
  DataBaseHandle* handle = NewDataBaseHandle(path);
  if (handle == nullptr) return nullptr;
  const PmChar* previous = storage::CurrentDataFilePath();
  if (open(handle) == storage::kOk) {
    if (LoadIdTable(handle)) {
      totalController.registry->add(handle);
      return handle;
    }
    storage::CloseCurrentFile();
  }
  if (previous != nullptr) storage::SelectDataFile(previous);
  ReleaseDataBaseHandle(handle);
  return nullptr;
}

}  // namespace

PmTotalDataController totalController = {};

bool IsValidDataBaseHandle(const DataBaseHandle* handle) {
  return handle != nullptr &&
         At(FindSlot([handle](const DataBaseHandle* other) { return other == handle; })) != nullptr;
}

DataBaseHandle* FindDataBaseByPath(const PmChar* path) {
  if (path == nullptr) return nullptr;
  return At(
      FindSlot([path](const DataBaseHandle* other) { return commonbase::SameString(other->path, path); }));
}

DataBaseHandle* CurrentDataBase() {
  return FindDataBaseByPath(storage::CurrentDataFilePath());
}

}  // namespace catalogue

using namespace catalogue;

extern "C" {

int32_t InitPmTotalDataController() {
  if (totalController.refCount == 0) {
    if (storage::InitPmDataController() < 0) return 0;
    if (!InitDataBaseRegistry()) {
      storage::ReleasePmDataController();
      return 0;
    }
  }
  ++totalController.refCount;
  return 1;
}

void ReleasePmTotalDataController() {
  if (totalController.refCount <= 0 || --totalController.refCount > 0) return;
  FlushAllTables();
  storage::ReleasePmDataController();
  ReleaseDataBaseRegistry();
}

DataBaseHandle* OpenDataBaseFile(const PmChar* path) {
  if (path == nullptr) return nullptr;
  const KeptPath kept(path);
  DataBaseHandle* handle = FindDataBaseByPath(kept.text);
  if (handle == nullptr) return MakeDataBase(kept.text, OpenFile);
  ++handle->openCount;
  return handle;
}

int32_t CloseDataBaseFile(DataBaseHandle* handle) {
  if (!IsValidDataBaseHandle(handle)) return kBadArgument;
  if (handle->openCount <= 0) return kNotOpen;
  if (--handle->openCount > 0) return 0;
  if (!FlushBeforeClose(handle)) return kFailed;
  storage::CloseDataFile(handle->path);
  RemoveDataBaseFromRegistry(handle);
  return 0;
}

int32_t PmRestoreBackupFile(const PmChar* path) {
  if (path == nullptr) return kBadArgument;
  const KeptPath kept(path);
  DataBaseHandle* handle = FindDataBaseByPath(kept.text);
  if (handle != nullptr) {
    ++handle->openCount;
  } else if (MakeDataBase(kept.text, RestoreFile) == nullptr) {
    return kFailed;
  }
  return 0;
}

}  // extern "C"
