// Writing a change into the journal, and its many new blocks straight into the data file.
//
// Invariants:
//  1. Blocks are written directly only behind the file's old end, on pages of their own, once a durable frame names
//     them; and they are durable before the change's own frame is.
//  2. Every block that the change overwrites, marks or cuts off is noted in the frame as it was found, once a journal.
#pragma once

#include <cstdint>

#include "storage/change.h"

namespace storage {

// The first of the new blocks that are written directly; the file's end when there are too few.
uint32_t FirstDirectBlock(const Change& staged);

// Makes the change durable: 0 when its frame is, and the file's sum is what carrying it out will give; kWriteFailed
// otherwise.
int32_t WriteChangeFrame(const Change& staged);

}  // namespace storage
