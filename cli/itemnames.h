// What people call an item: which one a word on the command line means, and how the tool shows its name.
#pragma once

#include <optional>
#include <string>

#include "cli/image.h"

namespace cli {

// The item that `word` means: its ID in decimal or as 0x…, or its name. `kind` narrows names to one kind.
// Fails when there is none, and when several items of different kinds have the name.
const Record& FindItem(const Image& image, const std::string& word, std::optional<uint32_t> kind);

// The name as the tool shows it: printable, "" for an empty one, and IdText in parentheses for an item without
// a name.
std::string ShownName(const Record& record);

// The ID and, behind it, the name if there is one.
std::string IdAndName(const Record& record);

}  // namespace cli
