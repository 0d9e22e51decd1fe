// Which of the packets that bear an item's ID are the item.
//
// An item that shrinks gives blocks back in memory; on disk they keep the packets of its longer version until
// something marks or overwrites them. A file that was copied meanwhile, or that another writer left, may show
// them. The engine and the tool decide here, by headers and checksums alone, and so decide alike.
//
// The readings of a set of packets are
//   - each packet that says it is the whole item;
//   - the packets 1 to k, k at least 2, where k is the first that is not full, or is full and surely the last.
//
// Rules:
//  1. All packets form one whole (the only packet; or numbers 1 to n, all but the last full): that is the item,
//     and no checksum is asked for: reading the item will.
//  2. Exactly one reading is possible, and all its packets have a right checksum: that is the item. The rest is
//     left over. Damage rules no reading out, and a number that stands twice counts as two.
//  3. Otherwise nobody can tell: all packets count, and the item's size is the sum of their lengths.
#pragma once

#include <cstdint>

#include "storage/format.h"

namespace storage {

enum class PacketChoice {
  kWhole,       // rule 1
  kChosen,      // rule 2
  kUndecided,   // rule 3
  kUnreadable,  // a packet could not be read: that is no damage, and may pass
};

enum class PacketCheck { kSound, kDamaged, kUnreadable };

// Looks at the checksum of packet `index`.
using PacketChecker = PacketCheck (*)(void* context, uint32_t index);

// Chooses among `count` packets of one item, given by their headers in any order. For kWhole and kChosen the
// first `*chosenCount` entries of `chosen` are then the indexes of the item's packets, in the order of the
// item; for the others `*chosenCount` is 0. `chosen` has room for `count` entries, whatever comes out.
PacketChoice ChoosePackets(const PacketHeader* headers, uint32_t count, PacketChecker check, void* context,
                           uint32_t* chosen, uint32_t* chosenCount);

}  // namespace storage
