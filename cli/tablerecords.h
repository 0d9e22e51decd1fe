// The ID table as records: what the library stores in item 0, read by the library's own rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/bytes.h"
#include "cli/unicode.h"

namespace catalogue {
struct StoredRecord;
}

namespace cli {

// One entry of the ID table.
struct Record {
  uint32_t id = 0;
  uint32_t kind = 0;
  std::optional<PmString> name;  // the user data
};

// A record as the library reads it from a table's bytes.
Record ToRecord(const catalogue::StoredRecord& stored);

// Reads an ID table; records up to the first that makes no sense. The complaint, empty when there is none.
std::string ParseIdTable(const Bytes& table, std::vector<Record>& records);

}  // namespace cli
