// Items whose packets do not stand block for block as a save writes them: which of the packets are the item is chosen
// (packetchoice.h), and the others stay its blocks, as they are, until it is saved.
#pragma once

#include "storage/controller.h"

namespace storage {

// Whether a packet of this header, met as the item's next in file order, goes on a whole that stands block
// for block as a save writes it. `item` counts the packets before it.
bool GoesOnInOrder(const ItemInfo* item, const PacketHeader& header);

// Looks over an item with more than one packet that did not stand in order, and sets its size. False when there is no
// memory or a block cannot be read.
bool SettleItem(FileInfo* file, ItemInfo* item);

// The fragments of an item with left-over packets that are the item, by their place in its list. False when there is
// no memory, when a block cannot be read, or when the choice is another one by now.
bool ChooseFragments(const FileInfo* file, const ItemInfo* item, commonbase::GrowArray<uint32_t>* chosen);

}  // namespace storage
