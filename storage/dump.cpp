#include "storage/dump.h"

#include <cstdlib>
#include <cstring>

#include "commonbase/src/file.h"
#include "storage/controller.h"

namespace storage {

namespace {

bool WantsHex() {
  const char* value = std::getenv("DB_DETAIL_HEX");
  return value != nullptr && std::strcmp(value, "Y") == 0;
}

void PrintFileInfo(const FileInfo* file, std::FILE* report) {
  const int32_t size = FSize(file->path);
  std::fprintf(report, "file information:\n\t size: %u( %uk )\n", static_cast<unsigned>(size),
               static_cast<unsigned>(size / 1024));
  std::fprintf(report, "\t item num: %u\n", static_cast<unsigned>(file->index.count()));
  std::fprintf(report, "\t block num: %u\n", static_cast<unsigned>(file->blockNum));
  std::fprintf(report, "\t free block num: %u\n", static_cast<unsigned>(file->freeBlocks.count()));
}

// Sixteen bytes a line, each line led by the position of its first byte.
void PrintHexData(std::FILE* report, const uint8_t* bytes, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    if (i % 16 != 0) {
      std::fprintf(report, "%02X ", bytes[i]);
      continue;
    }
    if (i != 0) std::fprintf(report, "\n");
    std::fprintf(report, "0x%04x %02X ", static_cast<unsigned>(i), bytes[i]);
  }
  std::fprintf(report, "\n");
}

void PrintItemInfo(const ItemInfo* item, std::FILE* report) {
  std::fprintf(report, "item: { ID = %u, size = %u, frag count = %u }\n", static_cast<unsigned>(item->id),
               static_cast<unsigned>(item->size), static_cast<unsigned>(item->fragments.count));
  for (const uint32_t offset : item->fragments) {
    std::fprintf(report, "\t\tfragment offset: %u(0x%x)\n", static_cast<unsigned>(offset),
                 static_cast<unsigned>(offset));
  }
  uint32_t idThenSize = item->id;
  const uint8_t* bytes = GetItemPtrByID(&idThenSize);
  if (bytes == nullptr) {
    std::fprintf(report, "item %u corrupted\n", static_cast<unsigned>(item->id));
  } else if (WantsHex()) {
    PrintHexData(report, bytes, static_cast<int32_t>(item->size));
  }
}

}  // namespace

void PrintReport(const PmChar* reportPath) {
  const FileInfo* file = CurrentFile();
  commonbase::GrowArray<ItemInfo*> items;
  if (file == nullptr || !file->index.sorted(&items)) return;
  std::FILE* report = FOpen(reportPath, "a+t");
  if (report == nullptr) return;
  PrintFileInfo(file, report);
  for (const ItemInfo* item : items) PrintItemInfo(item, report);
  FClose(report);
}

}  // namespace storage
