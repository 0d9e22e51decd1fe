#include "cli/reading.h"

#include <filesystem>

namespace cli {

void DeclareReading(CLI::App& command, ReadOptions& options) {
  command.add_option("VAULT", options.vault, "The vault's file")->required();
  static const std::map<std::string, Source> kSources{
      {"auto", Source::kAuto}, {"file", Source::kFile}, {"backup", Source::kBackup}};
  command
      .add_option_function<std::string>(
          "--source", [&options](const std::string& word) { options.source = kSources.at(word); },
          "What is read: the vault as a program would open it (\"auto\": the file with its journal laid over "
          "it), the bare \"file\", or the \"backup\"")
      ->check(CLI::IsMember({"auto", "file", "backup"}));
}

void RequireOutputApart(const ReadOptions& options, const std::string& output) {
  namespace fs = std::filesystem;
  const VaultPath path(options.vault);
  for (const std::string& own : {path.shown, path.backupShown, path.journalShown}) {
    std::error_code absent;
    if (!fs::equivalent(fs::u8path(own), fs::u8path(output), absent)) continue;
    throw Failure(ExitCode::kRefused, fmt::format("{} is the vault itself", output), "Name another file.");
  }
}

void RequireUnchanged(const Image& image) {
  if (!image.file().hasChanged()) return;
  throw Failure(ExitCode::kProblems, fmt::format("{} was changed while it was read", image.fileShown()),
                "A program is writing to the vault, so the result may be mixed. Run the command again.");
}

}  // namespace cli
