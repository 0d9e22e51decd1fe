// dump: the library's diagnostic report, word for word, from a vault that stays untouched.
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

void PrintItem(const Image& image, const Item& item, bool hex, Console& console) {
  console.line("item: {{ ID = {}, size = {}, frag count = {} }}", item.id, item.size, item.blocks.size());
  for (uint32_t number : item.blocks) {
    const uint32_t offset = number * storage::kBlockSize;
    console.line("\t\tfragment offset: {}(0x{:x})", offset, offset);
  }
  const ItemBytes bytes = image.readItem(item.id);
  if (!bytes.problems.empty()) {
    console.line("item {} corrupted", item.id);
  } else if (hex) {
    console.line("{}", HexLines(bytes.bytes));
  }
}

ExitCode Dump(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  SayWhatIsRead(image, options.read, console);
  image.requireSound();
  size_t freeBlocks = 0;
  for (const Block& block : image.blocks()) freeBlocks += block.state != BlockState::kUsed ? 1 : 0;
  console.line("file information:");
  console.line("\t size: {}( {}k )", image.fileSize(), image.fileSize() / 1024);
  console.line("\t item num: {}", image.items().size());
  console.line("\t block num: {}", image.blocks().size());
  console.line("\t free block num: {}", freeBlocks);
  const bool hex = options.hex || Environment("DB_DETAIL_HEX") == "Y";
  for (const auto& [id, item] : image.items()) PrintItem(image, item, hex, console);
  RequireUnchanged(image);
  return ExitCode::kFine;
}

}  // namespace

void RegisterDump(Tool& tool) {
  AddCommand<Options>(tool, "dump", "Print the diagnostic report", Declare, Dump);
}

}  // namespace cli
