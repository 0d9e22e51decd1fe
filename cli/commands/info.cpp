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

// What the person at the keyboard makes of all this.
const char* MeaningOf(bool isInUse, bool isDamaged, JournalRole journal) {
  if (journal == JournalRole::kForeign && !isDamaged)
    return "The journal beside the vault is not its own. \"pmstore check\" says what to do.";
  if (isInUse && !isDamaged) {
    return "A program has the vault open, or the last one ended without closing it. The next one that opens "
           "it goes on from here.";
  }
  return isDamaged ? "\"pmstore check\" says all that is wrong, and what to do."
                   : "The vault was closed properly, or nothing was written to it since it was opened.";
}

std::map<uint32_t, Count> CountKinds(const Image& image) {
  std::map<uint32_t, Count> kinds;
  for (const Record& record : image.records()) {
    Count& count = kinds[record.kind];
    ++count.items;
    count.bytes += image.sizeOf(record.id);
  }
  return kinds;
}

Count SumOf(const std::map<uint32_t, Count>& kinds) {
  Count all;
  for (const auto& [kind, count] : kinds) {
    all.items += count.items;
    all.bytes += count.bytes;
  }
  return all;
}

// The items as far as their blocks tell, for a vault whose table of IDs is lost.
Count CountBlocksOnly(const Image& image) {
  Count all;
  for (const auto& [id, item] : image.items()) {
    if (id == 0) continue;
    ++all.items;
    all.bytes += item.size;
  }
  return all;
}

// What keeps the file from being opened, empty when nothing does.
std::string FirstProblem(const Image& image) {
  try {
    image.requireSound();
    return "";
  } catch (const Failure& failure) {
    return failure.what();
  }
}

ExitCode Info(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  const Image image(path, options.read.source);
  const std::map<uint32_t, Count> kinds = CountKinds(image);
  const size_t freeBlocks = image.freeBlockCount();
  const std::string problem = FirstProblem(image);
  const std::string changed = UtcTime(image.file().modified());
  const bool hasTable = image.tableProblem().empty() && !image.records().empty();
  const Count all = hasTable ? SumOf(kinds) : CountBlocksOnly(image);
  if (console.json) {
    Json kindList = Json::array();
    for (const auto& [kind, count] : kinds)
      kindList.push_back({{"kind", kind}, {"items", count.items}, {"bytes", count.bytes}});
    console.document({{"file", image.fileShown()},
                      {"damage", problem.empty() ? Json() : Json(problem)},
                      {"size", image.file().size()},
                      {"blocks", image.blocks().size()},
                      {"freeBlocks", freeBlocks},
                      {"items", all.items},
                      {"bytes", all.bytes},
                      {"kinds", kindList},
                      {"backup", path.hasBackup() ? Json(path.backupShown) : Json()},
                      {"journal", path.hasJournal() ? Json(path.journalShown) : Json()},
                      {"setAside", path.setAside()},
                      {"lastChange", changed}});
  } else {
    console.line("File         {}", image.fileShown());
    if (!problem.empty()) console.line("Damaged      {}", problem);
    console.line("Size         {}", SizeText(image.file().size()));
    console.line("Last change  {}", changed);
    console.line("Blocks       {}, {} of them free", image.blocks().size(), freeBlocks);
    const char* lost = all.items > 0 && !hasTable ? ", their kinds and names are lost" : "";
    console.line("Items        {}, {}{}", all.items, SizeText(all.bytes), lost);
    for (const auto& [kind, count] : kinds)
      console.line("  kind {:<6} {}, {}", kind, count.items, SizeText(count.bytes));
    console.line("Backup       {}", path.hasBackup() ? path.backupShown : "none");
    const bool isForeign = image.file().journal() == JournalRole::kForeign;
    if (path.hasJournal())
      console.line("Journal      {}{}", path.journalShown, isForeign ? ", not this file's or damaged" : "");
    for (const std::string& file : path.setAside()) console.line("Set aside    {}", file);
    console.line("{}", Wrapped(MeaningOf(path.hasBackup() || path.hasJournal(), !problem.empty(),
                                         image.file().journal())));
  }
  RequireUnchanged(image);
  return problem.empty() ? ExitCode::kFine : ExitCode::kRefused;
}

}  // namespace

void RegisterInfo(Tool& tool) {
  AddCommand<Options>(tool, "info", "Show what a vault is at a glance", Declare, Info);
}

}  // namespace cli
