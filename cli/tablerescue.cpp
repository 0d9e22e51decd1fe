#include "cli/tablerescue.h"

#include <algorithm>
#include <set>

#include "storage/pack.h"
#include "storage/result.h"

namespace cli {

namespace {

constexpr size_t kHeaderSize = 20;
constexpr size_t kStep = 2;  // records begin at even positions only

// The table's bytes and which of them are there.
struct Remains {
  Bytes bytes;
  std::vector<bool> intact;
};

Remains Collect(const Image& image) {
  Remains remains;
  const auto found = image.items().find(0);
  if (found == image.items().end()) return remains;
  for (uint32_t number : found->second.blocks) {
    const storage::PacketHeader& header = image.blocks()[number].header;
    const Bytes block = image.readBlock(number);
    const uint64_t end = uint64_t{header.itemOffset} + header.dataLength;
    if (storage::CheckPacket(block.data()) != storage::kOk || end > storage::kMaxItemSize) continue;
    if (end > remains.bytes.size()) {
      remains.bytes.resize(static_cast<size_t>(end));
      remains.intact.resize(static_cast<size_t>(end));
    }
    std::copy_n(block.data() + storage::kHeaderSize, header.dataLength,
                remains.bytes.data() + header.itemOffset);
    std::fill_n(remains.intact.begin() + header.itemOffset, header.dataLength, true);
  }
  return remains;
}

// The size of the record that stands at `at`, 0 when none does. In doubt, behind a gap, it must look like
// one.
size_t RecordSizeAt(const Image& image, const Remains& remains, size_t at, bool inDoubt) {
  const Bytes& bytes = remains.bytes;
  const auto isIntact = [&](size_t begin, size_t end) {
    const auto from = remains.intact.begin();
    return end <= bytes.size() &&
           std::all_of(from + static_cast<std::ptrdiff_t>(begin), from + static_cast<std::ptrdiff_t>(end),
                       [](bool b) { return b; });
  };
  if (!isIntact(at, at + kHeaderSize)) return 0;
  const uint32_t nameSize = storage::LoadU32(&bytes[at + 16]);
  const size_t end = at + kHeaderSize + nameSize;
  if (nameSize % 2 != 0 || !isIntact(at, end)) return 0;
  for (size_t i = at + kHeaderSize; i < end; i += 2) {
    const bool isLast = i + 2 == end;
    if (isLast != (bytes[i] == 0 && bytes[i + 1] == 0)) return 0;
  }
  if (!inDoubt) return end - at;
  const bool reservedFit = storage::LoadU32(&bytes[at]) == 0 && storage::LoadU32(&bytes[at + 4]) == 0;
  const uint32_t id = storage::LoadU32(&bytes[at + 12]);
  return reservedFit && id != 0 && image.items().count(id) != 0 ? end - at : 0;
}

}  // namespace

std::vector<Record> RescueRecords(const Image& image) {
  const Remains remains = Collect(image);
  std::vector<Record> records;
  std::set<uint32_t> seen;
  bool inDoubt = false;
  for (size_t at = 0; at + kHeaderSize <= remains.bytes.size();) {
    const size_t size = RecordSizeAt(image, remains, at, inDoubt);
    inDoubt = size == 0;
    if (size > 0) {
      const auto from = remains.bytes.begin() + static_cast<std::ptrdiff_t>(at);
      std::vector<Record> one;
      ParseIdTable(Bytes(from, from + static_cast<std::ptrdiff_t>(size)), one);
      for (Record& record : one) {
        if (record.id != 0 && seen.insert(record.id).second) records.push_back(std::move(record));
      }
    }
    at += size > 0 ? size : kStep;
  }
  return records;
}

}  // namespace cli
