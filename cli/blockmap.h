// The block map of a vault, to be drawn.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/inspect.h"

namespace cli {

enum class Tile { kFree, kLeftOver, kTable, kItem, kDamaged };

struct MapBlock {
  Tile tile;
  uint32_t itemId;  // of kTable and kItem, and of kDamaged where it is known
};

// What each block is, its checksum looked at.
std::vector<MapBlock> MakeBlockMap(const Image& image);

struct TileStyle {
  const char* name;
  char sign;
  Colour colour;
  const char* svgColour;
};
const TileStyle& StyleOf(Tile tile);

// The map as a picture on its own, with a legend and a tool tip for every run of equal blocks.
std::string DrawSvg(const Image& image, const std::vector<MapBlock>& map);

}  // namespace cli
