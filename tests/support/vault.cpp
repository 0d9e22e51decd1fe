#include "tests/support/vault.h"

#include <algorithm>
#include <array>

namespace vault {

namespace {

constexpr uint32_t kTrailer = 0x89ABCDEF;

struct Packet {
  uint32_t block, type, seq, size, offset;
};

// The packets that are the item, out of all those that bear its ID: its only packet, or numbers 1 to k, where
// k, at least 2, is the first that is not full or surely the last. All of them when they can be read in no way or
// in several, or when a packet of the one reading is damaged.
std::vector<Packet> Current(const Bytes& file, const std::vector<Packet>& all) {
  std::vector<Packet> only, run;
  std::map<uint32_t, std::vector<Packet>> numbered;
  bool unclear = false;
  for (const Packet& p : all) {
    const bool fits = p.size != 0 && p.size <= kRoom;
    const bool isOnly = fits && p.type == 0 && p.seq == 0 && p.offset == 0;
    const bool isNumbered = fits && p.type == 1 && p.seq != 0 && p.offset == (p.seq - 1) * kRoom;
    if (isOnly) only.push_back(p);
    if (isNumbered) numbered[p.seq].push_back(p);
    unclear |= !isOnly && !isNumbered;
  }
  bool ends = false;
  for (uint32_t seq = 1; !ends && numbered.count(seq) != 0; ++seq) {
    if (numbered[seq].size() > 1) return all;
    run.push_back(numbered[seq].front());
    ends = run.back().size < kRoom || (!unclear && seq == numbered.rbegin()->first);
  }
  const bool isRun = ends && run.size() > 1;
  if (only.size() + (isRun ? 1 : 0) != 1) return all;
  const std::vector<Packet>& reading = isRun ? run : only;
  const auto isSound = [&](const Packet& p) { return IsSound(file.data() + p.block * kBlock); };
  return std::all_of(reading.begin(), reading.end(), isSound) ? reading : all;
}

}  // namespace

uint32_t Get(const uint8_t* at, int width) {
  uint32_t value = 0;
  for (int i = width - 1; i >= 0; --i) value = value << 8 | at[i];
  return value;
}

void Put(uint8_t* at, uint32_t value, int width) {
  for (int i = 0; i < width; ++i) at[i] = static_cast<uint8_t>(value >> 8 * i);
}

uint32_t Checksum(const uint8_t* bytes, size_t size) {
  static const auto table = [] {
    std::array<uint32_t, 256> sums{};  // of one byte each
    for (uint32_t byte = 0; byte < 256; ++byte) {
      for (int bit = 7; bit >= 0; --bit) {
        const bool carry = ((sums[byte] >> 15 & 1) ^ (byte >> bit & 1)) != 0;
        sums[byte] = carry ? sums[byte] << 1 ^ 0xA001 : sums[byte] << 1;
      }
    }
    return sums;
  }();
  uint32_t sum = 0;
  for (size_t i = 0; i < size; ++i) sum = sum << 8 ^ table[(sum >> 8 ^ bytes[i]) & 0xFF];
  return sum;
}

bool IsSound(const uint8_t* block) {
  const uint32_t size = Get(block + 4);
  return size <= kRoom && Checksum(block, 16 + size) == Get(block + 1016);
}

Bytes MakeBlock(uint32_t id, const Bytes& item, uint32_t index) {
  Bytes block(kBlock);
  uint8_t* const at = block.data();
  const uint32_t size = std::min(static_cast<uint32_t>(item.size()) - index * kRoom, kRoom);
  const bool many = item.size() > kRoom;
  at[0] = 0x41;
  at[1] = many ? 1 : 0;
  Put(at + 2, many ? index + 1 : 0, 2);
  Put(at + 4, size);
  Put(at + 8, index * kRoom);
  Put(at + 12, id);
  std::copy_n(item.begin() + index * kRoom, size, block.begin() + 16);
  for (uint32_t i = 0; i < (kRoom - size) / 4; ++i) Put(at + 16 + size + 4 * i, i * i + Get(at + 4 * i));
  Put(at + 1016, Checksum(at, 16 + size));
  Put(at + 1020, kTrailer);
  return block;
}

Bytes MakeBlocks(uint32_t id, const Bytes& item) {
  Bytes blocks;
  for (uint32_t i = 0; i < BlocksFor(item.size()); ++i) {
    const Bytes block = MakeBlock(id, item, i);
    blocks.insert(blocks.end(), block.begin(), block.end());
  }
  return blocks;
}

Scan ScanFile(const Bytes& file) {
  Scan scan;
  std::map<uint32_t, std::vector<Packet>> found;
  for (uint32_t b = 0; b < file.size() / kBlock; ++b) {
    const uint8_t* at = file.data() + b * kBlock;
    if (at[1] == 2) {
      scan.free.insert(b);
    } else {
      found[Get(at + 12)].push_back({b, at[1], Get(at + 2, 2), Get(at + 4), Get(at + 8)});
    }
  }
  for (const auto& [id, all] : found) {
    Item& item = scan.items[id];
    for (const Packet& p : all) item.blocks.push_back(p.block);
    for (const Packet& p : all.size() == 1 ? all : Current(file, all)) {
      item.size += p.size;
      item.reading.push_back(p.block);
    }
  }
  return scan;
}

std::optional<Bytes> Assemble(const Bytes& file, const Item& item) {
  if (item.size > file.size()) return std::nullopt;
  Bytes bytes(item.size);
  for (const uint32_t b : item.reading) {
    const uint8_t* at = file.data() + b * kBlock;
    const uint32_t size = Get(at + 4);
    const uint32_t offset = Get(at + 8);
    if (!IsSound(at) || offset >= item.size || size > item.size - offset) return std::nullopt;
    std::copy_n(at + 16, size, bytes.begin() + offset);
  }
  return bytes;
}

Bytes MakeTable(const std::vector<Record>& records) {
  Bytes item;
  const auto append = [&item](uint32_t value, int width) {
    item.resize(item.size() + static_cast<size_t>(width));
    Put(item.data() + item.size() - width, value, width);
  };
  for (const Record& record : records) {
    const size_t units = record.userData ? record.userData->size() + 1 : 0;
    for (const uint32_t field : {record.reserved[0], record.reserved[1], record.kind, record.id})
      append(field, 4);
    append(static_cast<uint32_t>(2 * units), 4);
    for (size_t i = 0; i < units; ++i) append(record.userData->c_str()[i], 2);
  }
  return item;
}

std::optional<std::vector<Record>> ReadTable(const Bytes& item) {
  std::vector<Record> records;
  for (size_t at = 0; at + 1 < item.size();) {
    if (item.size() - at < 20) return std::nullopt;
    const uint8_t* const header = &item[at];
    const uint32_t size = Get(header + 16);
    at += 20;
    if (size % 2 != 0 || size > item.size() - at) return std::nullopt;
    records.push_back({{Get(header), Get(header + 4)}, Get(header + 8), Get(header + 12), std::nullopt});
    if (size == 0) continue;
    PmString& text = records.back().userData.emplace();
    for (const size_t end = at + size; at < end; at += 2)
      text.push_back(static_cast<PmChar>(Get(&item[at], 2)));
    if (text.back() != 0) return std::nullopt;
    text.pop_back();
  }
  return records;
}

bool Opens(const Bytes& file) {
  if (file.size() % kBlock != 0) return false;
  for (size_t at = 0; at < file.size(); at += kBlock) {
    if ((file[at] & 0xFE) != 0x40 || Get(&file[at + 1020]) != kTrailer) return false;
  }
  const auto items = ScanFile(file).items;
  const auto table = items.find(0);
  const std::optional<Bytes> bytes = table == items.end() ? Bytes() : Assemble(file, table->second);
  return bytes && ReadTable(*bytes);
}

bool Restores(const Bytes& backup) {
  bool sound = Opens(backup);
  for (size_t at = 0; sound && at < backup.size(); at += kBlock)
    sound = backup[at + 1] == 2 || IsSound(&backup[at]);
  return sound;
}

std::string Fault(const Bytes& file) {
  if (!Opens(file)) return "it would not open";
  for (size_t b = 0; b < file.size() / kBlock; ++b) {
    if (file[b * kBlock + 1] > 2) return "block " + std::to_string(b);
  }
  for (const auto& [id, item] : ScanFile(file).items) {
    if (!Assemble(file, item)) return "item " + std::to_string(id);
  }
  return "";
}

}  // namespace vault
