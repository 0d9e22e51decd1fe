#include "storage/controller.h"

#include <cstring>

#include "commonbase/src/pmstring.h"
#include "platform/heap.h"
#include "storage/itemmemory.h"
#include "storage/overlay.h"
#include "storage/result.h"
#include "storage/storage.h"

namespace storage {

namespace {

constexpr int32_t kExpectedFiles = 2;

alignas(kBufferAlignment) uint8_t blockBuffer[kBufferBlocks * kBlockSize];

}  // namespace

PmDataController* controller = nullptr;

int32_t InitPmDataController() {
  auto* made = platform::Make<PmDataController>();
  if (made == nullptr) return kNoController;
  made->openFiles = CreateEmptysList(kExpectedFiles);
  made->blockBuffer = blockBuffer;
  if (made->openFiles == nullptr) {
    platform::Destroy(made);
    return kNoItem;
  }
  controller = made;
  return kOk;
}

int32_t ReleasePmDataController() {
  if (controller == nullptr) return kOk;
  while (SListNode* first = FirstListNode(controller->openFiles->header)) {
    CloseDataFile(static_cast<FileInfo*>(first->element)->path);
  }
  FreesList(controller->openFiles);
  platform::Wipe(blockBuffer, sizeof blockBuffer);
  platform::Destroy(controller);
  controller = nullptr;
  return kOk;
}

int32_t SelectDataFile(const PmChar* path) {
  if (controller == nullptr) return kNoItem;
  SListNode* node = FirstListNode(controller->openFiles->header);
  while (node != nullptr && !commonbase::SameString(static_cast<FileInfo*>(node->element)->path, path))
    node = node->next;
  controller->currentFile = node;
  return node != nullptr ? kOk : kNoItem;
}

FileInfo* CurrentFile() {
  if (controller == nullptr || controller->currentFile == nullptr) return nullptr;
  return static_cast<FileInfo*>(controller->currentFile->element);
}

const PmChar* CurrentDataFilePath() {
  const FileInfo* file = CurrentFile();
  return file != nullptr ? file->path : nullptr;
}

FileInfo* NewFileInfo(const PmChar* path, uint32_t pathBytes) {
  auto* file = platform::Make<FileInfo>();
  if (file == nullptr) return nullptr;
  std::memcpy(file->path, path, pathBytes);
  return file;
}

void ReleaseFileInfo(FileInfo* file) {
  file->index.clear([file](ItemInfo* item) { ReleaseItem(file, item); });
  ExpectItemBytes(0);
  platform::Destroy(file->overlay);
  platform::Destroy(file);
}

void CloseCurrentFile() {
  FileInfo* file = CurrentFile();
  if (file == nullptr) return;
  DeletesListNode(controller->currentFile, controller->openFiles);
  controller->currentFile = nullptr;
  ReleaseFileInfo(file);
}

ItemInfo* FindItemInIndex(uint32_t id) {
  const FileInfo* file = CurrentFile();
  return file != nullptr ? file->index.find(id) : nullptr;
}

}  // namespace storage
