#include "storage/scan.h"

#include <algorithm>

#include "storage/controller.h"
#include "storage/result.h"

namespace storage {

namespace {

bool IsBlock(const uint8_t* block, const PacketHeader& header) {
  return header.packetFlag <= kPacketFlag && header.formatVersion == kFormatVersion &&
         LoadU32(block + kTrailerOffset) == kTrailerMagic;
}

}  // namespace

int32_t ScanBlocks(const platform::File& file, uint8_t* buffer, BlockVisitor visit, void* context) {
  platform::FileStamp stamp;
  if (!file.stamp(&stamp) || stamp.size % kBlockSize != 0 || stamp.size > kMaxFileSize) return kBadData;
  const auto blockNum = static_cast<uint32_t>(stamp.size / kBlockSize);

  PacketHeader headers[kBufferBlocks];
  for (uint32_t first = 0; first < blockNum; first += kBufferBlocks) {
    const uint32_t count = std::min(kBufferBlocks, blockNum - first);
    const size_t size = size_t{count} * kBlockSize;
    if (file.readAt(uint64_t{first} * kBlockSize, buffer, size) != size) return kIncomplete;
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* block = buffer + size_t{i} * kBlockSize;
      headers[i] = DecodeHeader(block);
      if (!IsBlock(block, headers[i])) return kBadData;
    }
    if (!visit(context, first, headers, count)) return kCannotOpen;
  }
  return kOk;
}

}  // namespace storage
