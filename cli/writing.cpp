#include "cli/writing.h"

#include <chrono>
#include <thread>

#include "cli/host.h"

namespace cli {

void DeclareWriting(CLI::App& command, WriteOptions& options, const char* vault, const char* dryRun) {
  command.add_option("VAULT", options.vault, vault)->required();
  command.add_flag("--dry-run,-n", options.dryRun, dryRun);
  command.add_flag("--force", options.force, "Go on although another program has the vault open");
}

void RequireAlone(const VaultPath& path, const WriteOptions& options) {
  if (options.dryRun || options.force || !path.exists()) return;
  if (path.isLocked()) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("another program has {} open and is changing it", path.shown),
                  "Nothing was changed. Close the vault there first.");
  }
  // A scanner or an indexer has a file open for a moment only.
  constexpr int kTries = 5;
  for (int i = 0; IsOpenElsewhere(path.shown); ++i) {
    if (i == kTries) {
      throw Failure(
          ExitCode::kRefused, fmt::format("another program has {} open", path.shown),
          "Nothing was changed. Close the vault there first, or say --force: then what the other program "
          "changes later is refused there.");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
  }
}

}  // namespace cli
