// rm: deletes items, all of them or none.
#include <set>

#include "cli/itemjson.h"
#include "cli/itemnames.h"
#include "cli/reading.h"
#include "cli/vault.h"
#include "cli/writing.h"

namespace cli {

namespace {

struct Options {
  WriteOptions write;
  std::vector<std::string> items;
  std::optional<uint32_t> kind;
};

void Declare(CLI::App& command, Options& options) {
  DeclareWriting(command, options.write, "The vault's file", "Only say what would be deleted");
  command.add_option("ITEM", options.items, "IDs (0x… or decimal) or names of the items")->required();
  command.add_option("--kind,-k", options.kind, "The kind, where several items have a name");
}

std::vector<Record> Choose(const Options& options, const Image& image) {
  image.requireSound();
  std::vector<Record> chosen;
  std::set<uint32_t> seen;
  for (const std::string& word : options.items) {
    const Record& record = FindItem(image, word, options.kind);
    if (seen.insert(record.id).second) chosen.push_back(record);
  }
  return chosen;
}

ExitCode Remove(const Options& options, Console& console) {
  const VaultPath path(options.write.vault);
  RequireAlone(path, options.write);
  RequireBackupSpared(path, options.write);
  const std::vector<Record> chosen = Choose(options, Image(path));
  if (!options.write.dryRun) {
    Vault vault(path, Vault::Opening::kExisting);
    for (const Record& record : chosen) vault.remove(record.id);
    vault.commit(console);

    const Image after(path);
    after.requireSound();
    for (const Record& record : chosen) {
      if (after.findRecord(record.id) == nullptr && after.items().count(record.id) == 0) continue;
      throw Failure(ExitCode::kIoError, fmt::format("{} is still in the vault", ShownName(record)));
    }
  }
  for (const Record& record : chosen) {
    if (console.json) {
      Json json{{options.write.dryRun ? "wouldDelete" : "deleted", IdText(record.id)}, {"kind", record.kind}};
      AddName(json, record.name);
      console.record(json);
    } else {
      console.note("{} {}", options.write.dryRun ? "would delete" : "deleted", IdAndName(record));
    }
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterRm(Tool& tool) {
  AddCommand<Options>(tool, "rm", "Delete items", Declare, Remove);
}

}  // namespace cli
