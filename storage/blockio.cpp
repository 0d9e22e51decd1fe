#include "storage/blockio.h"

namespace storage {

namespace {

uint64_t OffsetOf(uint32_t block) {
  return uint64_t{block} * kBlockSize;
}

}  // namespace

bool ReadBlocks(const FileInfo* file, uint32_t block, uint8_t* bytes, uint32_t count) {
  const size_t size = size_t{count} * kBlockSize;
  return file->file.readAt(OffsetOf(block), bytes, size) == size;
}

uint32_t WriteBlocks(FileInfo* file, uint32_t block, const uint8_t* bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) file->staleBlocks.insert(block + i);
  const size_t written = file->file.writeAt(OffsetOf(block), bytes, size_t{count} * kBlockSize);
  return static_cast<uint32_t>(written / kBlockSize);
}

bool WriteFreeMark(FileInfo* file, uint32_t block) {
  const uint8_t mark = kFreeBlock;
  file->staleBlocks.insert(block);
  return file->file.writeAt(OffsetOf(block) + kPacketTypeOffset, &mark, sizeof mark) == sizeof mark;
}

bool ReadHeader(const FileInfo* file, uint32_t block, PacketHeader* header) {
  uint8_t bytes[kHeaderSize];
  if (file->file.readAt(OffsetOf(block), bytes, sizeof bytes) != sizeof bytes) return false;
  *header = DecodeHeader(bytes);
  return true;
}

bool CutBlocks(FileInfo* file, uint32_t blockNum) {
  return file->file.setSize(OffsetOf(blockNum));
}

}  // namespace storage
