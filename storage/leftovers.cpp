#include "storage/leftovers.h"

#include "storage/blockio.h"
#include "storage/freeblocks.h"
#include "storage/pack.h"
#include "storage/result.h"

namespace storage {

namespace {

constexpr uint32_t kTwice = UINT32_MAX;  // more than one packet carries the number

// What the packets of one item are, by their headers.
struct Census {
  commonbase::GrowArray<PacketHeader> headers;  // in the order of the fragments
  commonbase::GrowArray<uint32_t> bySeq;        // 1 + the fragment that holds the packet of that number
  uint32_t onlyPackets = 0;
  uint32_t run = 0;      // packets 1 to this one stand once each and, but for the last, are full
  bool runEnds = false;  // the last one of the run is not full
};

bool ReadHeaders(const FileInfo* file, const ItemInfo* item, Census* census) {
  const uint32_t count = item->fragments.count;
  if (!census->headers.reserve(count) || !census->bySeq.reserve(count + 1)) return false;
  census->bySeq.add(0);
  for (const uint32_t offset : item->fragments) {
    PacketHeader header;
    if (!ReadHeader(file, offset / kBlockSize, &header)) return false;
    census->headers.add(header);
    census->bySeq.add(0);
  }
  return true;
}

void Count(Census* census) {
  const uint32_t count = census->headers.size();
  for (uint32_t i = 0; i < count; ++i) {
    const PacketHeader& header = census->headers[i];
    if (IsOnlyPacket(header)) {
      ++census->onlyPackets;
    } else if (IsNumberedPacket(header) && header.packetSeq <= count) {
      uint32_t& place = census->bySeq[header.packetSeq];
      place = place == 0 ? i + 1 : kTwice;
    }
  }
  for (uint32_t seq = 1; seq <= count && !census->runEnds; ++seq) {
    const uint32_t place = census->bySeq[seq];
    if (place == 0 || place == kTwice) break;
    census->run = seq;
    census->runEnds = census->headers[place - 1].dataLength < kPacketCapacity;
  }
}

// Finds out whether every packet that `keep` names passes its check. A header that no check vouches for must not
// take the rest of its item away. False when one cannot be read: that is no damage, and may pass.
template <typename Keep>
bool CheckSound(const FileInfo* file, const ItemInfo* item, const Census& census, Keep keep, bool* sound) {
  *sound = true;
  for (uint32_t i = 0; i < census.headers.size() && *sound; ++i) {
    uint8_t* block = controller->blockBuffer;
    if (!keep(census.headers[i])) continue;
    if (!ReadBlocks(file, item->fragments[i] / kBlockSize, block, 1)) return false;
    *sound = CheckPacket(block) == kOk;
  }
  return true;
}

// Keeps the item's packets that `keep` names, in their order; the others become free in memory. All are kept
// when one of those is damaged. False as SettleItem.
template <typename Keep>
bool KeepOnly(FileInfo* file, ItemInfo* item, const Census& census, Keep keep) {
  bool sound;
  if (!CheckSound(file, item, census, keep, &sound)) return false;
  if (!sound) return true;
  if (!ReserveBlocks(file, file->blockNum)) return false;
  item->fragments.count = 0;
  item->size = 0;
  for (uint32_t i = 0; i < census.headers.size(); ++i) {
    const uint32_t offset = item->fragments[i];  // never behind where add() writes
    if (keep(census.headers[i])) {
      item->size += census.headers[i].dataLength;
      item->fragments.add(offset);
    } else {
      InsertFreeBlock(file, offset / kBlockSize, item->id);
    }
  }
  return true;
}

}  // namespace

bool GoesOnInOrder(const ItemInfo* item, const PacketHeader& header) {
  const uint32_t before = item->fragments.count;
  if (header.packetFlag != kPacketFlag || header.dataLength > kPacketCapacity) return false;
  if (before == 0 && IsOnlyPacket(header)) return true;
  if (before != 0 && !item->numbered) return false;  // an only packet may be as full as a first one
  return IsNumberedPacket(header) && header.packetSeq == before + 1 && item->size == before * kPacketCapacity;
}

bool SettleItem(FileInfo* file, ItemInfo* item) {
  Census census;
  if (!ReadHeaders(file, item, &census)) return false;
  Count(&census);
  const bool whole = census.run == item->fragments.count;
  if (whole) return true;
  if (census.onlyPackets == 1) return KeepOnly(file, item, census, IsOnlyPacket);
  if (census.onlyPackets != 0 || !census.runEnds) return true;
  return KeepOnly(file, item, census, [&](const PacketHeader& header) {
    return IsNumberedPacket(header) && header.packetSeq <= census.run;
  });
}

}  // namespace storage
