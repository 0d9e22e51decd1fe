// blocks: the block map as a picture, in the terminal or as an SVG file.
#include "cli/blocksvg.h"
#include "cli/files.h"
#include "cli/host.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::string svg;
  bool byItem = false;
  bool force = false;
};

constexpr size_t kRows = 24;  // of a picture that has to be scaled
constexpr size_t kMarginColumns = 10;

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("--svg", options.svg, "Write the picture to this SVG file; - is standard output");
  command.add_flag("--by-item", options.byItem, "Give each item a letter, or a colour, of its own");
  command.add_flag("--force,-f", options.force, "Overwrite the SVG file");
}

// The letters go round; neighbouring items of the file get different ones.
class Letters {
 public:
  char of(uint32_t id) {
    constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSUVWYZ0123456789";
    return kLetters[numbers_.emplace(id, numbers_.size()).first->second % (sizeof kLetters - 1)];
  }

 private:
  std::map<uint32_t, size_t> numbers_;
};

void Draw(const std::vector<MapBlock>& map, bool byItem, Console& console) {
  const auto width = static_cast<size_t>(std::max(TerminalWidth(), 30));
  const size_t columns = (width - kMarginColumns) / 8 * 8;
  const size_t scale = ScaleOf(map, columns * kRows);
  Letters letters;
  for (size_t row = 0; row < map.size(); row += columns * scale) {
    std::string line;
    const size_t rowEnd = std::min(map.size(), row + columns * scale);
    for (size_t at = row; at < rowEnd; at += scale) {
      const MapBlock worst = WorstOf(map, at, scale);
      const TileStyle& style = StyleOf(worst.tile);
      const char sign = byItem && worst.tile == Tile::kItem ? letters.of(worst.itemId) : style.sign;
      line += console.paint(style.colour, std::string(1, sign));
    }
    console.line("{:>8}  {}", row, line);
  }
  std::string legend;
  for (Tile tile : kTilesInLegend) {
    const TileStyle& style = StyleOf(tile);
    legend += fmt::format("  {} {} {}", console.paint(style.colour, std::string(1, style.sign)),
                          CountTiles(map, tile), style.name);
  }
  console.line("{}", legend);
  if (scale > 1) console.line("  each sign stands for {} blocks and shows the worst of them", scale);
}

void PrintJson(const Image& image, const std::vector<MapBlock>& map, Console& console) {
  Json runs = Json::array();
  for (size_t first = 0, last = 0; first < map.size(); first = last + 1) {
    last = first;
    while (last + 1 < map.size() && map[last + 1].tile == map[first].tile &&
           map[last + 1].itemId == map[first].itemId)
      ++last;
    Json run{{"first", first}, {"count", last - first + 1}, {"state", StyleOf(map[first].tile).name}};
    if (map[first].itemId != 0) run["item"] = IdText(map[first].itemId);
    runs.push_back(run);
  }
  console.document({{"file", image.fileShown()}, {"blocks", map.size()}, {"runs", runs}});
}

ExitCode Blocks(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  const std::vector<MapBlock> map = MakeBlockMap(image);
  RequireUnchanged(image);
  if (!options.svg.empty()) {
    const std::string svg = DrawSvg(image, map, {options.byItem, true, true});
    if (options.svg == "-") {
      console.json ? console.document({{"svg", svg}}) : Console::text(svg);
    } else {
      RequireOutputApart(options.read, options.svg);
      WriteWholeFile(std::filesystem::u8path(options.svg), Bytes(svg.begin(), svg.end()), options.force);
      console.json ? console.document({{"file", image.fileShown()}, {"svg", options.svg}})
                   : console.note("picture written to {}", options.svg);
    }
  } else if (console.json) {
    PrintJson(image, map, console);
  } else {
    Draw(map, options.byItem, console);
  }
  return CountTiles(map, Tile::kDamaged) > 0 || !image.fileProblems().empty() ? ExitCode::kProblems
                                                                              : ExitCode::kFine;
}

}  // namespace

void RegisterBlocks(Tool& tool) {
  AddCommand<Options>(tool, "blocks", "Draw the block map", Declare, Blocks);
}

}  // namespace cli
