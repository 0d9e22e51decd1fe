// check: every packet, every item and the ID table, of the vault and of a backup beside it; and what to do.
#include <algorithm>

#include "cli/contents.h"
#include "cli/itemnames.h"
#include "cli/kinship.h"
#include "cli/neighbours.h"
#include "cli/reading.h"
#include "cli/verdict.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  bool damageOnly = false;
  std::vector<std::string> accept;
};

// What one of the files is.
struct Judged {
  std::string file;
  Verdict verdict{};
  Contents contents;
  bool canBeMended = false;
  std::string doubted;  // the items in doubt, as words for --accept
  Json json;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_flag("--damage-only", options.damageOnly,
                   "Exit with 1 for damage only, not for what is merely suspected");
  command.add_option("--accept", options.accept,
                     "Items (their IDs or names) that are known to be whole: doubts about them are dropped");
}

// What is found of the file, without the doubts about items that are known to be whole.
std::vector<Finding> Find(const Image& image, const Options& options) {
  std::vector<Finding> findings = Examine(image);
  const auto isKnown = [&](uint32_t id) {
    const Record* record = image.findRecord(id);
    return std::any_of(options.accept.begin(), options.accept.end(), [&](const std::string& word) {
      return ParseNumber(word) == id || (record != nullptr && record->name && ToUtf8(*record->name) == word);
    });
  };
  const auto isDropped = [&](const Finding& f) {
    return f.weight == Weight::kSuspicion && f.item && isKnown(*f.item);
  };
  findings.erase(std::remove_if(findings.begin(), findings.end(), isDropped), findings.end());
  return findings;
}

Judged JudgeFile(const Image& image, const Options& options, Console& console) {
  const std::vector<Finding> findings = Find(image, options);
  const bool withJournal = IsLaid(image.file().journal());
  Judged judged{image.fileShown(), VerdictOf(findings), ContentsOf(image, console), false, "", {}};
  Json found = Json::array();
  for (const Finding& finding : findings) {
    found.push_back(ToJson(finding));
    judged.canBeMended = judged.canBeMended || finding.mendable;
    if (finding.weight == Weight::kSuspicion && finding.item.value_or(0) != 0)
      judged.doubted += (judged.doubted.empty() ? " --accept " : " ") + IdText(*finding.item);
  }
  judged.json = {{"file", image.fileShown()},
                 {"journal", withJournal},
                 {"verdict", VerdictText(judged.verdict)},
                 {"blocks", image.blocks().size()},
                 {"items", image.records().size()},
                 {"findings", found}};
  RequireUnchanged(image);
  if (console.json) return judged;
  console.line("{}{}: {}; {}, {} in the ID table", image.fileShown(), withJournal ? " with its journal" : "",
               ShownVerdict(findings, console), CountText(image.blocks().size(), "block"),
               CountText(image.records().size(), "item"));
  for (const Finding& finding : findings) {
    const char* lead = finding.weight == Weight::kNote ? "note: " : "";
    console.line("  {}{}", lead, finding.what);
  }
  return judged;
}

std::string AdviceForDoubt(const Judged& judged, const VaultPath& path, const std::string& salvage) {
  constexpr size_t kMostWords = 200;  // of characters on a command line that somebody is to type
  std::string text = fmt::format(
      "All that is there is intact. It may be all there was; but a file that was cut between two blocks "
      "looks like this, too. \"pmstore diff COPY {0}\" compares it with an older copy, {1}. ",
      ForShell(path.shown), salvage);
  if (judged.doubted.empty()) return text + "--damage-only makes of a mere doubt no problem.";
  const bool isShort = judged.doubted.size() <= kMostWords;
  return text +
         fmt::format("When you know that the items are whole, \"pmstore check {}{}\" takes them for that.",
                     ForShell(path.shown), isShort ? judged.doubted : " --damage-only");
}

// What a person should do about one file that is not sound.
std::string AdviceFor(const Judged& judged, const VaultPath& path, bool hasMore) {
  if (judged.verdict == Verdict::kSound || judged.verdict == Verdict::kEmpty) return "";
  const std::string salvage = fmt::format("\"pmstore salvage {} NEW-VAULT\"", ForShell(path.shown));
  const std::string back = fmt::format("\"pmstore restore {} --from COPY\"", ForShell(path.shown));
  if (judged.verdict == Verdict::kNoVault)
    return fmt::format(
        "If {} was a vault, all of it is overwritten{}. A copy from before comes back with {}.", path.shown,
        hasMore ? "; " + salvage + " saves what stands beside it" : "", back);
  if (judged.verdict == Verdict::kSuspect)
    return AdviceForDoubt(judged, path,
                          fmt::format("and {} makes a new vault of all that is there{}", salvage,
                                      hasMore ? " and beside it" : ""));
  return fmt::format(
      "{} saves every item that is intact{}{}, and lists what is lost. A copy from before the damage comes "
      "back with {}.",
      salvage, judged.canBeMended ? ", mends what can be mended" : "",
      hasMore ? ", takes from the files beside it what is whole only there" : "", back);
}

// What to do where the vault's file is "gone" or "empty", and `left` is what stands beside it.
std::string AdviceForLoss(const Judged& left, const Image& image, const VaultPath& path, const char* what) {
  const bool isWhole = image.isBackup() && image.file().journal() != JournalRole::kForeign;
  const bool isFit = isWhole && !IsDamaged(left.verdict);
  return fmt::format("The vault's file is {}; \"pmstore {} {}{}\" {} {}.", what,
                     isFit ? "restore" : "salvage", ForShell(path.shown), isFit ? "" : " NEW-VAULT",
                     isFit ? "makes it anew from" : "saves every item that is intact in",
                     image.isBackup() ? "the backup" : "the journal");
}

// Puts the advice out, then the warnings and notes; whether there were warnings.
bool Conclude(Json& document, const std::vector<Warning>& warnings, std::string advice, Console& console) {
  document["warnings"] = Json::array();
  bool isWarned = false;
  for (const Warning& warning : warnings) {
    document["warnings"].push_back(
        {{"code", warning.code}, {"weight", warning.isNote ? "note" : "warning"}, {"what", warning.what}});
    isWarned = isWarned || !warning.isNote;
    if (advice.empty()) advice = warning.advice;
  }
  if (!advice.empty()) document["advice"] = advice;
  if (console.json) {
    console.document(document);
    return isWarned;
  }
  if (!advice.empty()) console.line("{}", Wrapped(advice));
  for (const Warning& warning : warnings)
    console.line("{}", Wrapped(fmt::format("{}: {}", warning.isNote ? "note" : "warning", warning.what)));
  return isWarned;
}

// What is to be done about a vault that no program may have closed.
constexpr char kGoesOn[] =
    "A program has the vault open, or the last one ended without closing it. Nothing is to be done: the next "
    "one that opens the vault goes on from here.";

bool IsFine(const Judged& judged, const Options& options) {
  return judged.verdict == Verdict::kSound || judged.verdict == Verdict::kEmpty ||
         (options.damageOnly && judged.verdict == Verdict::kSuspect);
}

ExitCode CheckOne(const VaultPath& path, const Image& image, std::vector<Warning> warnings,
                  const Options& options, Console& console) {
  const Judged only = JudgeFile(image, options, console);
  Json document{{"files", {only.json}}};
  const bool isLost = options.read.source == Source::kAuto && image.fileShown() != path.shown;
  const JournalRole journal = image.file().journal();
  std::string advice = isLost ? AdviceForLoss(only, image, path, "gone")
                       : image.file().isJournal()
                           ? fmt::format(
                                 "\"pmstore salvage {} NEW-VAULT\" saves every item that is intact in this "
                                 "journal.",
                                 ForShell(path.shown))
                           : AdviceFor(only, path, journal == JournalRole::kForeign);
  if (advice.empty() && journal == JournalRole::kLaid) advice = kGoesOn;
  const bool isWarned = Conclude(document, warnings, advice, console);
  return IsFine(only, options) && !isLost && !isWarned ? ExitCode::kFine : ExitCode::kProblems;
}

ExitCode CheckBoth(const VaultPath& path, const Image& fileImage, const Image& backupImage,
                   std::vector<Warning> warnings, const Options& options, Console& console) {
  const Judged file = JudgeFile(fileImage, options, console);
  const Judged backup = JudgeFile(backupImage, options, console);
  const size_t differences = Compare(file.contents, backup.contents).size();
  const bool isEmptied = fileImage.blocks().empty() && differences > 0;
  if (!isEmptied) {
    for (Warning& warning : WarnOfBackup(fileImage, backupImage, differences > 0))
      warnings.push_back(std::move(warning));
  }
  Json document{{"files", {file.json, backup.json}}, {"differingItems", differences}};
  if (!console.json) console.line("The vault and its backup differ in {}.", CountText(differences, "item"));
  const bool isLaid = fileImage.file().journal() == JournalRole::kLaid;
  const bool asItShouldBe = differences == 0 || (isLaid && !isEmptied);
  const bool isForeign = IsForeign(fileImage, backupImage);
  std::string advice = AdviceFor(file, path, !isForeign);
  if (isEmptied) {
    advice = AdviceForLoss(backup, backupImage, path, "empty");
  } else if (advice.empty() && warnings.empty()) {
    advice = IsDamaged(backup.verdict) ? "The vault is sound and its backup is not: do not restore it."
             : asItShouldBe            ? kGoesOn
                                       : fmt::format(
                                             "Without a journal the vault's file counts. \"pmstore restore {} "
                                                        "--dry-run\" lists what its backup would change.",
                                             ForShell(path.shown));
  }
  const bool isWarned = Conclude(document, warnings, advice, console);
  const bool fine = IsFine(file, options) && IsFine(backup, options) && asItShouldBe;
  return fine && !isWarned ? ExitCode::kFine : ExitCode::kProblems;
}

ExitCode Check(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  const Image image(path, options.read.source, Reading::kForRescue);
  for (const std::string& word : options.accept)
    FindItem(image, word, std::nullopt);  // fails when there is none
  if (options.read.source != Source::kAuto) return CheckOne(path, image, {}, options, console);
  std::vector<Warning> warnings = WarnOfNeighbours(path, image);
  std::unique_ptr<Image> backup;
  if (path.hasBackup() && !image.isBackup()) backup = OpenBackup(path, warnings);
  return backup == nullptr ? CheckOne(path, image, std::move(warnings), options, console)
                           : CheckBoth(path, image, *backup, std::move(warnings), options, console);
}

}  // namespace

void RegisterCheck(Tool& tool) {
  AddCommand<Options>(tool, "check", "Verify every packet and every item", Declare, Check);
}

}  // namespace cli
