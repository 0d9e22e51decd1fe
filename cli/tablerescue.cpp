#include "cli/tablerescue.h"

#include <algorithm>
#include <set>

#include "catalogue/tableformat.h"

namespace cli {

namespace {

using catalogue::StoredRecord;

constexpr uint32_t kStep = 2;  // records begin at even positions only

bool IsThere(const ItemRemains& table, uint32_t begin, uint32_t end) {
  const auto from = table.isThere.begin();
  return std::all_of(from + static_cast<std::ptrdiff_t>(begin), from + static_cast<std::ptrdiff_t>(end),
                     [](bool b) { return b; });
}

// Whether the user data has its only zero code unit at its end, as the library stores it.
bool EndsOnce(const StoredRecord& record) {
  for (uint32_t i = 0; i + 2 < record.userDataSize; i += 2) {
    if (record.userData[i] == 0 && record.userData[i + 1] == 0) return false;
  }
  return true;
}

}  // namespace

// The library's decoder reads a record wherever it is pointed at, be it into a gap or, behind one, into the middle of
// a record. So what it gives is taken only where all its bytes are there; and, as long as it is in doubt whether a
// record begins there, only where it could not well be anything else.
std::vector<Record> RescueRecords(const Image& image) {
  const ItemRemains table = image.readRemains(storage::kIdTableItem);
  const auto size = static_cast<uint32_t>(table.bytes.size());
  std::vector<Record> records;
  std::set<uint32_t> seen;
  bool inDoubt = false;
  for (uint32_t at = 0; at < size;) {
    uint32_t end = at;
    StoredRecord stored;
    const bool isDecoded = catalogue::DecodeRecord(table.bytes.data(), size, &end, &stored) ==
                               catalogue::RecordResult::kRecord &&
                           IsThere(table, at, end) && EndsOnce(stored);
    const bool looksLikeOne = isDecoded && stored.reserved0 == 0 && stored.reserved1 == 0 &&
                              stored.itemId != 0 && image.findItem(stored.itemId) != nullptr;
    inDoubt = inDoubt ? !looksLikeOne : !isDecoded;
    if (!inDoubt && stored.itemId != 0 && seen.insert(stored.itemId).second)
      records.push_back(ToRecord(stored));
    at = inDoubt ? at + kStep : end;
  }
  return records;
}

}  // namespace cli
