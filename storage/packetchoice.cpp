#include "storage/packetchoice.h"

#include <algorithm>

namespace storage {

namespace {

constexpr uint32_t kAbsent = UINT32_MAX;
constexpr uint32_t kTwice = UINT32_MAX - 1;  // more than one packet bears the number

// The packets of one item by what their headers say.
struct Census {
  uint32_t onlyPackets = 0;
  uint32_t onlyPacket = 0;  // the last of them
  uint32_t highest = 0;     // the highest number
  bool unclear = false;     // a packet is of neither kind: it may be any
};

Census Count(const PacketHeader* headers, uint32_t count, uint32_t* byNumber) {
  Census census;
  std::fill_n(byNumber, count, kAbsent);
  for (uint32_t i = 0; i < count; ++i) {
    const PacketHeader& header = headers[i];
    const bool fits = header.dataLength <= kPacketCapacity;
    if (fits && IsOnlyPacket(header)) {
      ++census.onlyPackets;
      census.onlyPacket = i;
    } else if (fits && IsNumberedPacket(header)) {
      census.highest = std::max<uint32_t>(census.highest, header.packetSeq);
      if (header.packetSeq > count) continue;
      uint32_t& place = byNumber[header.packetSeq - 1];
      place = place == kAbsent ? i : kTwice;
    } else {
      census.unclear = true;
    }
  }
  return census;
}

// The k of the packets 1 to k that make a reading; 0 when none do, kTwice when several may.
uint32_t RunLength(const PacketHeader* headers, uint32_t count, const Census& census,
                   const uint32_t* byNumber) {
  for (uint32_t k = 1; k <= count && byNumber[k - 1] != kAbsent; ++k) {
    if (byNumber[k - 1] == kTwice) return kTwice;
    const bool isFull = headers[byNumber[k - 1]].dataLength == kPacketCapacity;
    const bool isLast = !isFull || (k == census.highest && !census.unclear);
    if (isLast) return k >= 2 ? k : 0;
  }
  return 0;
}

}  // namespace

PacketChoice ChoosePackets(const PacketHeader* headers, uint32_t count, PacketChecker check, void* context,
                           uint32_t* chosen, uint32_t* chosenCount) {
  const Census census = Count(headers, count, chosen);
  const uint32_t run = RunLength(headers, count, census, chosen);
  *chosenCount = 0;
  const uint32_t readings = census.onlyPackets + (run != 0 ? 1 : 0);
  if (readings != 1 || run == kTwice) return PacketChoice::kUndecided;
  const uint32_t packets = run != 0 ? run : 1;
  if (run == 0) chosen[0] = census.onlyPacket;
  if (packets != count) {
    for (uint32_t i = 0; i < packets; ++i) {
      const PacketCheck sound = check(context, chosen[i]);
      if (sound == PacketCheck::kUnreadable) return PacketChoice::kUnreadable;
      if (sound == PacketCheck::kDamaged) return PacketChoice::kUndecided;
    }
  }
  *chosenCount = packets;
  return packets == count ? PacketChoice::kWhole : PacketChoice::kChosen;
}

}  // namespace storage
