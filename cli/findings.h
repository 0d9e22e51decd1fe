// What is wrong with a vault, as far as its own content shows.
//
// Every finding has a code that stays the same; its words may change.
//
//   damage: bytes are lost, or not what was written
//     packet-checksum   a packet fails its checksum
//     packet-length     a packet says that it holds more than fits a block
//     item-incomplete   packets of an item are missing, or twice there
//     block-begin, block-end, block-cut   a block is none: first byte, end mark, or the file's end within it
//     blocks-shifted    bytes were inserted into the file or are missing: blocks are out of step from there on
//     journal-refused   the file has lost bytes that its journal still holds, but a program would set the journal aside
//     blocks-missing    the journal tells of blocks that are nowhere
//     no-vault          nothing in the file looks like a part of a vault
//     table-malformed   a record of the ID table makes no sense
//     table-cut         the ID table ends in a full packet, and there are items that it does not name
//     record-twice      two records of one ID
//     record-zero       a record of ID 0, which is the table's own
//   suspicion: bytes may be lost; the file cannot show which is true
//     item-without-bytes   a listed item has no packet: it is empty, or all its packets are gone
//     item-ends-full       the last packet of several is full: the size is a multiple of 1,000 by chance, or
//                          the packets behind are gone
//     table-missing        there are items and no ID table
//   note: nothing is lost
//     unlisted-packets     an item that no record names: deleted, or never finished, when a program ended
//     leftover-packets     packets of a longer version of an item
//     vault-empty          there is no item; nothing shows whether there ever was one
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/image.h"

namespace cli {

constexpr char kVaultEmptyCode[] = "vault-empty";  // the codes that decide a verdict by themselves
constexpr char kNoVaultCode[] = "no-vault";

enum class Weight { kDamage, kSuspicion, kNote };

struct Finding {
  std::string code;
  Weight weight{};
  std::string what;               // a whole sentence part, with its place
  std::optional<uint32_t> item;   // the item it concerns
  std::optional<uint32_t> block;  // the block it was seen in
  uint64_t offset = 0;            // and where that stands
  bool mendable = false;          // that block can be mended
};

// Looks at every block, every item and every record: the damage first, packets with a wrong checksum before
// all, then what is suspected, then notes. Without `names` items go by their IDs alone.
std::vector<Finding> Examine(const Image& image, bool names = true);

Json ToJson(const Finding& finding);

}  // namespace cli
