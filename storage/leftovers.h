// Telling an item's packets from those that a longer version of it left behind.
//
// An item that shrinks gives blocks back in memory; on disk they keep their old packets until the next free
// marks, and the process may end before. At open such packets are counted into the item like any other. What
// is not plainly one whole is looked over once, and what cannot be part of the item becomes free in memory.
//
// Rules, the first that fits:
//  1. The packets form one whole (the only packet; or numbers 1 to n, all but the last full): the item.
//  2. Exactly one packet is an only packet: that one is the item.
//  3. Numbered packets 1 to k, each once, where k is the first that is not full: these are the item.
//     Rules 2 and 3 hold only when what they keep passes its checksums.
//  4. Otherwise all are kept; the item's size is the sum of their lengths, and reading it will tell.
#pragma once

#include "storage/controller.h"

namespace storage {

// Whether a packet of this header, met as the item's next in file order, goes on a whole that stands block
// for block as a save writes it. `item` counts the packets before it.
bool GoesOnInOrder(const ItemInfo* item, const PacketHeader& header);

// Looks over an item with more than one packet that did not stand in order. False when there is no memory or
// a block cannot be read.
bool SettleItem(FileInfo* file, ItemInfo* item);

}  // namespace storage
