// compact: squeezes the free blocks out of a vault, in place.
#include "cli/contents.h"
#include "cli/reading.h"
#include "cli/unlisted.h"
#include "cli/vault.h"
#include "cli/verdict.h"
#include "cli/writing.h"

namespace cli {

namespace {

struct Options {
  WriteOptions write;
};

void Declare(CLI::App& command, Options& options) {
  DeclareWriting(command, options.write, "The vault's file", "Only say what would be saved");
}

// Fails for a vault that would lose what can still be had.
void RequireNothingToSave(const Image& image) {
  const std::vector<Finding> findings = Examine(image);
  if (!IsDamaged(VerdictOf(findings))) return RequireAllNamed(image);
  throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", image.fileShown(), findings[0].what),
                "Nothing was changed. \"pmstore salvage\" saves what is left into a new vault.");
}

ExitCode Compact(const Options& options, Console& console) {
  const VaultPath path(options.write.vault);
  RequireAlone(path, options.write);
  RequireBackupSpared(path, options.write);
  Contents before;
  uint64_t sizeBefore = 0;
  uint64_t sizeAfter = 0;
  std::vector<uint32_t> unlisted;
  std::vector<uint32_t> longer;  // items with packets left over from a longer version
  {
    const Image image(path);
    unlisted = UnlistedItems(image);
    RequireNothingToSave(image);
    before = ContentsOf(image, console);
    sizeBefore = image.file().size();
    size_t blocks = image.freeBlockCount();
    for (uint32_t id : unlisted) blocks += image.findItem(id)->blocks.size();
    for (const auto& [id, item] : image.items()) {
      blocks += item.leftovers.size();
      if (!item.leftovers.empty() && id != 0) longer.push_back(id);
    }
    sizeAfter = sizeBefore - blocks * storage::kBlockSize;
  }
  const bool isTight = sizeAfter == sizeBefore;
  if (!options.write.dryRun && !isTight) {
    Vault vault(path, Vault::Opening::kExisting);
    for (uint32_t id : unlisted) vault.removeUnlisted(id);
    for (uint32_t id : longer) vault.replace(id, Image(path).readItem(id).bytes);
    vault.commit(console);  // the library squeezes when it closes a vault
    const Image image(path);
    RequireSame(before, ContentsOf(image, console), path.shown);
    sizeAfter = image.file().size();
  }
  if (console.json) {
    console.document({{"dryRun", options.write.dryRun},
                      {"sizeBefore", sizeBefore},
                      {"sizeAfter", sizeAfter},
                      {"droppedItems", unlisted.size()}});
    return ExitCode::kFine;
  }
  const char* would = options.write.dryRun ? "would be " : "";
  if (!unlisted.empty())
    console.note("{}: {} that no record names {}dropped", path.shown, CountText(unlisted.size(), "item"),
                 would);
  if (isTight) {
    console.note("{} has no free blocks, there is nothing to squeeze out", path.shown);
  } else {
    console.note("{}: {} {} {}", path.shown, SizeText(sizeBefore),
                 options.write.dryRun ? "would become" : "became", SizeText(sizeAfter));
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterCompact(Tool& tool) {
  AddCommand<Options>(tool, "compact", "Squeeze out the free blocks, in place", Declare, Compact);
}

}  // namespace cli
