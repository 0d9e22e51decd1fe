// What it costs when many IDs share one user-data string: finding the first of them, and taking one out.
#pragma once

#include "bench/measure.h"

namespace bench {

constexpr uint32_t kSharing = 100000;

// A vault of kSharing small items in the current folder, all with one user-data string or each with its own.
// Steps "look up, shared" and "delete, shared", or "..., distinct": every string, shuffled; then half of the items
// are deleted in shuffled order and the others by looking the first one up and deleting it, one after the other.
// pmstore alone: other stores have no such index or refuse the second item.
void MeasureSharedUserData(bool shared, const Report& report);

}  // namespace bench
