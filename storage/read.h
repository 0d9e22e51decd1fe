// Reading: an item's bytes, assembled from its blocks the first time they are asked for.
//
// Who has read many items is about to read them all. So an item is read alone at first; later a whole window of
// blocks is read at once, and every item that lies in it is assembled along with the one that was asked for.
//
// Invariants:
//  1. Items that nobody has asked for have at most three times as many blocks as those that somebody has, and none
//     is read along before readCredit has come to kFirstWindow.
//  2. Bytes read along are in memory for nobody until their item is asked for.
//  3. An item that cannot be assembled along with others is left as it was, for whoever asks for it.
#pragma once

#include <cstdint>

#include "storage/controller.h"

namespace storage {

// Reads the item's blocks, checks each packet unless the file was opened with kOpenUnverified, and puts its
// bytes into a new buffer at `data`, where they do not stand already because they were read along. 0; kNoItem when
// there is no memory; kIncomplete, with `data` null, when a block cannot be read, fails its check or does not fit the
// item. Needs !HasBytes.
int32_t BuildItemData(FileInfo* file, ItemInfo* item);

}  // namespace storage
