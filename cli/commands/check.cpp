// check: every packet, every item and the ID table, of the vault and of a backup beside it; and what to do.
#include "cli/examine.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
};

// What one of the two files is.
struct Verdict {
  std::string file;
  std::vector<Finding> findings;
  Contents contents;
  Json json;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
}

Verdict Judge(const VaultPath& path, Source source, Console& console) {
  const Image image(path, source);
  Verdict verdict{image.fileShown(), Examine(image, console), ContentsOf(image, console), {}};
  RequireUnchanged(image);
  size_t empty = 0;
  for (const Record& record : image.records()) empty += image.items().count(record.id) == 0 ? 1 : 0;
  Json problems = Json::array();
  for (const Finding& finding : verdict.findings) problems.push_back(ToJson(finding));
  verdict.json = {{"file", verdict.file},
                  {"sound", verdict.findings.empty()},
                  {"blocks", image.blocks().size()},
                  {"items", image.records().size()},
                  {"emptyItems", empty},
                  {"problems", problems}};
  if (console.json) return verdict;
  for (const Finding& finding : verdict.findings) console.line("{}: {}", verdict.file, finding.what);
  const size_t count = verdict.findings.size();
  const std::string state = count == 0 ? console.paint(Colour::kGreen, "sound")
                                       : console.paint(Colour::kRed, CountText(count, "problem"));
  console.line("{}: {}; {}, {} in the ID table ({} without bytes)", verdict.file, state,
               CountText(image.blocks().size(), "block"), CountText(image.records().size(), "item"), empty);
  return verdict;
}

void SayWhatCannotBeTold(const Json& verdict, Console& console) {
  if (console.json || verdict["emptyItems"] == 0 || !verdict["sound"]) return;
  console.note(
      "{}", Wrapped("An item without bytes is empty, or all its blocks are gone: the file cannot tell which. "
                    "\"pmstore ls --sort size\" lists these items first."));
}

std::string AdviceAlone(const Verdict& only) {
  if (only.findings.empty()) return "";
  return "\"pmstore salvage\" saves every intact item into a new vault. A copy from before the damage comes "
         "back "
         "with \"pmstore restore --from\".";
}

std::string AdviceForBoth(const Verdict& file, const Verdict& backup, size_t differences) {
  const bool fileSound = file.findings.empty();
  if (!backup.findings.empty()) {
    return fileSound
               ? "The vault's file is sound and its backup is not. When no program has the vault open, move "
                 "the "
                 "backup away."
               : "Both files are damaged. \"pmstore salvage\" saves every item that is intact in either.";
  }
  const std::string running = "When a program has the vault open, this is as it should be. When none has, ";
  if (!fileSound) return running + "\"pmstore restore\" brings back the state of the backup, which is sound.";
  if (differences == 0)
    return running + "the last one did not close it; \"pmstore restore\" tidies up, nothing is lost.";
  return running +
         "\"pmstore restore\" brings back the state of the backup, which is what counts (\"pmstore diff\" "
         "and "
         "\"pmstore restore --dry-run\" show the difference).";
}

ExitCode Check(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  const bool both = options.read.source == Source::kAuto && platform::Exists(path.backup.c_str());
  const bool fileExists = platform::Exists(path.file.c_str());
  Json document{{"files", Json::array()}};
  std::string advice;
  bool fine = true;
  if (!both || !fileExists) {
    const Verdict only = Judge(path, both ? Source::kBackup : options.read.source, console);
    document["files"].push_back(only.json);
    advice = both ? "The vault's file is gone; \"pmstore restore\" makes it anew from the backup."
                  : AdviceAlone(only);
    fine = !both && only.findings.empty();
    SayWhatCannotBeTold(only.json, console);
  } else {
    const Verdict file = Judge(path, Source::kFile, console);
    const Verdict backup = Judge(path, Source::kBackup, console);
    const size_t differences = Compare(file.contents, backup.contents).size();
    document["files"] = {file.json, backup.json};
    document["differingItems"] = differences;
    if (!console.json) console.line("The vault and its backup differ in {}.", CountText(differences, "item"));
    advice = AdviceForBoth(file, backup, differences);
    fine = differences == 0 && file.findings.empty() && backup.findings.empty();
  }
  if (!advice.empty()) document["advice"] = advice;
  if (console.json) {
    console.document(document);
  } else if (!advice.empty()) {
    console.line("{}", Wrapped(advice));
  }
  return fine ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterCheck(Tool& tool) {
  AddCommand<Options>(tool, "check", "Verify every packet and every item", Declare, Check);
}

}  // namespace cli
