// Names of files for items, which "export" gives them: every item's name becomes one, on every system, and no two the
// same. (What people call an item is in itemnames.h.)
//
// A '/' in an item's name makes a folder. What no system takes as it is is written as "%" and two hexadecimal
// digits, of a byte of the UTF-8; an unpaired surrogate as "%u" and four. That is
//   - what Windows forbids: controls and < > : " | ? * \, a full stop or a space at the end of a part, the first
//     letter of a device name (CON, COM1, ...)
//   - a '/' that makes no folder: at the beginning, at the end, behind another one
//   - the full stops of "." and ".."
//   - "%" itself
// A name that is taken already (also by one that differs in the case of letters only, or as a folder), that is
// empty, too long, or none at all, ends in "%~" and the item's ID.
#pragma once

#include <string>
#include <vector>

#include "cli/image.h"

namespace cli {

// The files' paths, with '/' between folders, for records in their order.
std::vector<std::string> FileNames(const std::vector<const Record*>& records);

// The list of an exported folder's files, a name that no item's file gets: for each a line with its "file" and
// the item's "id", "kind" and "name".
constexpr char kManifestName[] = "%manifest.jsonl";

}  // namespace cli
