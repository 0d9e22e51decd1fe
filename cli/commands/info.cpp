// info: what a vault is, at a glance.
#include "cli/host.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
};

struct Count {
  size_t items = 0;
  uint64_t bytes = 0;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
}

std::string BackupText(const VaultPath& path) {
  if (!platform::Exists(path.backup.c_str()))
    return "none: the vault was closed properly, or not written to since it was opened";
  return path.backupShown +
         ": a program has the vault open, or the last one ended without closing it; "
         "while the backup stands, it is what counts";
}

std::map<uint32_t, Count> CountKinds(const Image& image) {
  std::map<uint32_t, Count> kinds;
  for (const Record& record : image.records()) {
    Count& count = kinds[record.kind];
    const auto item = image.items().find(record.id);
    ++count.items;
    count.bytes += item == image.items().end() ? 0 : item->second.size;
  }
  return kinds;
}

ExitCode Info(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  const Image image(path, options.read.source);
  SayWhatIsRead(image, options.read, console);
  const std::map<uint32_t, Count> kinds = CountKinds(image);
  size_t freeBlocks = 0;
  for (const Block& block : image.blocks()) freeBlocks += block.state == BlockState::kUsed ? 0 : 1;
  const std::string changed = LocalTime(image.modified());
  Count all;
  for (const auto& [kind, count] : kinds) {
    all.items += count.items;
    all.bytes += count.bytes;
  }
  if (console.json) {
    Json kindList = Json::array();
    for (const auto& [kind, count] : kinds)
      kindList.push_back({{"kind", kind}, {"items", count.items}, {"bytes", count.bytes}});
    console.document({{"file", image.fileShown()},
                      {"size", image.fileSize()},
                      {"blocks", image.blocks().size()},
                      {"freeBlocks", freeBlocks},
                      {"items", all.items},
                      {"bytes", all.bytes},
                      {"kinds", kindList},
                      {"backup", platform::Exists(path.backup.c_str()) ? Json(path.backupShown) : Json()},
                      {"lastChange", changed}});
  } else {
    console.line("File         {}", image.fileShown());
    console.line("Size         {}", SizeText(image.fileSize()));
    console.line("Last change  {}", changed);
    console.line("Blocks       {}, {} of them free", image.blocks().size(), freeBlocks);
    console.line("Items        {}, {}", all.items, SizeText(all.bytes));
    for (const auto& [kind, count] : kinds)
      console.line("  kind {:<6} {}, {}", kind, count.items, SizeText(count.bytes));
    console.line("Backup       {}", BackupText(path));
  }
  image.requireSound();
  RequireUnchanged(image);
  return ExitCode::kFine;
}

}  // namespace

void RegisterInfo(Tool& tool) {
  AddCommand<Options>(tool, "info", "Show what a vault is at a glance", Declare, Info);
}

}  // namespace cli
