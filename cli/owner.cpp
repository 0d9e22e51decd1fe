#include "cli/owner.h"

#include <algorithm>

namespace cli {

Owners::Owners(const Image& image, const MendedBlocks& mended) : image_(image), mended_(mended) {
  for (const storage::PacketHeader& header : MissingPackets(image)) {
    missing_.emplace(header.itemId, header.packetSeq);
    lacking_.insert(header.itemId);
  }
}

// Whether anything but the damaged block itself speaks of the item.
bool Owners::isKnown(uint32_t id) const {
  return id == 0 || image_.findRecord(id) != nullptr || image_.hasSoundPacket(id);
}

// The item that a packet in `block` belongs to and that lacks the packet `step` further on.
std::optional<uint32_t> Owners::neighbour(uint32_t block, int step) const {
  if (block >= image_.blocks().size()) return std::nullopt;
  const Block& next = image_.blocks()[block];
  const bool isPart = next.state == BlockState::kUsed && next.sound && storage::IsNumberedPacket(next.header);
  if (!isPart || missing_.count({next.header.itemId, next.header.packetSeq + step}) == 0) return std::nullopt;
  return next.header.itemId;
}

std::optional<Owner> Owners::find(uint32_t block) const {
  const Block* there = block < image_.blocks().size() ? &image_.blocks()[block] : nullptr;
  if (const auto found = mended_.find(block); found != mended_.end()) {
    const uint32_t id = found->second.header().itemId;
    return Owner{id, there != nullptr && there->header.itemId == id ? "" : "as what is left of it says"};
  }
  if (there != nullptr && there->state != BlockState::kMalformed && isKnown(there->header.itemId))
    return Owner{there->header.itemId, ""};
  if (const auto before = block > 0 ? neighbour(block - 1, 1) : std::nullopt)
    return Owner{*before, "which goes on behind the block before it"};
  if (const auto behind = neighbour(block + 1, -1))
    return Owner{*behind, "which goes on in the block behind it"};
  if (lacking_.size() == 1) return Owner{*lacking_.begin(), "the only one that lacks a packet"};
  return std::nullopt;
}

}  // namespace cli
