// One packet as a complete block: built for writing, checked after reading.
#pragma once

#include <cstdint>

namespace storage {

// Builds packet number `packetIndex` (from 0) of item `id`, whose `size` bytes are at `data`, in the 1024
// bytes of `block`.
void PackItemData(uint32_t id, const uint8_t* data, uint32_t size, uint16_t packetIndex, uint8_t* block);

// Fills `byteCount` bytes from `dest` on with filler words: each is the square of its number plus the word
// that stands at that number in `source` at that moment. `dest` lies in the block that begins at `source`, so
// later words build on earlier ones. The last byteCount % 4 bytes are left as they are.
void FillPacketPadding(uint8_t* dest, int32_t byteCount, const uint8_t* source);

// 0 when the block's checksum matches, kBadData when it does not or its dataLength does not fit a block.
int32_t CheckPacket(const uint8_t* block);

}  // namespace storage
