// check: every packet, every item and the ID table, of the vault and of a backup beside it; and what to do.
#include <algorithm>

#include "cli/contents.h"
#include "cli/findings.h"
#include "cli/pair.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  bool damageOnly = false;
};

// What one of the files is.
struct Judged {
  std::string file;
  Verdict verdict;
  Contents contents;
  bool canBeMended;
  Json json;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_flag("--damage-only", options.damageOnly,
                   "Exit with 1 for damage only, not for what is merely suspected");
}

Judged Judge(const Image& image, Console& console) {
  const std::vector<Finding> findings = Examine(image);
  const Verdict verdict = VerdictOf(findings);
  Json found = Json::array();
  for (const Finding& finding : findings) found.push_back(ToJson(finding));
  const bool mendable =
      std::any_of(findings.begin(), findings.end(), [](const Finding& f) { return f.mendable; });
  Judged judged{image.fileShown(),
                verdict,
                ContentsOf(image, console),
                mendable,
                {{"file", image.fileShown()},
                 {"journal", image.file().journal() == JournalState::kLaid},
                 {"verdict", Text(verdict)},
                 {"blocks", image.blocks().size()},
                 {"items", image.records().size()},
                 {"findings", found}}};
  RequireUnchanged(image);
  if (console.json) return judged;
  const bool withJournal = image.file().journal() == JournalState::kLaid;
  console.line("{}{}: {}; {}, {} in the ID table", image.fileShown(), withJournal ? " with its journal" : "",
               Shown(findings, console), CountText(image.blocks().size(), "block"),
               CountText(image.records().size(), "item"));
  for (const Finding& finding : findings) {
    const char* lead = finding.weight == Weight::kNote ? "note: " : "";
    console.line("  {}{}", lead, finding.what);
  }
  return judged;
}

// What a person should do about one file that is not sound.
std::string AdviceFor(const Judged& judged, const VaultPath& path, bool hasBackup) {
  if (judged.verdict == Verdict::kSound || judged.verdict == Verdict::kEmpty) return "";
  const std::string salvage = fmt::format("\"pmstore salvage {} NEW-VAULT\"", path.shown);
  if (judged.verdict == Verdict::kSuspect)
    return fmt::format(
        "The file alone cannot show whether bytes are lost. {} makes a new vault of all that is there{}; "
        "\"pmstore diff COPY {}\" compares the vault with an older copy.",
        salvage, hasBackup ? " and in the backup" : "", path.shown);
  return fmt::format(
      "{} saves every item that is intact{}{}, and lists what is lost. A copy from before the damage comes "
      "back "
      "with \"pmstore restore {} --from COPY\".",
      salvage, judged.canBeMended ? ", mends what can be mended" : "",
      hasBackup ? ", takes from the backup what is whole only there" : "", path.shown);
}

// What to do where there is only the backup, since the file is "gone" or "empty".
std::string AdviceForLoss(const Judged& backup, const VaultPath& path, const char* what) {
  const bool isFit = backup.verdict != Verdict::kDamaged;
  return fmt::format("The vault's file is {}; \"pmstore {} {}{}\" {} from the backup.", what,
                     isFit ? "restore" : "salvage", path.shown, isFit ? "" : " NEW-VAULT",
                     isFit ? "makes it anew" : "saves every item that is intact");
}

void Conclude(Json& document, const std::vector<Warning>& warnings, const std::string& advice,
              Console& console) {
  document["warnings"] = Json::array();
  for (const Warning& warning : warnings)
    document["warnings"].push_back({{"code", warning.code}, {"what", warning.what}});
  if (!advice.empty()) document["advice"] = advice;
  if (console.json) return console.document(document);
  for (const Warning& warning : warnings) console.line("{}", Wrapped(warning.what));
  if (!advice.empty()) console.line("{}", Wrapped(advice));
}

// What is to be done about a vault that no program may have closed.
constexpr char kGoesOn[] =
    "A program has the vault open, or the last one ended without closing it. Nothing is to be done: the next "
    "one "
    "that opens the vault goes on from here.";

bool IsFine(const Judged& judged, const Options& options) {
  return judged.verdict == Verdict::kSound || judged.verdict == Verdict::kEmpty ||
         (options.damageOnly && judged.verdict == Verdict::kSuspect);
}

ExitCode CheckOne(const VaultPath& path, const Options& options, Console& console) {
  const Source source = options.read.source;
  const Image image(path, source);
  const Judged only = Judge(image, console);
  std::vector<Warning> warnings;
  if (source == Source::kAuto) warnings = WarnOf(path, &image);
  Json document{{"files", {only.json}}};
  std::string advice = AdviceFor(only, path, false);
  if (advice.empty() && image.file().journal() == JournalState::kLaid) advice = kGoesOn;
  Conclude(document, warnings, advice, console);
  return IsFine(only, options) && warnings.empty() ? ExitCode::kFine : ExitCode::kProblems;
}

ExitCode CheckLostFile(const VaultPath& path, Console& console) {
  const Judged backup = Judge(Image(path, Source::kBackup), console);
  Json document{{"files", {backup.json}}};
  Conclude(document, WarnOf(path, nullptr), AdviceForLoss(backup, path, "gone"), console);
  return ExitCode::kProblems;
}

ExitCode CheckBoth(const VaultPath& path, const Options& options, Console& console) {
  const Image fileImage(path);
  const Image backupImage(path, Source::kBackup);
  const Judged file = Judge(fileImage, console);
  const Judged backup = Judge(backupImage, console);
  const size_t differences = Compare(file.contents, backup.contents).size();
  std::vector<Warning> warnings = WarnOf(path, &fileImage);
  const bool isEmptied = fileImage.blocks().empty() && differences > 0;
  if (!isEmptied) {
    for (Warning& warning : WarnOfPair(fileImage, backupImage, differences > 0))
      warnings.push_back(std::move(warning));
  }
  Json document{{"files", {file.json, backup.json}}, {"differingItems", differences}};
  if (!console.json) console.line("The vault and its backup differ in {}.", CountText(differences, "item"));
  const bool asItShouldBe = differences == 0 || (path.hasJournal() && !isEmptied);
  std::string advice = AdviceFor(file, path, true);
  if (isEmptied) {
    advice = AdviceForLoss(backup, path, "empty");
  } else if (advice.empty() && warnings.empty()) {
    advice = backup.verdict == Verdict::kDamaged
                 ? "The vault is sound and its backup is not: do not restore it."
             : asItShouldBe ? kGoesOn
                            : fmt::format(
                                  "Without a journal the vault's file counts. \"pmstore restore {} "
                                  "--dry-run\" lists what its backup would change.",
                                  path.shown);
  }
  Conclude(document, warnings, advice, console);
  const bool fine = IsFine(file, options) && IsFine(backup, options) && asItShouldBe;
  return fine && warnings.empty() ? ExitCode::kFine : ExitCode::kProblems;
}

ExitCode Check(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  if (options.read.source != Source::kAuto || !path.hasBackup()) return CheckOne(path, options, console);
  return path.exists() ? CheckBoth(path, options, console) : CheckLostFile(path, console);
}

}  // namespace

void RegisterCheck(Tool& tool) {
  AddCommand<Options>(tool, "check", "Verify every packet and every item", Declare, Check);
}

}  // namespace cli
