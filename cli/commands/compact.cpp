// compact: squeezes the free blocks out of a vault, in place.
#include "cli/examine.h"
#include "cli/reading.h"
#include "cli/vault.h"

namespace cli {

namespace {

struct Options {
  std::string vault;
  bool dryRun = false;
};

void Declare(CLI::App& command, Options& options) {
  command.add_option("VAULT", options.vault, "The vault's file")->required();
  command.add_flag("--dry-run,-n", options.dryRun, "Only say what would be saved");
}

ExitCode Compact(const Options& options, Console& console) {
  const VaultPath path(options.vault);
  RequireNoBackup(path);
  Contents before;
  uint64_t sizeBefore = 0;
  size_t freeBlocks = 0;
  {
    const Image image(path);
    if (const std::vector<Finding> findings = Examine(image, console); !findings.empty()) {
      throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", path.shown, findings[0].what),
                    "Nothing was changed. \"pmstore salvage\" saves what is intact into a new vault.");
    }
    before = ContentsOf(image, console);
    sizeBefore = image.fileSize();
    freeBlocks = image.freeBlockCount();
  }
  uint64_t sizeAfter = sizeBefore - freeBlocks * storage::kBlockSize;
  if (!options.dryRun && freeBlocks > 0) {
    Vault(path, Vault::Opening::kExisting).commit();  // the library compacts when it closes a vault
    const Image image(path);
    RequireSame(before, ContentsOf(image, console), path.shown);
    sizeAfter = image.fileSize();
  }
  if (console.json) {
    console.document({{"dryRun", options.dryRun}, {"sizeBefore", sizeBefore}, {"sizeAfter", sizeAfter}});
  } else if (freeBlocks == 0) {
    console.note("{} has no free blocks, there is nothing to squeeze out", path.shown);
  } else {
    console.note("{}: {} {} {}", path.shown, SizeText(sizeBefore), options.dryRun ? "would become" : "became",
                 SizeText(sizeAfter));
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterCompact(Tool& tool) {
  AddCommand<Options>(tool, "compact", "Squeeze out the free blocks, in place", Declare, Compact);
}

}  // namespace cli
