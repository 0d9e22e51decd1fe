// copy: a verified byte copy of a vault.
#include "cli/copying.h"
#include "cli/reading.h"
#include "cli/verdict.h"

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
  bool equal = image.blocks().size() == copy.blocks().size();
  for (uint32_t i = 0; i < image.blocks().size() && equal; ++i)
    equal = image.readBlock(i) == copy.readBlock(i);
  if (equal) return;
  throw Failure(ExitCode::kIoError, fmt::format("{} is not equal to {}", target.shown, image.fileShown()),
                "The disk may be failing.");
}

ExitCode Copy(const Options& options, Console& console) {
  const VaultPath target(options.target);
  const Image image(VaultPath(options.read.vault), options.read.source);
  const std::vector<Finding> findings = Examine(image);
  const Verdict verdict = VerdictOf(findings);
  if (IsDamaged(verdict) && !options.force) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is damaged: {}", image.fileShown(), findings[0].what),
                  "\"pmstore salvage\" saves what is intact; --force copies the file as it is.");
  }
  if (IsDamaged(verdict) && image.file().journal() != JournalRole::kLaid) {
    CopyToNewFile(image.file().path(), target.file, target.shown);
  } else {
    CopyToNewFile(image, target.file, target.shown);
  }
  try {
    RequireEqual(image, target);
  } catch (...) {
    platform::Remove(target.file.c_str());  // what is not proved is no copy
    throw;
  }
  if (console.json) {
    console.document({{"file", image.fileShown()},
                      {"copy", target.shown},
                      {"size", image.file().size()},
                      {"verdict", VerdictText(verdict)}});
  } else {
    if (verdict == Verdict::kSuspect || verdict == Verdict::kEmpty)
      console.warn("{} is {}: {}", image.fileShown(), VerdictText(verdict), findings[0].what);
    console.note("{} copied to {} and compared, {}{}", image.fileShown(), target.shown,
                 SizeText(image.file().size()), IsDamaged(verdict) ? ", its damage with it" : "");
  }
  return IsDamaged(verdict) ? ExitCode::kProblems : ExitCode::kFine;
}

}  // namespace

void RegisterCopy(Tool& tool) {
  AddCommand<Options>(tool, "copy", "Make a verified copy", Declare, Copy);
}

}  // namespace cli
