// One packet as a complete block: built for writing, checked after reading.
#pragma once

#include <cstdint>

#include "storage/format.h"

namespace storage {

// The header of packet `packetIndex` (from 0) of an item of `size` bytes.
PacketHeader HeaderOfPacket(uint32_t id, uint32_t size, uint16_t packetIndex);

// Builds packet number `packetIndex` (from 0) of item `id`, whose `size` bytes are at `data`, in the 1024
// bytes of `block`.
void PackItemData(uint32_t id, const uint8_t* data, uint32_t size, uint16_t packetIndex, uint8_t* block);

// Makes a block free. What a medium has lost is still to be a block: the file would open no more.
void MarkFree(uint8_t* block);

// Whether a block is wholly what a save makes of the packet that its header and data say. A marked one is not.
bool IsAsPacked(const uint8_t* block);

// 0 when the block's checksum matches, kBadData when it does not or its dataLength does not fit a block.
int32_t CheckPacket(const uint8_t* block);

}  // namespace storage
