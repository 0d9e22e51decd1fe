#include "storage/pack.h"

#include <cstring>

#include "storage/checksum.h"
#include "storage/format.h"
#include "storage/result.h"
#include "storage/scratch.h"

namespace storage {

namespace {

// Fills `byteCount` bytes from `dest` on with filler words: each is the square of its number plus the word
// that stands at that number in `source` at that moment. `dest` lies in the block that begins at `source`, so
// later words build on earlier ones. The last byteCount % 4 bytes are left as they are.
void FillPacketPadding(uint8_t* dest, uint32_t byteCount, const uint8_t* source) {
  const uint32_t words = byteCount / 4;
  for (uint32_t i = 0; i < words; ++i) StoreU32(dest + 4 * i, i * i + LoadU32(source + 4 * i));
}

}  // namespace

PacketHeader HeaderOfPacket(uint32_t id, uint32_t size, uint16_t packetIndex) {
  PacketHeader header{};
  header.packetFlag = kPacketFlag;
  header.formatVersion = kFormatVersion;
  header.packetType = kSinglePacket;
  header.dataLength = size;
  header.itemId = id;
  if (size > kPacketCapacity) {
    header.packetType = kPartPacket;
    header.packetSeq = static_cast<uint16_t>(packetIndex + 1);
    header.itemOffset = packetIndex * kPacketCapacity;
    header.dataLength = PacketLength(size, packetIndex);
  }
  return header;
}

void PackItemData(uint32_t id, const uint8_t* data, uint32_t size, uint16_t packetIndex, uint8_t* block) {
  const PacketHeader header = HeaderOfPacket(id, size, packetIndex);
  EncodeHeader(header, block);

  uint8_t* filler = block + kHeaderSize + header.dataLength;
  const uint32_t fillerSize = kPacketCapacity - header.dataLength;
  std::memcpy(block + kHeaderSize, data + header.itemOffset, header.dataLength);
  std::memset(filler, 0, fillerSize);
  FillPacketPadding(filler, fillerSize, block);

  StoreU32(block + kChecksumOffset, GetCRCValue(block, kHeaderSize + header.dataLength));
  StoreU32(block + kTrailerOffset, kTrailerMagic);
}

bool IsAsPacked(const uint8_t* block) {
  const PacketHeader header = DecodeHeader(block);
  if (!IsBlock(block, header) || CheckPacket(block) != kOk) return false;
  Scratch<> scratch;
  uint8_t* anew = scratch.bytes;
  const uint32_t used = kHeaderSize + header.dataLength;
  std::memcpy(anew, block, used);
  anew[kPacketTypeOffset] = header.packetSeq != 0 ? kPartPacket : kSinglePacket;
  FillPacketPadding(anew + used, kChecksumOffset - used, anew);
  return std::memcmp(anew + used, block + used, kChecksumOffset - used) == 0;
}

void MarkFree(uint8_t* block) {
  if (!IsBlock(block, DecodeHeader(block))) PackItemData(0, block, 0, 0, block);
  block[kPacketTypeOffset] = kFreeBlock;
}

int32_t CheckPacket(const uint8_t* block) {
  const uint32_t dataLength = DecodeHeader(block).dataLength;
  if (dataLength > kPacketCapacity) return kBadData;
  const uint32_t sum = GetCRCValue(block, kHeaderSize + dataLength);
  return sum == LoadU32(block + kChecksumOffset) ? kOk : kBadData;
}

}  // namespace storage
