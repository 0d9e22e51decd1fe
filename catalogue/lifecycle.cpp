// The exported functions that bring the catalogue up and take it down, and that open, restore and close databases.
//
// Invariants:
//  1. A record stands in the registry from when its file is open and its table loaded until the file is closed.
//  2. Before the engine closes a file its item 0 is brought up to the committed table.

#include "catalogue/registry.h"
#include "catalogue/storedtable.h"
#include "catalogue/tableformat.h"
#include "platform/platform.h"
#include "storage/storage.h"

namespace catalogue {

namespace {

enum Refusal : int32_t {
  kBadArgument = -1,  // no handle, no path
  kFailed = -2,       // the table could not be saved; nothing could be restored or opened
  kNotOpen = -3,
};

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
  totalController.registry->forEach(FlushBeforeClose);
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
