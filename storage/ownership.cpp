#include "storage/ownership.h"

#include "storage/blockwindow.h"

namespace storage {

namespace {

// Whether the blocks of a file are what they were when it was opened. The sum leaves out which of them are free.
bool BlocksAreTheSame(const FileInfo* file) {
  BlockWindow blocks(file->file);
  uint64_t sum = 0;
  for (uint32_t block = 0; block < file->blockNum; ++block) {
    const uint8_t* bytes = blocks.get(block);
    if (bytes == nullptr) return false;
    const bool wasFree = file->freeBlocks.contains(block) && !file->unmarkedBlocks.contains(block);
    if (wasFree != (bytes[kPacketTypeOffset] == kFreeBlock)) return false;
    sum += BlockPart(block, bytes);
  }
  return sum == file->blockSum;
}

}  // namespace

bool StampDataFile(FileInfo* file) {
  if (file->file.note(&file->dataStamp)) return true;
  file->backup.close();
  return false;
}

bool HoldsTheSame(FileInfo* file) {
  platform::FileIdentity now;
  if (file->file.isAs(file->dataStamp)) return true;
  // Who wrote need not have flushed; and what no checksum covers is not in the sum, but belongs into the backup.
  file->isFlushed = false;
  file->backup.close();
  return file->file.identify(&now) && now.size == file->dataStamp.size && BlocksAreTheSame(file);
}

Naming WhatPathNames(const FileInfo* file) {
  platform::FileIdentity named;
  if (!platform::IdentityOf(file->path, &named))
    return platform::IsMissing(file->path) ? Naming::kOther : Naming::kUnknown;
  return named.sameFile(file->dataStamp) ? Naming::kSame : Naming::kOther;
}

bool TakeOver(FileInfo* file) {
  if (file->overlay != nullptr || !file->file.lock()) return false;
  if (WhatPathNames(file) == Naming::kSame && platform::IsMissing(file->journal.path()) && HoldsTheSame(file))
    return true;
  file->file.unlock();
  return false;
}

}  // namespace storage
