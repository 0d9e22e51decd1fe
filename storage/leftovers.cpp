#include "storage/leftovers.h"

#include "storage/freeblocks.h"

namespace storage {

namespace {

constexpr uint32_t kTwice = UINT32_MAX;  // more than one packet carries the number

struct Settling {
  FileInfo* file;
  const PacketHeader* headers;
  commonbase::GrowArray<uint32_t> bySeq;  // of the item in hand: the offset + 1 of the packet with that number
};

bool IsOnlyPacket(const PacketHeader& header) {
  return header.packetType == kSinglePacket && header.packetSeq == 0 && header.itemOffset == 0;
}

bool IsNumberedPacket(const PacketHeader& header) {
  return header.packetType == kPartPacket && header.packetSeq != 0 &&
         header.itemOffset == (uint32_t{header.packetSeq} - 1) * kPacketCapacity;
}

const PacketHeader& HeaderAt(const Settling* settling, uint32_t offset) {
  return settling->headers[offset / kBlockSize];
}

// What the packets of one item are, by their headers.
struct Census {
  uint32_t onlyPackets = 0;
  uint32_t onlyOffset = 0;
  uint32_t strangers = 0;  // neither an only packet nor a numbered one
  uint32_t run = 0;        // packets 1 to this one stand once each and, but for the last, are full
  bool runEnds = false;    // the last one of the run is not full
};

bool TakeCensus(Settling* settling, const ItemInfo* item, Census* census) {
  auto& bySeq = settling->bySeq;
  bySeq.clear();
  if (!bySeq.reserve(item->fragments.count + 1)) return false;
  for (uint32_t i = 0; i <= item->fragments.count; ++i) bySeq.add(0);

  for (const uint32_t offset : item->fragments) {
    const PacketHeader& header = HeaderAt(settling, offset);
    if (IsOnlyPacket(header)) {
      ++census->onlyPackets;
      census->onlyOffset = offset;
    } else if (!IsNumberedPacket(header)) {
      ++census->strangers;
    } else if (header.packetSeq <= item->fragments.count) {
      uint32_t& place = bySeq[header.packetSeq];
      place = place == 0 ? offset + 1 : kTwice;
    }
  }
  for (uint32_t seq = 1; seq <= item->fragments.count && !census->runEnds; ++seq) {
    if (bySeq[seq] == 0 || bySeq[seq] == kTwice) break;
    census->run = seq;
    census->runEnds = HeaderAt(settling, bySeq[seq] - 1).dataLength < kPacketCapacity;
  }
  return true;
}

// Keeps the item's packets that `keep` names, in their order; the others become free in memory.
template <typename Keep>
bool KeepOnly(Settling* settling, ItemInfo* item, Keep keep) {
  if (!ReserveFreeBlocks(settling->file)) return false;
  const uint32_t count = item->fragments.count;
  item->fragments.count = 0;
  item->size = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t offset = item->fragments[i];
    if (keep(offset)) {
      item->size += HeaderAt(settling, offset).dataLength;
      item->fragments.add(offset);
    } else {
      InsertFreeBlock(settling->file, offset / kBlockSize, item->id);
    }
  }
  return true;
}

// Whether every block holds the packet that a save would put there.
bool StandsAsWritten(const Settling* settling, const ItemInfo* item) {
  const uint32_t packets = PacketsFor(item->size);
  if (item->fragments.count != packets) return false;
  for (uint32_t i = 0; i < packets; ++i) {
    const PacketHeader& header = HeaderAt(settling, item->fragments[i]);
    const bool numbered = IsNumberedPacket(header) && header.packetSeq == i + 1;
    if (packets == 1 ? !IsOnlyPacket(header) : !numbered) return false;
    if (header.packetFlag != kPacketFlag || header.dataLength != PacketLength(item->size, i)) return false;
  }
  return true;
}

bool SettleItem(Settling* settling, ItemInfo* item) {
  if (item->fragments.count > 1) {
    Census census;
    if (!TakeCensus(settling, item, &census)) return false;
    const bool whole = census.run == item->fragments.count;
    const bool known = !whole && census.strangers == 0;
    bool done = true;
    if (known && census.onlyPackets == 1) {
      done = KeepOnly(settling, item, [&](uint32_t offset) { return offset == census.onlyOffset; });
    } else if (known && census.onlyPackets == 0 && census.runEnds) {
      done = KeepOnly(settling, item,
                      [&](uint32_t offset) { return HeaderAt(settling, offset).packetSeq <= census.run; });
    }
    if (!done) return false;
  }
  item->inOrder = StandsAsWritten(settling, item);
  item->savedSize = item->size;
  return true;
}

}  // namespace

bool SettleItems(FileInfo* file, const PacketHeader* headers) {
  Settling settling{file, headers, {}};
  return file->index.forEach([&](ItemInfo* item) { return SettleItem(&settling, item); });
}

}  // namespace storage
