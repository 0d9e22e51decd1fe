#include "cli/mendedblocks.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "storage/pack.h"
#include "storage/result.h"

namespace cli {

namespace {

using storage::kBlockSize;
using storage::PacketHeader;

PacketHeader FullPacket(uint32_t id, uint32_t number) {
  PacketHeader header{storage::kPacketFlag,
                      storage::kFormatVersion,
                      storage::kSinglePacket,
                      0,
                      storage::kPacketCapacity,
                      0,
                      id};
  if (number == 0) return header;
  header.packetType = storage::kPartPacket;
  header.packetSeq = static_cast<uint16_t>(number);
  header.itemOffset = (number - 1) * storage::kPacketCapacity;
  return header;
}

void AddMissing(const Image& image, const Item& item, std::vector<PacketHeader>& missing) {
  if (item.whole && !item.endsFull) return;
  std::set<uint32_t> numbers;
  bool isEnded = false;  // by a packet that is not full
  for (uint32_t number : item.blocks) {
    const PacketHeader& header = image.blocks()[number].header;
    if (!image.blocks()[number].sound || !storage::IsNumberedPacket(header)) continue;
    numbers.insert(header.packetSeq);
    isEnded = isEnded || header.dataLength < storage::kPacketCapacity;
  }
  if (numbers.empty()) return;
  const uint32_t last = *numbers.rbegin();
  for (uint32_t number = 1; number < last; ++number) {
    if (numbers.count(number) == 0) missing.push_back(FullPacket(item.id, number));
  }
  if (!isEnded && last < storage::kMaxPackets) missing.push_back(FullPacket(item.id, last + 1));
}

// The blocks of items that are not whole and that stand once more, byte for byte, as free blocks.
std::map<uint32_t, Bytes> WithoutTwins(const Image& image) {
  std::map<uint32_t, Bytes> twins;
  for (const auto& [id, item] : image.items()) {
    if (item.whole) continue;
    std::set<Bytes> seen;
    for (uint32_t number : item.blocks) {
      Bytes block = image.readBlock(number);
      if (seen.insert(block).second) continue;
      block[storage::kPacketTypeOffset] = storage::kFreeBlock;
      twins.emplace(number, std::move(block));
    }
  }
  return twins;
}

Image With(const Image& image, const MendedBlocks& blocks, bool guesses) {
  std::map<uint32_t, Bytes> mended = WithoutTwins(image);
  for (const auto& [number, block] : blocks) {
    if (guesses || block.isProven()) mended[number] = block.mended.block;
  }
  return mended.empty() ? image : Image(image, std::move(mended));
}

const char* HowText(Proof proof) {
  switch (proof) {
    case Proof::kEndMark:
      return "only its end mark was wrong";
    case Proof::kRepetition:
      return "its filler repeats every byte";
    case Proof::kFiller:
      return "bytes taken from its filler";
    case Proof::kHeader:
      return "given the header of the packet that is missing";
    case Proof::kOneBit:
      return "one bit set right";
    case Proof::kSplit:
      return "its two ends put together again";
  }
  return "";
}

}  // namespace

std::vector<PacketHeader> MissingPackets(const Image& image) {
  std::vector<PacketHeader> missing;
  for (const auto& [id, item] : image.items()) AddMissing(image, item, missing);
  for (const Record& record : image.records()) {
    if (image.findItem(record.id) != nullptr) continue;
    missing.push_back(FullPacket(record.id, 0));
    missing.push_back(FullPacket(record.id, 1));
  }
  return missing;
}

MendedBlocks MendBlocks(const Image& image) {
  MendedBlocks blocks;
  std::vector<uint32_t> damaged;
  for (uint32_t number = 0; number < image.blocks().size(); ++number) {
    const Block& block = image.blocks()[number];
    if (block.header.packetType == storage::kFreeBlock || block.state == BlockState::kFree) continue;
    if (!block.sound || block.state == BlockState::kMalformed) damaged.push_back(number);
  }
  const bool isCut = image.blocks().size() == image.file().blockCount() && image.file().restSize() != 0;
  // Where nothing looks like a vault there is nothing to find out slowly.
  constexpr size_t kMostStrange = 64;
  const bool isStrange = !image.looksLikeVault() && damaged.size() > kMostStrange;
  if ((damaged.empty() && !isCut) || isStrange) return blocks;

  const std::vector<PacketHeader> missing = MissingPackets(image);
  const bool noneFree = image.freeBlockCount() == 0;
  const auto mend = [&](uint32_t number, const Bytes& found) {
    std::optional<Mended> mended = MendBlock(found, missing);
    const Bytes end = image.file().readSplitEnd(number);
    if (!end.empty() && (!mended || !IsProven(*mended))) mended = MendSplit(found, end, missing);
    if (!mended) return;
    const bool saysSo = found.size() > storage::kPacketTypeOffset &&
                        found[storage::kPacketTypeOffset] == mended->block[storage::kPacketTypeOffset];
    const Item* item = image.findItem(storage::DecodeHeader(mended->block.data()).itemId);
    const bool isLacked = item != nullptr && !item->whole;
    blocks.emplace(number, MendedBlock{std::move(*mended), noneFree || saysSo || isLacked});
  };
  for (uint32_t number : damaged) mend(number, image.readBlock(number));
  if (isCut) mend(image.file().blockCount(), image.file().readRest());
  return blocks;
}

Image WithProven(const Image& image, const MendedBlocks& blocks) {
  return With(image, blocks, false);
}

Image WithGuesses(const Image& image, const MendedBlocks& blocks) {
  return With(image, blocks, true);
}

std::map<uint32_t, Bytes> FreedPackets(const Image& image) {
  std::map<uint32_t, Bytes> packets;
  for (uint32_t number = 0; number < image.blocks().size(); ++number) {
    const Block& block = image.blocks()[number];
    if (block.state != BlockState::kFree) continue;
    const Item* item = image.findItem(block.header.itemId);
    const bool isLacking = item == nullptr
                               ? image.findRecord(block.header.itemId) != nullptr || block.header.itemId == 0
                               : !item->whole || item->endsFull;
    if (!isLacking) continue;
    Bytes packet = image.readBlock(number);
    packet[storage::kPacketTypeOffset] =
        block.header.packetSeq == 0 ? storage::kSinglePacket : storage::kPartPacket;
    if (IsPossible(storage::DecodeHeader(packet.data())) &&
        storage::CheckPacket(packet.data()) == storage::kOk)
      packets.emplace(number, std::move(packet));
  }
  return packets;
}

std::string ProofText(const MendedBlock& block) {
  const double once = 1 / block.mended.falseChance;
  std::string text = fmt::format("{}; false less than once in {:.0f}", HowText(block.mended.proof), once);
  if (block.isGuess()) {
    text = fmt::format("{}; this is a guess", HowText(block.mended.proof));
  } else if (!IsProven(block.mended)) {
    text = fmt::format("{}; other damage would look like this once in {:.0f}", HowText(block.mended.proof),
                       once);
  }
  if (!block.isLive) text += "; it may have been free";
  return text;
}

}  // namespace cli
