// Mending one damaged block from what it says twice. Nothing here knows of files or vaults: bytes in, bytes out.
// (mendedblocks.h does it with those of a vault.)
//
// A packet's filler repeats it: filler word i is word i of the block plus i * i. Packets of up to 492 bytes
// stand in their block twice as a whole, shorter ones many times over; of longer ones the header and the first
// bytes do. What two copies agree on was not damaged, and the rest is held against the checksum.
//
// The checksum is 32 bits wide, but wrong bytes before the last four that it covers can change it in 65,536
// ways only (see storage/checksum.h). So it catches all but one in 65,536 of the wrong packets held against it.
//
// Invariants:
//  1. What comes out is a packet that a save may have written. Every byte of it stands twice in the block, or
//     the checksum that was found is right for it.
//  2. When two different packets could come out in the same way, none does.
//  3. A packet other than the one that was written comes out no more often than `falseChance`, whatever the
//     damage. Where that is more than kProven, the packet is a guess.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cli/bytes.h"
#include "storage/format.h"

namespace cli {

enum class Proof {
  kEndMark,     // nothing but the end mark was wrong
  kRepetition,  // every byte stands twice in the block
  kFiller,      // bytes taken from the filler fit the checksum
  kHeader,      // the header of a packet that the vault lacks fits the checksum
  kOneBit,      // one bit set right fits the checksum
  kSplit,       // its two ends, which stand too far apart or too near, make a packet together
};

struct Mended {
  Bytes block;  // but for its filler, as it was written
  Proof proof{};
  double falseChance = 0;  // at most 1
};

constexpr double kProven = 1.0 / 4096;

inline bool IsProven(const Mended& mended) {
  return mended.falseChance <= kProven;
}

// Whether a header is that of a packet as a save writes it.
bool IsPossible(const storage::PacketHeader& header);

// Mends a block of which the first `found.size()` bytes are there: all, but for the last block of a file that
// was cut. `missing` are the headers of packets that the vault lacks, one of which this may be.
std::optional<Mended> MendBlock(const Bytes& found, const std::vector<storage::PacketHeader>& missing);

// Mends a block into which bytes were inserted or from which some are missing, nobody knows where: `begin` are 1,024
// bytes from its beginning on, `end` those up to its end.
std::optional<Mended> MendSplit(const Bytes& begin, const Bytes& end,
                                const std::vector<storage::PacketHeader>& missing);

}  // namespace cli
