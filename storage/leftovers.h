// Telling an item's packets from those that a longer version of it left behind.
//
// An item that shrinks gives blocks back in memory; on disk they keep their old packets until the next free
// marks, and the process may end before. At open such packets are counted into the item like any other. Here each
// item's packets are looked over once, and what cannot be part of it becomes free in memory.
//
// Rules, the first that fits:
//  1. The packets form one whole (the only packet; or numbers 1 to n, all but the last full): the item.
//  2. Exactly one packet is an only packet and the others are numbered: that one is the item.
//  3. Numbered packets 1 to k, each once, where k is the first that is not full: these are the item.
//  4. Otherwise all are kept; the item's size is the sum of their lengths, and reading it will tell.
#pragma once

#include "storage/controller.h"

namespace storage {

// Looks over every item of a file just scanned; `headers` are the headers of its blocks. False when there is no
// memory.
bool SettleItems(FileInfo* file, const PacketHeader* headers);

}  // namespace storage
