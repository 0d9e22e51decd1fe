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
          "What is read: \"file\", \"backup\", or the one that counts (\"auto\": a backup found beside the "
          "vault, else the file)")
      ->check(CLI::IsMember({"auto", "file", "backup"}));
}

void SayWhatIsRead(const Image& image, const ReadOptions& options, Console& console) {
  if (options.source != Source::kAuto) return;
  const VaultPath path(options.vault);
  if (image.isBackup()) {
    console.note(
        "reading the backup {}: while it stands, it is what counts (--source file reads the vault's file)",
        image.fileShown());
  } else if (platform::Exists(path.backup.c_str())) {
    console.warn("the backup {} is no valid vault; reading {}", path.backupShown, image.fileShown());
  }
}

void RequireOutputApart(const ReadOptions& options, const std::string& output) {
  namespace fs = std::filesystem;
  const VaultPath path(options.vault);
  for (const std::string& own : {path.shown, path.backupShown}) {
    std::error_code absent;
    if (!fs::equivalent(fs::u8path(own), fs::u8path(output), absent)) continue;
    throw Failure(ExitCode::kRefused, fmt::format("{} is the vault itself", output), "Name another file.");
  }
}

void RequireUnchanged(const Image& image) {
  if (!image.hasChanged()) return;
  throw Failure(ExitCode::kProblems, fmt::format("{} was changed while it was read", image.fileShown()),
                "A program is writing to the vault, so the result may be mixed. Run the command again.");
}

}  // namespace cli
