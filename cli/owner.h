// Which item a damaged block most likely belongs to: what it still says itself, or what the blocks around it say.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "cli/mendedblocks.h"

namespace cli {

struct Owner {
  uint32_t item = 0;
  const char* because = nullptr;  // how that is known; empty where the block says it itself
};

class Owners {
 public:
  Owners(const Image& image, const MendedBlocks& mended);

  // Nothing when nobody can tell.
  std::optional<Owner> find(uint32_t block) const;

 private:
  bool isKnown(uint32_t id) const;
  std::optional<uint32_t> neighbour(uint32_t block, int step) const;

  const Image& image_;
  const MendedBlocks& mended_;
  std::set<std::pair<uint32_t, uint32_t>> missing_;  // item and packet number
  std::set<uint32_t> lacking_;                       // the items of those
};

}  // namespace cli
