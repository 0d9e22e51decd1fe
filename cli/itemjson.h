// An item as JSON, which every command writes alike and "import" reads from the lines of an export.
//
//   {"id":"0x1A2B3C4D","kind":1,"name":"mail","data":"aGVsbG8="}
//
// "name" is null for an item without user data. A name that is not well-formed UTF-16 goes by "name16", the
// base64 of its code units, little-endian. "data" is base64. "id" may be missing where new IDs are drawn.
#pragma once

#include <optional>
#include <string>

#include "cli/console.h"
#include "cli/tablerecords.h"

namespace cli {

// Adds a name to an object: "name", which is null for none, or "name16".
void AddName(Json& json, const std::optional<PmString>& name);

Json ToJson(const Record& record);
Json ToJson(const Record& record, const Bytes& bytes);

struct ItemLine {
  Record record;  // the ID is 0 where the line has none
  Bytes bytes;
};

// Reads one line; a failure names the line's number.
ItemLine ParseItemLine(const std::string& line, size_t number);

// Reads one line of an exported folder's list (see filenames.h): the file's name and its item.
std::pair<std::string, Record> ParseManifestLine(const std::string& line, size_t number);

}  // namespace cli
