// copy: a verified byte copy of a vault.
#include "cli/copying.h"
#include "cli/examine.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::string target;
  bool force = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("COPY", options.target, "The new file")->required();
  command.add_flag("--force,-f", options.force, "Copy a damaged vault as it is");
}

void RequireEqual(const Image& image, const VaultPath& target) {
  RequireUnchanged(image);
  const Image copy(target);
  for (uint32_t i = 0; i < image.blocks().size(); ++i) {
    if (image.fileSize() == copy.fileSize() && image.readBlock(i) == copy.readBlock(i)) continue;
    throw Failure(ExitCode::kIoError,
                  fmt::format("{} is not equal to {} at {}", target.shown, image.fileShown(), BlockText(i)));
  }
}

ExitCode Copy(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  const VaultPath target(options.target);
  const Image image(path, options.read.source);
  SayWhatIsRead(image, options.read, console);
  const std::vector<Finding> findings = Examine(image, console);
  if (!findings.empty() && !options.force) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", image.fileShown(), findings[0].what),
                  "\"pmstore salvage\" saves what is intact; --force copies the file as it is.");
  }
  CopyToNewFile(image.isBackup() ? path.backup : path.file, target.file, target.shown);
  try {
    RequireEqual(image, target);
  } catch (...) {
    platform::Remove(target.file.c_str());  // what is not proved is no copy
    throw;
  }
  if (console.json) {
    console.document({{"file", image.fileShown()},
                      {"copy", target.shown},
                      {"size", image.fileSize()},
                      {"sound", findings.empty()}});
  } else {
    console.note("{} copied to {} and compared, {}{}", image.fileShown(), target.shown,
                 SizeText(image.fileSize()), findings.empty() ? "" : ", its damage with it");
  }
  return findings.empty() ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterCopy(Tool& tool) {
  AddCommand<Options>(tool, "copy", "Make a verified copy", Declare, Copy);
}

}  // namespace cli
