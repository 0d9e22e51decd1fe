#include "cli/blockmap.h"

#include <algorithm>

#include "cli/findings.h"
#include "cli/names.h"

namespace cli {

namespace {

constexpr int kCell = 8;           // pixels a block
constexpr uint32_t kColumns = 96;  // blocks a row
constexpr int kMargin = 16;
constexpr int kHead = 56;  // pixels of title and legend

std::string EscapeXml(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// Items are told apart by their shade of one colour, which the ID decides.
std::string FillOf(const MapBlock& block) {
  if (block.tile != Tile::kItem) return StyleOf(block.tile).svgColour;
  const uint32_t mixed = block.itemId * 2654435761U;
  return fmt::format("hsl({},{}%,{}%)", 190 + (mixed >> 24) % 50, 55 + (mixed >> 16) % 30,
                     45 + (mixed >> 8) % 25);
}

std::string TipOf(const Image& image, const MapBlock& block, uint32_t first, uint32_t last) {
  const std::string place =
      first == last ? fmt::format("block {}", first) : fmt::format("blocks {} to {}", first, last);
  const Record* record = image.findRecord(block.itemId);
  const bool named = block.tile == Tile::kItem || (block.tile == Tile::kDamaged && record != nullptr);
  const std::string item =
      !named ? "" : fmt::format(" {}{}", IdText(block.itemId), record ? " " + ShownName(*record) : "");
  return EscapeXml(fmt::format("{}: {}{}", place, StyleOf(block.tile).name, item));
}

bool SameRun(const MapBlock& a, const MapBlock& b) {
  return a.tile == b.tile && a.itemId == b.itemId;
}

}  // namespace

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

std::string DrawSvg(const Image& image, const std::vector<MapBlock>& map) {
  const auto count = static_cast<uint32_t>(map.size());
  const uint32_t rows = (count + kColumns - 1) / kColumns;
  const int width = 2 * kMargin + static_cast<int>(kColumns) * kCell;
  const int height = kMargin + kHead + static_cast<int>(rows) * kCell;
  std::string svg = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      "<text x=\"{2}\" y=\"20\" font-size=\"14\">{3}: {4} blocks of 1024 bytes</text>\n",
      width, height, kMargin, EscapeXml(image.fileShown()), count);
  int x = kMargin;
  for (Tile tile : {Tile::kTable, Tile::kItem, Tile::kFree, Tile::kLeftOver, Tile::kDamaged}) {
    svg += fmt::format(
        "<rect x=\"{}\" y=\"32\" width=\"10\" height=\"10\" fill=\"{}\"/><text x=\"{}\" y=\"41\">{}</text>\n",
        x, StyleOf(tile).svgColour, x + 14, StyleOf(tile).name);
    x += 90;
  }
  for (uint32_t first = 0, last = 0; first < count; first = last + 1) {
    last = first;  // a run ends with its row
    while (last + 1 < count && (last + 1) % kColumns != 0 && SameRun(map[last + 1], map[first])) ++last;
    svg += fmt::format(
        "<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"{}\"><title>{}</title></rect>\n",
        kMargin + static_cast<int>(first % kColumns) * kCell,
        kHead + static_cast<int>(first / kColumns) * kCell, static_cast<int>(last - first + 1) * kCell - 1,
        kCell - 1, FillOf(map[first]), TipOf(image, map[first], first, last));
  }
  return svg + "</svg>\n";
}

}  // namespace cli
