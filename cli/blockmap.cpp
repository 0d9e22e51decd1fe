#include "cli/blockmap.h"

#include <algorithm>

#include "cli/unlisted.h"

namespace cli {

const TileStyle& StyleOf(Tile tile) {
  static constexpr TileStyle kStyles[] = {
      {"free", '.', Colour::kDim, "#e4e4e4"},        {"left over", '~', Colour::kDim, "#cfc6b8"},
      {"ID table", 'T', Colour::kYellow, "#e8a33d"}, {"item", '#', Colour::kBlue, "#4f8fc0"},
      {"damaged", 'X', Colour::kRed, "#d03030"},
  };
  return kStyles[static_cast<size_t>(tile)];
}

std::vector<MapBlock> MakeBlockMap(const Image& image) {
  std::vector<MapBlock> map;
  map.reserve(image.blocks().size() + 1);
  const std::vector<uint32_t> unlisted = UnlistedItems(image);
  const bool namesAll = NamesEveryItem(image, unlisted);
  for (const Block& block : image.blocks()) {
    const uint32_t id = block.header.itemId;
    const bool isUnlisted = namesAll && std::binary_search(unlisted.begin(), unlisted.end(), id);
    MapBlock tile{id == 0 ? Tile::kTable : Tile::kItem, id};
    if (block.state == BlockState::kFree) tile = {Tile::kFree, 0};
    if (block.state == BlockState::kLeftOver || isUnlisted) tile = {Tile::kLeftOver, 0};
    if (block.state == BlockState::kUsed && !block.sound) tile = {Tile::kDamaged, id};
    if (block.state == BlockState::kMalformed) tile = {Tile::kDamaged, 0};
    map.push_back(tile);
  }
  if (map.size() == image.file().blockCount() && image.file().restSize() != 0)
    map.push_back({Tile::kDamaged, 0});  // the part of a block
  return map;
}

size_t ScaleOf(const std::vector<MapBlock>& map, size_t cells) {
  return std::max<size_t>(1, (map.size() + cells - 1) / cells);
}

MapBlock WorstOf(const std::vector<MapBlock>& map, size_t first, size_t count) {
  const auto begin = map.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = map.begin() + static_cast<std::ptrdiff_t>(std::min(map.size(), first + count));
  return *std::max_element(begin, end, [](const MapBlock& a, const MapBlock& b) { return a.tile < b.tile; });
}

size_t CountTiles(const std::vector<MapBlock>& map, Tile tile) {
  return static_cast<size_t>(
      std::count_if(map.begin(), map.end(), [tile](const MapBlock& block) { return block.tile == tile; }));
}

}  // namespace cli
