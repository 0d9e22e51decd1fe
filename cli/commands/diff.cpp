// diff: what turns one vault into another.
#include "cli/contents.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  std::string before;
  std::string after;
};

void Declare(CLI::App& command, Options& options) {
  command.add_option("BEFORE", options.before, "A vault")->required();
  command.add_option("AFTER", options.after, "Another vault")->required();
}

Contents Read(const std::string& vault, Console& console) {
  const Image image(VaultPath(vault), Source::kAuto);
  image.requireSound();
  Contents contents = ContentsOf(image, console);
  RequireUnchanged(image);
  return contents;
}

ExitCode Diff(const Options& options, Console& console) {
  const Contents before = Read(options.before, console);
  const Contents after = Read(options.after, console);
  const std::vector<Difference> differences = Compare(before, after);
  Print(differences, console);
  console.note("{}", differences.empty() ? "both hold the same"
                                         : CountText(differences.size(), "item") +
                                               (differences.size() == 1 ? " differs" : " differ"));
  return differences.empty() ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterDiff(Tool& tool) {
  AddCommand<Options>(tool, "diff", "Compare the items of two vaults", Declare, Diff);
}

}  // namespace cli
