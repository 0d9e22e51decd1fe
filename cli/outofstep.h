// Blocks that do not stand at multiples of their size, since bytes were inserted into a file or are missing from it.
//
// From where a block ends the next one is looked for: there, by its first byte and its end mark; else at every byte
// behind, as a packet with a right checksum. What lies between counts as the number of blocks that comes nearest, all
// of them damaged. The work is bounded: every byte is looked at once, and a checksum over at most 1,016 bytes is made
// only where a possible header and an end mark stand 1,020 bytes apart.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/platform.h"

namespace cli {

// Where the blocks of a file of `size` bytes begin; empty when all of them are in step.
std::vector<uint64_t> FindOutOfStep(const platform::File& file, uint64_t size);

}  // namespace cli
