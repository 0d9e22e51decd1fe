#include "storage/leftovers.h"

#include "storage/blockio.h"
#include "storage/pack.h"
#include "storage/packetchoice.h"
#include "storage/result.h"

namespace storage {

namespace {

struct Packets {
  const FileInfo* file = nullptr;
  const ItemInfo* item = nullptr;
};

PacketCheck Check(void* context, uint32_t index) {
  const auto* packets = static_cast<const Packets*>(context);
  uint8_t* block = controller->blockBuffer;
  if (!ReadBlocks(packets->file, packets->item->fragments[index] / kBlockSize, block, 1))
    return PacketCheck::kUnreadable;
  return CheckPacket(block) == kOk ? PacketCheck::kSound : PacketCheck::kDamaged;
}

// Chooses among the item's packets; their sizes make up the item's.
PacketChoice Choose(const FileInfo* file, const ItemInfo* item, commonbase::GrowArray<uint32_t>* chosen,
                    uint32_t* size) {
  const uint32_t count = item->fragments.count;
  commonbase::GrowArray<PacketHeader> headers;
  if (!headers.reserve(count) || !chosen->reserve(count)) return PacketChoice::kUnreadable;
  for (const uint32_t offset : item->fragments) {
    PacketHeader header;
    if (!ReadHeader(file, offset / kBlockSize, &header)) return PacketChoice::kUnreadable;
    headers.add(header);
    chosen->add(0);
  }
  Packets packets{file, item};
  uint32_t chosenCount;
  const PacketChoice choice =
      ChoosePackets(headers.begin(), count, Check, &packets, chosen->begin(), &chosenCount);
  while (chosen->size() > chosenCount) chosen->removeLast();
  *size = 0;
  for (const uint32_t i : *chosen) *size += headers[i].dataLength;
  return choice;
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
  commonbase::GrowArray<uint32_t> chosen;
  uint32_t size;
  const PacketChoice choice = Choose(file, item, &chosen, &size);
  if (choice == PacketChoice::kChosen) {
    item->hasLeftovers = true;
    item->size = size;
  }
  return choice != PacketChoice::kUnreadable;
}

bool ChooseFragments(const FileInfo* file, const ItemInfo* item, commonbase::GrowArray<uint32_t>* chosen) {
  uint32_t size;
  return Choose(file, item, chosen, &size) == PacketChoice::kChosen && size == item->size;
}

}  // namespace storage
