// The data file format in the tests' own words: nothing here comes from the library, so that a misreading of
// the format cannot hide in both.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "pmstore.h"

namespace vault {

using Bytes = std::vector<uint8_t>;
using PmString = std::basic_string<PmChar>;

constexpr uint32_t kBlock = 1024;  // bytes of a block
constexpr uint32_t kRoom = 1000;   // item bytes that it has room for

// Little-endian numbers of `width` bytes.
uint32_t Get(const uint8_t* at, int width = 4);
void Put(uint8_t* at, uint32_t value, int width = 4);

// The block checksum.
uint32_t Checksum(const uint8_t* bytes, size_t size);
bool IsSound(const uint8_t* block);

inline uint32_t BlocksFor(size_t size) {
  return static_cast<uint32_t>((size + kRoom - 1) / kRoom);
}

// Packet `index` (from 0) of an item as a whole block, and the item's blocks one after the other.
Bytes MakeBlock(uint32_t id, const Bytes& item, uint32_t index);
Bytes MakeBlocks(uint32_t id, const Bytes& item);

// What opening a data file finds. Packets left over from an item's former content stay its blocks, though they
// are no part of its bytes.
struct Item {
  uint32_t size = 0;
  std::vector<uint32_t> blocks;   // ascending
  std::vector<uint32_t> reading;  // those whose packets are the item
};
struct Scan {
  std::map<uint32_t, Item> items;
  std::set<uint32_t> free;
};
Scan ScanFile(const Bytes& file);

// The item's bytes; nothing when a block fails its check or does not fit the item.
std::optional<Bytes> Assemble(const Bytes& file, const Item& item);

// Item 0: the table of IDs.
struct Record {
  uint32_t reserved[2] = {0, 0};
  uint32_t kind = 0;
  uint32_t id = 0;
  std::optional<PmString> userData;
};
Bytes MakeTable(const std::vector<Record>& records);
std::optional<std::vector<Record>> ReadTable(const Bytes& item);  // nothing when it is malformed

// Whether it is a data file: whole blocks of the format, and no table or one that can be read.
bool Opens(const Bytes& file);

// Whether it may be copied over a data file: one that opens, all of its packets sound.
bool Restores(const Bytes& backup);

// What is wrong with a closed data file, or an empty text: it opens, and every item is whole.
std::string Fault(const Bytes& file);

}  // namespace vault
