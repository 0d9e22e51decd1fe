#include "cli/blocksvg.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/itemnames.h"
#include "cli/text.h"

namespace cli {

namespace {

constexpr int kCell = 8;      // pixels a block
constexpr int kColumns = 96;  // cells a row
constexpr size_t kMostCells = 4032;
constexpr int kMargin = 16;
constexpr int kHead = 56;  // pixels of title and legend

// Items are told apart by colours that go round the circle.
std::string FillOf(const MapBlock& block, bool byItem) {
  if (block.tile != Tile::kItem || !byItem) return StyleOf(block.tile).svgColour;
  const uint32_t mixed = block.itemId * 2654435761U;
  return fmt::format("hsl({},{}%,{}%)", (mixed >> 20) % 360, 45 + (mixed >> 12) % 30, 45 + (mixed >> 4) % 20);
}

// A run of equal cells: which blocks, and what they are.
struct Run {
  size_t first = 0;  // block
  size_t last = 0;
  MapBlock block;
  bool isMixed = false;  // the cells show the worst of several blocks
};

std::string TipOf(const Image& image, const Run& run, bool names) {
  const std::string place = run.first == run.last ? fmt::format("block {}", run.first)
                                                  : fmt::format("blocks {} to {}", run.first, run.last);
  if (run.isMixed) return fmt::format("{}: at worst {}", place, StyleOf(run.block.tile).name);
  const Record* record = image.findRecord(run.block.itemId);
  const bool named = run.block.tile == Tile::kItem || (run.block.tile == Tile::kDamaged && record != nullptr);
  std::string text = fmt::format("{}: {}", place, StyleOf(run.block.tile).name);
  if (named) text += " " + IdText(run.block.itemId);
  if (named && names && record != nullptr) text += " " + ShownName(*record);
  return EscapeXml(text);
}

bool LookAlike(const MapBlock& a, const MapBlock& b) {
  return a.tile == b.tile && a.itemId == b.itemId;
}

std::string Head(const Image& image, size_t blocks, size_t scale) {
  const std::string each =
      scale > 1 ? fmt::format("; each cell stands for {} and shows the worst", scale) : "";
  std::string svg = fmt::format(
      "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      "<text x=\"{}\" y=\"20\" font-size=\"14\">{}: {} blocks of 1024 bytes{}</text>\n",
      kMargin, EscapeXml(image.fileShown()), blocks, each);
  int x = kMargin;
  for (Tile tile : kTilesInLegend) {
    svg += fmt::format(
        "<rect x=\"{}\" y=\"32\" width=\"10\" height=\"10\" fill=\"{}\"/><text x=\"{}\" y=\"41\">{}</text>\n",
        x, StyleOf(tile).svgColour, x + 14, StyleOf(tile).name);
    x += 90;
  }
  return svg;
}

}  // namespace

std::string DrawSvg(const Image& image, const std::vector<MapBlock>& map, const SvgOptions& options) {
  const size_t scale = ScaleOf(map, kMostCells);
  const size_t cells = (map.size() + scale - 1) / scale;
  const auto rows = static_cast<int>((cells + kColumns - 1) / kColumns);
  const int margin = options.alone ? kMargin : 0;
  const int top = options.alone ? kHead : 0;
  std::string svg = fmt::format(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" "
      "font-family=\"sans-serif\" font-size=\"12\">\n",
      2 * margin + kColumns * kCell, top + rows * kCell + margin);
  if (options.alone) svg += Head(image, map.size(), scale);
  for (size_t first = 0, last = 0; first < cells; first = last + 1) {
    const MapBlock block = WorstOf(map, first * scale, scale);
    last = first;  // a run ends with its row
    while (last + 1 < cells && (last + 1) % kColumns != 0 &&
           LookAlike(WorstOf(map, (last + 1) * scale, scale), block))
      ++last;
    const Run run{first * scale, std::min(map.size(), (last + 1) * scale) - 1, block, scale > 1};
    svg += fmt::format(
        "<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"{}\"><title>{}</title></rect>\n",
        margin + static_cast<int>(first % kColumns) * kCell, top + static_cast<int>(first / kColumns) * kCell,
        static_cast<int>(last - first + 1) * kCell - 1, kCell - 1, FillOf(block, options.byItem),
        TipOf(image, run, options.names));
  }
  return svg + "</svg>\n";
}

}  // namespace cli
