// salvage: every intact item of a damaged vault, and of its backup, into a new vault.
#include <algorithm>
#include <set>

#include "cli/examine.h"
#include "cli/files.h"
#include "cli/names.h"
#include "cli/reading.h"
#include "cli/tablerescue.h"
#include "cli/vault.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::string target;
  uint32_t kind = 0;
  bool dryRun = false;
};

// One item of the report: where it was found intact, or why it is lost.
struct Fate {
  Record record;
  bool hasRecord = false;
  const Image* source = nullptr;  // null for a lost item
  std::string loss;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("NEW-VAULT", options.target, "The vault to make")->required();
  command.add_option("--kind,-k", options.kind, "The kind for items whose record is lost")
      ->capture_default_str();
  command.add_flag("--dry-run,-n", options.dryRun, "Only report what can be saved");
}

// The files to draw from, the one that counts first.
std::vector<std::unique_ptr<Image>> OpenSources(const ReadOptions& options, Console& console) {
  const VaultPath path(options.vault);
  std::vector<std::unique_ptr<Image>> sources;
  sources.push_back(std::make_unique<Image>(path, options.source));
  SayWhatIsRead(*sources[0], options, console);
  const bool otherExists = platform::Exists((sources[0]->isBackup() ? path.file : path.backup).c_str());
  if (options.source == Source::kAuto && otherExists) {
    sources.push_back(
        std::make_unique<Image>(path, sources[0]->isBackup() ? Source::kFile : Source::kBackup));
  }
  return sources;
}

bool IsIntact(const Image& image, uint32_t id) {
  const auto item = image.items().find(id);
  return item != image.items().end() && item->second.whole && image.readItem(id).problems.empty();
}

// The records of the first source, made whole from the second one where the first has lost some; then the
// items that no record speaks of.
std::vector<Fate> ListItems(const std::vector<std::unique_ptr<Image>>& sources, uint32_t kindOfLost) {
  std::vector<Fate> fates;
  std::set<uint32_t> listed{0};
  const bool firstTableLost = !sources[0]->tableProblem().empty() || !sources[0]->fileProblems().empty();
  for (const auto& source : sources) {
    if (source != sources[0] && !firstTableLost) break;
    const std::vector<Record> records =
        source->tableProblem().empty() ? source->records() : RescueRecords(*source);
    for (const Record& record : records) {
      if (listed.insert(record.id).second) fates.push_back({record, true, nullptr, ""});
    }
  }
  for (const auto& [id, item] : sources[0]->items()) {
    if (listed.insert(id).second) fates.push_back({{id, kindOfLost, std::nullopt}, false, nullptr, ""});
  }
  return fates;
}

void Decide(Fate& fate, const std::vector<std::unique_ptr<Image>>& sources) {
  const uint32_t id = fate.record.id;
  bool hasBlocks = false;
  for (const auto& source : sources) {
    if (IsIntact(*source, id)) {
      fate.source = source.get();
      return;
    }
    hasBlocks = hasBlocks || source->items().count(id) != 0;
  }
  if (!hasBlocks && sources[0]->fileProblems().empty()) {
    fate.source = sources[0].get();  // an item of no bytes has no block
    return;
  }
  if (!hasBlocks) {
    fate.loss = "no block of it is left";
    return;
  }
  const Image& image = sources[0]->items().count(id) != 0 ? *sources[0] : *sources.back();
  const ItemBytes bytes = image.readItem(id);
  fate.loss = bytes.problems.empty()
                  ? "blocks are missing or twice there"
                  : fmt::format("{} {}", BlockText(bytes.problems[0].block), bytes.problems[0].what);
}

void Store(const std::vector<Fate>& fates, const VaultPath& target, Console& console) {
  Contents expected;
  {
    Vault vault(target, Vault::Opening::kCreateIfMissing);
    Progress progress(console, "saving", fates.size());
    for (const Fate& fate : fates) {
      progress.advance(1);
      if (fate.source == nullptr) continue;
      const Bytes bytes = fate.source->readItem(fate.record.id).bytes;
      vault.add(fate.record.id, fate.record.kind, fate.record.name, bytes);
      expected[fate.record.id] = {fate.record.kind, fate.record.name, bytes.size(), Fingerprint(bytes),
                                  false};
    }
    vault.commit();
  }
  RequireSame(expected, ContentsOf(Image(target), console), target.shown);
}

// Blocks that nobody can tell the item of. They matter where the ID table does not say which items there were.
size_t CountUnknownBlocks(const Image& image) {
  if (image.tableProblem().empty() && !image.records().empty()) return 0;
  const auto malformed = std::count_if(image.blocks().begin(), image.blocks().end(), [](const Block& block) {
    return block.state == BlockState::kMalformed;
  });
  return static_cast<size_t>(malformed) + (image.fileSize() % storage::kBlockSize == 0 ? 0 : 1);
}

void Report(const std::vector<Fate>& fates, const Image* first, Console& console) {
  for (const Fate& fate : fates) {
    const bool noteworthy = fate.source != first || !fate.hasRecord;
    if (console.json) {
      Json json{{"id", IdText(fate.record.id)}, {"kind", fate.record.kind}};
      AddName(json, fate.record.name);
      json["saved"] = fate.source != nullptr;
      json["record"] = fate.hasRecord;
      if (fate.source != nullptr) json["from"] = fate.source->fileShown();
      if (!fate.loss.empty()) json["what"] = fate.loss;
      console.record(json);
    } else if (fate.source == nullptr) {
      console.line("{} {}: {}", console.paint(Colour::kRed, "lost   "), IdAndName(fate.record), fate.loss);
    } else if (noteworthy) {
      console.line("{} {}{}{}", console.paint(Colour::kYellow, "saved  "), IdAndName(fate.record),
                   fate.source != first ? ", from " + fate.source->fileShown() : "",
                   fate.hasRecord ? "" : ", its kind and name are lost");
    }
  }
}

ExitCode Salvage(const Options& options, Console& console) {
  const VaultPath target(options.target);
  if (platform::Exists(target.file.c_str())) {
    throw Failure(ExitCode::kRefused, fmt::format("{} exists already", target.shown), "Name a new file.");
  }
  const std::vector<std::unique_ptr<Image>> sources = OpenSources(options.read, console);
  std::vector<Fate> fates = ListItems(sources, options.kind);
  for (Fate& fate : fates) Decide(fate, sources);
  size_t saved = 0;
  size_t nameless = 0;
  for (const Fate& fate : fates) {
    saved += fate.source != nullptr ? 1 : 0;
    nameless += fate.source != nullptr && !fate.hasRecord ? 1 : 0;
  }
  const size_t unknown = CountUnknownBlocks(*sources[0]);
  const bool isHopeless = saved == 0 && (!fates.empty() || unknown > 0);
  if (!options.dryRun && !isHopeless) Store(fates, target, console);
  Report(fates, sources[0].get(), console);
  if (unknown > 0) console.warn("lost with all that was in it: {}", CountText(unknown, "unreadable block"));
  if (isHopeless) {
    throw Failure(
        ExitCode::kRefused, fmt::format("no item of {} is intact", sources[0]->fileShown()),
        "No vault was made. A copy from before the damage comes back with \"pmstore restore --from\".");
  }
  console.note("{} of {} {} {}, {} of them without kind and name; {} lost", saved,
               CountText(fates.size(), "item"), options.dryRun ? "can be saved into" : "saved into",
               target.shown, nameless, fates.size() - saved);
  return saved == fates.size() && nameless == 0 && unknown == 0 ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterSalvage(Tool& tool) {
  AddCommand<Options>(tool, "salvage", "Save every intact item of a damaged vault into a new one", Declare,
                      Salvage);
}

}  // namespace cli
