#include "cli/tablerecords.h"

#include <fmt/format.h>

#include "catalogue/tableformat.h"

namespace cli {

namespace {

// What is wrong with a record, as the rest of a sentence.
const char* ComplaintOf(catalogue::RecordResult result) {
  switch (result) {
    case catalogue::RecordResult::kCutShort:
      return "is cut short";
    case catalogue::RecordResult::kRunsPastEnd:
      return "has user data that runs past the end";
    case catalogue::RecordResult::kOddSize:
      return "has user data of an odd size";
    case catalogue::RecordResult::kNoTerminator:
      return "has user data without an end";
    default:
      return "";
  }
}

}  // namespace

Record ToRecord(const catalogue::StoredRecord& stored) {
  Record record{stored.itemId, stored.kind, std::nullopt};
  if (stored.userDataSize == 0) return record;
  record.name.emplace();
  for (uint32_t i = 0; i + 2 < stored.userDataSize; i += 2)
    record.name->push_back(static_cast<PmChar>(stored.userData[i] | stored.userData[i + 1] << 8));
  record.name->resize(std::char_traits<PmChar>::length(record.name->c_str()));
  return record;
}

std::string ParseIdTable(const Bytes& table, std::vector<Record>& records) {
  const auto size = static_cast<uint32_t>(table.size());
  uint32_t at = 0;
  catalogue::StoredRecord stored;
  catalogue::RecordResult result;
  while ((result = catalogue::DecodeRecord(table.data(), size, &at, &stored)) ==
         catalogue::RecordResult::kRecord)
    records.push_back(ToRecord(stored));
  if (result == catalogue::RecordResult::kEnd) return "";
  return fmt::format("record {} of the ID table (byte {}) {}", records.size() + 1, at, ComplaintOf(result));
}

}  // namespace cli
