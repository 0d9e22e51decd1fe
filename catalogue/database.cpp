#include "catalogue/database.h"

#include <algorithm>

#include "commonbase/src/pmstring.h"
#include "platform/heap.h"
#include "storage/storage.h"

namespace catalogue {

DataBaseHandle* NewDataBaseHandle(const PmChar* path) {
  const PmChar* const end = std::find(path, path + storage::kMaxPath, PmChar{0});
  if (*end != 0) return nullptr;
  auto* handle = platform::Make<DataBaseHandle>();
  if (handle == nullptr) return nullptr;
  std::copy(path, end, handle->path);
  handle->openCount = 1;
  return handle;
}

void ReleaseDataBaseHandle(DataBaseHandle* handle) {
  platform::Destroy(handle);
}

uint32_t PathBytes(const DataBaseHandle* handle) {
  return static_cast<uint32_t>(commonbase::LengthOf(handle->path) * sizeof(PmChar));
}

}  // namespace catalogue
