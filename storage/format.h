// The data file's format: the numbers and the packet header, nothing else.
//
// A data file is a run of 1024-byte blocks; each is one packet of one item, or free.
//
//   offset  size  content
//        0    16  PacketHeader
//       16  1000  data area: dataLength bytes of the item, then filler
//     1016     4  checksum over bytes 0 to 16 + dataLength - 1
//     1020     4  trailer magic
//
// All numbers are little-endian and are encoded and decoded here, byte by byte.
#pragma once

#include <cstdint>

namespace storage {

constexpr uint32_t kBlockSize = 1024;
constexpr uint32_t kHeaderSize = 16;
constexpr uint32_t kPacketCapacity = 1000;  // item bytes in one block
constexpr uint32_t kChecksumOffset = 1016;
constexpr uint32_t kTrailerOffset = 1020;
constexpr uint32_t kTrailerMagic = 0x89ABCDEF;

constexpr uint8_t kPacketFlag = 1;
constexpr uint8_t kFormatVersion = 4;

enum PacketType : uint8_t {
  kSinglePacket = 0,  // the item's only packet
  kPartPacket = 1,    // one of several packets of the item
  kFreeBlock = 2,     // no packet: the rest of the header is what the block held last
};
constexpr uint32_t kPacketTypeOffset = 1;

constexpr uint32_t kMaxPackets = 65535;  // packetSeq is 16 bits wide and counts from 1
constexpr uint32_t kMaxItemSize = kMaxPackets * kPacketCapacity;

// The largest data file: sizes are signed 32-bit numbers in the file helpers.
constexpr uint32_t kMaxFileSize = 0x80000000U - kBlockSize;
constexpr uint32_t kMaxBlocks = kMaxFileSize / kBlockSize;

struct PacketHeader {
  uint8_t packetFlag = 0;
  uint8_t formatVersion = 0;
  uint8_t packetType = 0;
  uint16_t packetSeq = 0;  // the packet's number within its item, from 1; 0 for the only packet
  uint32_t dataLength = 0;
  uint32_t itemOffset = 0;  // where this packet's bytes stand within the item
  uint32_t itemId = 0;
};

inline uint32_t LoadU32(const uint8_t* bytes) {
  return uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

inline void StoreU32(uint8_t* bytes, uint32_t value) {
  // Written out, since compilers then make one store of it; of a loop they make four.
  bytes[0] = static_cast<uint8_t>(value);
  bytes[1] = static_cast<uint8_t>(value >> 8);
  bytes[2] = static_cast<uint8_t>(value >> 16);
  bytes[3] = static_cast<uint8_t>(value >> 24);
}

inline uint64_t LoadU64(const uint8_t* bytes) {
  return uint64_t{LoadU32(bytes)} | uint64_t{LoadU32(bytes + 4)} << 32;
}

inline void StoreU64(uint8_t* bytes, uint64_t value) {
  StoreU32(bytes, static_cast<uint32_t>(value));
  StoreU32(bytes + 4, static_cast<uint32_t>(value >> 32));
}

inline PacketHeader DecodeHeader(const uint8_t* block) {
  PacketHeader header;
  header.packetFlag = block[0] & 0x0F;
  header.formatVersion = block[0] >> 4;
  header.packetType = block[kPacketTypeOffset];
  header.packetSeq = static_cast<uint16_t>(block[2] | block[3] << 8);
  header.dataLength = LoadU32(block + 4);
  header.itemOffset = LoadU32(block + 8);
  header.itemId = LoadU32(block + 12);
  return header;
}

inline void EncodeHeader(const PacketHeader& header, uint8_t* block) {
  block[0] = static_cast<uint8_t>(header.packetFlag | header.formatVersion << 4);
  block[kPacketTypeOffset] = header.packetType;
  block[2] = static_cast<uint8_t>(header.packetSeq);
  block[3] = static_cast<uint8_t>(header.packetSeq >> 8);
  StoreU32(block + 4, header.dataLength);
  StoreU32(block + 8, header.itemOffset);
  StoreU32(block + 12, header.itemId);
}

// Whether a block, with its header decoded, is one of a data file.
inline bool IsBlock(const uint8_t* block, const PacketHeader& header) {
  return header.packetFlag <= kPacketFlag && header.formatVersion == kFormatVersion &&
         LoadU32(block + kTrailerOffset) == kTrailerMagic;
}

// Whether a header is that of an item's only packet, or of one of several, as a save writes them: never empty.
inline bool IsOnlyPacket(const PacketHeader& header) {
  return header.packetType == kSinglePacket && header.packetSeq == 0 && header.itemOffset == 0 &&
         header.dataLength != 0;
}

inline bool IsNumberedPacket(const PacketHeader& header) {
  return header.packetType == kPartPacket && header.packetSeq != 0 &&
         header.itemOffset == (uint32_t{header.packetSeq} - 1) * kPacketCapacity && header.dataLength != 0;
}

// The number of packets, and so of blocks, that an item of `size` bytes takes.
constexpr uint32_t PacketsFor(uint32_t size) {
  return size / kPacketCapacity + (size % kPacketCapacity != 0 ? 1 : 0);
}

// The number of item bytes in packet `index` (from 0) of an item of `size` bytes.
constexpr uint32_t PacketLength(uint32_t size, uint32_t index) {
  const uint32_t rest = size - index * kPacketCapacity;
  return rest < kPacketCapacity ? rest : kPacketCapacity;
}

}  // namespace storage
