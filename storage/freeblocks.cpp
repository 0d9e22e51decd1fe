#include "storage/freeblocks.h"

namespace storage {

bool ReserveBlocks(FileInfo* file, uint32_t blockNum) {
  return file->freeBlocks.reserve(blockNum) && file->unmarkedBlocks.reserve(blockNum) &&
         file->unlistedBlocks.reserve(blockNum) && file->staleBlocks.reserve(blockNum);
}

void InsertFreeBlock(FileInfo* file, uint32_t block) {
  file->freeBlocks.insert(block);
  file->unmarkedBlocks.insert(block);
  file->unlistedBlocks.insert(block);
}

void InsertMarkedBlock(FileInfo* file, uint32_t block) {
  file->freeBlocks.insert(block);
}

uint32_t AllocateBlock(FileInfo* file) {
  if (file->freeBlocks.empty()) return file->blockNum++;
  const uint32_t block = file->freeBlocks.lowest();
  file->freeBlocks.erase(block);
  file->unmarkedBlocks.erase(block);
  file->unlistedBlocks.erase(block);
  return block;
}

bool IsFreeBlock(const FileInfo* file, uint32_t offset) {
  return file->freeBlocks.contains(offset / kBlockSize);
}

void ForgetUnlisted(FileInfo* file) {
  auto& unlisted = file->unlistedBlocks;
  while (!unlisted.empty()) unlisted.erase(unlisted.lowest());
}

}  // namespace storage
