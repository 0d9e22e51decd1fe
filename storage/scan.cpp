#include "storage/scan.h"

#include <algorithm>

#include "storage/blockio.h"
#include "storage/largebuffer.h"
#include "storage/overlay.h"
#include "storage/result.h"

namespace storage {

namespace {

// Reports blocks that were read, a few at a time, and adds their parts to the sum.
int32_t ScanRead(const uint8_t* bytes, uint32_t first, uint32_t count, uint64_t* sum, BlockVisitor visit,
                 void* context) {
  PacketHeader headers[kBufferBlocks];
  for (uint32_t done = 0; done < count; done += kBufferBlocks) {
    const uint32_t num = std::min(kBufferBlocks, count - done);
    for (uint32_t i = 0; i < num; ++i) {
      const uint8_t* block = bytes + size_t{done + i} * kBlockSize;
      headers[i] = DecodeHeader(block);
      if (!IsBlock(block, headers[i])) return kBadData;
      *sum += BlockPart(first + done + i, block);
    }
    if (!visit(context, first + done, headers, num)) return kCannotOpen;
  }
  return kOk;
}

}  // namespace

int32_t ScanBlocks(FileInfo* file, BlockVisitor visit, void* context) {
  platform::FileIdentity found;
  if (!file->file.identify(&found)) return kBadData;
  // Another program may be about to cut or lengthen the file.
  if (file->overlay != nullptr) found.size = uint64_t{file->overlay->blockNum()} * kBlockSize;
  if (found.size % kBlockSize != 0 || found.size > kMaxFileSize) return kBadData;
  const auto blockNum = static_cast<uint32_t>(found.size / kBlockSize);

  const LargeBuffer buffer(blockNum);
  file->blockSum = 0;
  for (uint32_t first = 0; first < blockNum; first += buffer.blocks()) {
    const uint32_t count = std::min(buffer.blocks(), blockNum - first);
    if (!ReadBlocks(file, first, buffer.bytes(), count)) return kIncomplete;
    if (const int32_t result = ScanRead(buffer.bytes(), first, count, &file->blockSum, visit, context);
        result != kOk)
      return result;
  }
  return kOk;
}

}  // namespace storage
