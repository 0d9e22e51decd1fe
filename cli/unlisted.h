// Items that the ID table does not name: left over, or all that remains of a table that is lost.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/image.h"

namespace cli {

// The items that no record names and that have a sound packet.
std::vector<uint32_t> UnlistedItems(const Image& image);

// Whether the ID table names every item there is, as far as anybody can tell. Items that it does not name are
// then left over and to be forgotten; otherwise they are what is left of its loss.
bool NamesEveryItem(const Image& image, const std::vector<uint32_t>& unlisted);

// Fails for a vault whose ID table has lost items: with the next change they would be forgotten.
void RequireAllNamed(const Image& image);

}  // namespace cli
