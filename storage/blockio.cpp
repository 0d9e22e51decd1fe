#include "storage/blockio.h"

#include <algorithm>
#include <cstring>

#include "storage/overlay.h"
#include "storage/pack.h"
#include "storage/scratch.h"

namespace storage {

namespace {

uint64_t OffsetOf(uint32_t block) {
  return uint64_t{block} * kBlockSize;
}

}  // namespace

bool ReadBlocks(const FileInfo* file, uint32_t block, uint8_t* bytes, uint32_t count) {
  if (file->overlay != nullptr) return file->overlay->read(file->file, block, bytes, count);
  const size_t size = size_t{count} * kBlockSize;
  return file->file.readAt(OffsetOf(block), bytes, size) == size;
}

bool WriteBlocks(FileInfo* file, uint32_t block, const uint8_t* bytes, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) file->staleBlocks.insert(block + i);
  const size_t size = size_t{count} * kBlockSize;
  file->isFlushed = false;
  return file->file.writeAt(OffsetOf(block), bytes, size) == size;
}

bool WriteFreeMarks(FileInfo* file, uint32_t block, uint32_t count, BlockWindow* window) {
  uint8_t* bytes = controller->blockBuffer;
  for (uint32_t done = 0, num; done < count; done += num) {
    num = std::min(kBufferBlocks, count - done);
    for (uint32_t i = 0; i < num; ++i) {
      const uint8_t* found = window->get(block + done + i);
      if (found == nullptr) return false;
      std::memcpy(bytes + size_t{i} * kBlockSize, found, kBlockSize);
      MarkFree(bytes + size_t{i} * kBlockSize);
    }
    if (!WriteBlocks(file, block + done, bytes, num)) return false;
  }
  return true;
}

bool CopyBytes(const platform::File& from, platform::File* to, uint64_t position, uint64_t size,
               const LargeBuffer& buffer) {
  while (size != 0) {
    const auto piece = static_cast<size_t>(std::min(size, buffer.blocks() * uint64_t{kBlockSize}));
    if (from.readAt(position, buffer.bytes(), piece) != piece) return false;
    if (to->writeAt(position, buffer.bytes(), piece) != piece) return false;
    position += piece;
    size -= piece;
  }
  return true;
}

bool ReadHeader(const FileInfo* file, uint32_t block, PacketHeader* header) {
  Scratch<> scratch;
  if (!ReadBlocks(file, block, scratch.bytes, 1)) return false;
  *header = DecodeHeader(scratch.bytes);
  return true;
}

bool CutBlocks(FileInfo* file, uint32_t blockNum) {
  file->roomEnd = 0;  // the room behind the end goes, too
  file->isFlushed = false;
  return file->file.setSize(OffsetOf(blockNum));
}

bool FlushDataFile(FileInfo* file) {
  if (file->isFlushed) return true;
  file->isFlushed = file->file.sync();
  if (!file->isFlushed) file->journal.poison();
  return file->isFlushed;
}

bool SumBlocks(const platform::File& file, uint32_t blockNum, uint64_t* sum) {
  *sum = 0;
  uint8_t* bytes = controller->blockBuffer;
  for (uint32_t first = 0, count; first < blockNum; first += count) {
    count = std::min(kBufferBlocks, blockNum - first);
    const size_t size = size_t{count} * kBlockSize;
    if (file.readAt(OffsetOf(first), bytes, size) != size) return false;
    for (uint32_t i = 0; i < count; ++i) *sum += BlockPart(first + i, bytes + size_t{i} * kBlockSize);
  }
  return true;
}

}  // namespace storage
