#include "cli/kinship.h"

#include <algorithm>
#include <map>
#include <set>

#include "cli/bytes.h"
#include "cli/unlisted.h"

namespace cli {

namespace {

std::set<uint32_t> IdsOf(const Image& image) {
  std::set<uint32_t> ids;
  for (const Record& record : image.records()) ids.insert(record.id);
  for (const auto& [id, item] : image.items()) {
    if (image.hasSoundPacket(id)) ids.insert(id);
  }
  ids.erase(0);
  return ids;
}

// What an intact packet says, wherever it stands: the block without its filler.
uint64_t PacketFingerprint(const Image& image, uint32_t number) {
  Bytes packet = image.readBlock(number);
  packet.resize(storage::kHeaderSize + image.blocks()[number].header.dataLength);
  return Fingerprint(packet);
}

bool IsPacket(const Block& block) {
  return block.sound && (block.state == BlockState::kUsed || block.state == BlockState::kLeftOver);
}

std::set<uint64_t> PacketsOf(const Image& image) {
  std::set<uint64_t> packets;
  for (uint32_t number = 0; number < image.blocks().size(); ++number) {
    if (IsPacket(image.blocks()[number])) packets.insert(PacketFingerprint(image, number));
  }
  return packets;
}

}  // namespace

bool IsForeign(const Image& one, const Image& other) {
  const std::set<uint32_t> ids = IdsOf(one);
  const std::set<uint32_t> others = IdsOf(other);
  if (ids.empty() || others.empty()) return false;
  for (uint32_t id : ids) {
    if (others.count(id) != 0) return false;
  }
  return true;
}

std::vector<Record> OnlyInBackup(const Image& vault, const Image& backup) {
  std::map<uint32_t, Record> only;
  for (const Record& record : backup.records()) {
    const Record* own = vault.findRecord(record.id);
    if (own == nullptr || own->kind != record.kind || own->name != record.name)
      only.emplace(record.id, record);
  }
  const bool namesAll = NamesEveryItem(backup, UnlistedItems(backup));
  const std::set<uint64_t> packets = PacketsOf(vault);
  for (const auto& [id, item] : backup.items()) {
    const Record* record = backup.findRecord(id);
    const bool wasDeleted = namesAll && record == nullptr;
    if (id == 0 || wasDeleted || only.count(id) != 0) continue;
    const bool isThere = std::all_of(item.blocks.begin(), item.blocks.end(), [&](uint32_t number) {
      return !IsPacket(backup.blocks()[number]) || packets.count(PacketFingerprint(backup, number)) != 0;
    });
    if (!isThere) only.emplace(id, record != nullptr ? *record : Record{id, 0, std::nullopt});
  }
  std::vector<Record> records;
  for (auto& [id, record] : only) records.push_back(std::move(record));
  return records;
}

}  // namespace cli
