// The block map: what each block of a vault is, and the sign and colour that stand for it wherever it is drawn.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/image.h"

namespace cli {

// From what matters least to what matters most.
enum class Tile { kFree, kLeftOver, kTable, kItem, kDamaged };

struct MapBlock {
  Tile tile{};
  uint32_t itemId = 0;  // of kTable and kItem, and of kDamaged where it is known
};

// What each block is.
std::vector<MapBlock> MakeBlockMap(const Image& image);

// How many blocks share a sign or cell so that at most `cells` are drawn.
size_t ScaleOf(const std::vector<MapBlock>& map, size_t cells);

// Of blocks that share one, the one that matters most.
MapBlock WorstOf(const std::vector<MapBlock>& map, size_t first, size_t count);

struct TileStyle {
  const char* name = nullptr;
  char sign = '\0';
  Colour colour{};
  const char* svgColour = nullptr;
};
const TileStyle& StyleOf(Tile tile);
constexpr Tile kTilesInLegend[] = {Tile::kTable, Tile::kItem, Tile::kFree, Tile::kLeftOver, Tile::kDamaged};

size_t CountTiles(const std::vector<MapBlock>& map, Tile tile);

}  // namespace cli
