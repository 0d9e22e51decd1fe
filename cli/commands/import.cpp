// import: files, or the lines of an export, become items in one transaction; then the closed vault is read
// again and compared.
#include <set>

#include "cli/contents.h"
#include "cli/files.h"
#include "cli/gather.h"
#include "cli/itemnames.h"
#include "cli/progress.h"
#include "cli/reading.h"
#include "cli/vault.h"
#include "cli/writing.h"

namespace cli {

namespace {

struct Options {
  WriteOptions write;
  std::vector<std::string> paths;
  std::string lines;
  uint32_t kind = 1;
  bool newIds = false;
};

struct Outcome {
  size_t added = 0;
  size_t replaced = 0;
  uint64_t bytes = 0;
};

void Declare(CLI::App& command, Options& options) {
  DeclareWriting(command, options.write, "The vault's file; made when there is none",
                 "Only say what would be stored");
  command.add_option(
      "FILE-OR-FOLDER", options.paths,
      "What to store; an item is named by its path in the folder, or as the list of an exported folder says");
  command.add_option("--kind,-k", options.kind, "The kind of the items")->capture_default_str();
  command.add_option("--jsonl", options.lines,
                     "Store the lines that \"export --jsonl\" wrote; - is standard input");
  command.add_flag("--new-ids", options.newIds,
                   "Draw new IDs for lines and for the files of an exported folder");
}

// The IDs that the vault holds. It is read, and closed again, before it is opened for writing. An entry that
// brings its ID replaces the item of that ID only when kind and name agree.
std::set<uint32_t> CollectStoredIds(const VaultPath& path, const std::vector<Entry>& entries) {
  std::set<uint32_t> ids;
  if (!platform::Exists(path.file.c_str())) return ids;
  const Image image(path);
  image.requireSound();
  std::map<std::pair<uint32_t, PmString>, uint32_t> byName;
  for (const Record& record : image.records()) {
    ids.insert(record.id);
    if (record.name) byName.emplace(std::make_pair(record.kind, *record.name), record.id);
  }
  for (const Entry& entry : entries) {
    const Record& record = entry.record;
    if (record.id == 0) continue;
    const Record* present = image.findRecord(record.id);
    const auto namesake = record.name ? byName.find({record.kind, *record.name}) : byName.end();
    const bool isOther = present != nullptr && (present->kind != record.kind || present->name != record.name);
    if (!isOther && (present != nullptr || namesake == byName.end())) continue;
    const Record& other = isOther ? *present : *image.findRecord(namesake->second);
    throw Failure(ExitCode::kRefused,
                  fmt::format("item {} would replace another one of {}, {}", ShownName(record), path.shown,
                              IdAndName(other)),
                  "Nothing was stored. --new-ids stores all under new IDs and replaces items of the same "
                  "kind and name.");
  }
  return ids;
}

void StoreOne(Vault& vault, Entry& entry, const std::set<uint32_t>& storedIds, Contents& expected,
              Outcome& outcome) {
  Record& record = entry.record;
  const Bytes bytes = entry.file.empty() ? std::move(entry.bytes) : ReadWholeFile(entry.file);
  const uint32_t found = record.id != 0 ? (storedIds.count(record.id) != 0 ? record.id : 0)
                                        : (record.name ? vault.find(record.kind, *record.name) : 0);
  if (found != 0) {
    vault.replace(found, bytes);
    record.id = found;
    ++outcome.replaced;
  } else {
    if (record.id != 0) {
      vault.add(record.id, record.kind, record.name, bytes);
    } else {
      record.id = vault.add(record.kind, record.name, bytes);
    }
    ++outcome.added;
  }
  outcome.bytes += bytes.size();
  expected[record.id] = {record.kind, record.name, bytes.size(), Fingerprint(bytes), false};
}

void RequireStored(const VaultPath& path, const Contents& expected, Console& console) {
  Contents found = ContentsOf(Image(path), console);
  Contents imported;
  for (const auto& [id, content] : expected) {
    if (const auto item = found.find(id); item != found.end()) imported.insert(*item);
  }
  RequireSame(expected, imported, path.shown);
}

Outcome StoreAll(const VaultPath& path, std::vector<Entry>& entries, const std::set<uint32_t>& storedIds,
                 Console& console) {
  Outcome outcome;
  Contents expected;
  uint64_t total = 0;
  for (const Entry& entry : entries) total += entry.size;
  Vault vault(path, Vault::Opening::kCreateIfMissing);
  {
    Progress progress(console, "storing", total);
    for (Entry& entry : entries) {
      StoreOne(vault, entry, storedIds, expected, outcome);
      progress.advance(entry.size);
    }
  }
  vault.commit(console);
  RequireStored(path, expected, console);
  return outcome;
}

ExitCode Import(const Options& options, Console& console) {
  if (options.paths.empty() == options.lines.empty()) {
    throw Failure(ExitCode::kUsage, "name files and folders to import, or lines with --jsonl");
  }
  const VaultPath path(options.write.vault);
  RequireAlone(path, options.write);
  RequireBackupSpared(path, options.write);
  std::vector<Entry> entries = options.lines.empty() ? GatherFiles(options.paths, options.write.vault,
                                                                   options.kind, options.newIds, console)
                                                     : GatherLines(options.lines, options.newIds);
  const std::set<uint32_t> storedIds = CollectStoredIds(path, entries);
  Outcome outcome;
  if (!options.write.dryRun) {
    outcome = StoreAll(path, entries, storedIds, console);
  } else if (!console.json) {
    for (const Entry& entry : entries)
      console.line("would store {} ({})", ShownName(entry.record), SizeText(entry.size));
  }
  if (console.json) {
    console.document({{"dryRun", options.write.dryRun},
                      {"items", entries.size()},
                      {"added", outcome.added},
                      {"replaced", outcome.replaced},
                      {"bytes", outcome.bytes}});
  } else if (!options.write.dryRun) {
    console.note("{} stored and verified: {} new, {} replaced, {}", entries.size(), outcome.added,
                 outcome.replaced, SizeText(outcome.bytes));
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterImport(Tool& tool) {
  AddCommand<Options>(tool, "import", "Store files, or the lines of an export, as items", Declare, Import);
}

}  // namespace cli
