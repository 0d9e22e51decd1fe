// dump: the library's diagnostic report, word for word, from a vault that stays untouched.
#include <algorithm>

#include "cli/host.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  bool hex = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_flag("--hex", options.hex, "With the bytes of every item (as DB_DETAIL_HEX=Y does)");
}

std::string HexLines(const Bytes& bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i % 16 == 0) text += fmt::format("{}0x{:04x} ", i == 0 ? "" : "\n", i);
    text += fmt::format("{:02X} ", bytes[i]);
  }
  return text;
}

std::string ItemText(const Image& image, const Item& item, bool hex) {
  std::vector<uint32_t> fragments = item.blocks;
  fragments.insert(fragments.end(), item.leftovers.begin(), item.leftovers.end());
  std::sort(fragments.begin(), fragments.end());
  std::string text =
      fmt::format("item: {{ ID = {}, size = {}, frag count = {} }}\n", item.id, item.size, fragments.size());
  for (uint32_t number : fragments) {
    const uint32_t offset = number * storage::kBlockSize;
    text += fmt::format("\t\tfragment offset: {}(0x{:x})\n", offset, offset);
  }
  const ItemBytes bytes = image.readItem(item.id);
  if (!bytes.problems.empty()) {
    text += fmt::format("item {} corrupted\n", item.id);
  } else if (hex) {
    text += HexLines(bytes.bytes) + "\n";
  }
  return text;
}

ExitCode Dump(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  image.requireSound();
  std::string report = fmt::format(
      "file information:\n\t size: {}( {}k )\n\t item num: {}\n\t block num: {}\n\t free block num: {}\n",
      image.file().size(), image.file().size() / 1024, image.items().size(), image.blocks().size(),
      image.freeBlockCount());
  const bool hex = options.hex || Environment("DB_DETAIL_HEX") == "Y";
  for (const auto& [id, item] : image.items()) {
    report += ItemText(image, item, hex);
    if (console.json) continue;
    Console::text(report);
    report.clear();
  }
  if (console.json) {
    console.document({{"file", image.fileShown()}, {"report", report}});
  } else {
    Console::text(report);
  }
  RequireUnchanged(image);
  console.note("IDs are decimal here; sizes and offsets are in bytes");
  return ExitCode::kFine;
}

}  // namespace

void RegisterDump(Tool& tool) {
  AddCommand<Options>(tool, "dump", "Print the diagnostic report", Declare, Dump);
}

}  // namespace cli
