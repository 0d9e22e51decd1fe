// The damaged blocks of a vault that can be mended, and the vault as it reads with them mended. Nothing is written.
//
// Invariants:
//  1. A block is live when nobody can have freed it: it still says what kind of packet it is, its item lacks
//     packets, or the vault has no free block at all. Only a live block that is proven counts as mended.
//  2. A free block is never taken for anything else by itself: what it held belongs to an item only when the
//     item lacks just that packet. Even then the free mark may be right, and nothing is proven.
#pragma once

#include <cstdint>
#include <map>

#include "cli/image.h"
#include "cli/mending.h"

namespace cli {

struct MendedBlock {
  Mended mended;
  bool isLive = false;
  storage::PacketHeader header() const { return storage::DecodeHeader(mended.block.data()); }
  bool isProven() const { return isLive && IsProven(mended); }
  // As likely wrong as right.
  bool isGuess() const { return mended.falseChance >= 0.5; }
};

using MendedBlocks = std::map<uint32_t, MendedBlock>;  // by block number

// Every damaged block that can be mended.
MendedBlocks MendBlocks(const Image& image);

// The vault with the blocks mended that are proven; or with the guesses as well. Packets that stand twice there,
// byte for byte, are taken once.
Image WithProven(const Image& image, const MendedBlocks& blocks);
Image WithGuesses(const Image& image, const MendedBlocks& blocks);

// The packets that free blocks held and that some item lacks, as whole blocks, by block number.
std::map<uint32_t, Bytes> FreedPackets(const Image& image);

// How a block was mended, for people: "bytes taken from its filler; false less than once in 16384".
std::string ProofText(const MendedBlock& block);

// What an item lacks: the headers of full packets that are missing, or may be.
std::vector<storage::PacketHeader> MissingPackets(const Image& image);

}  // namespace cli
