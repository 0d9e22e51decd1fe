// salvage: every item of a damaged vault that can be had, in it or in its backup, into a new vault.
#include "cli/contents.h"
#include "cli/copying.h"
#include "cli/files.h"
#include "cli/itemjson.h"
#include "cli/itemnames.h"
#include "cli/neighbours.h"
#include "cli/progress.h"
#include "cli/reading.h"
#include "cli/rescue.h"
#include "cli/vault.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::string target;
  uint32_t kind = 0;
  bool noMend = false;
  bool partial = false;
  bool dryRun = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("NEW-VAULT", options.target, "The vault to make")->required();
  command.add_option("--kind,-k", options.kind, "The kind for items whose record is lost")
      ->capture_default_str();
  command.add_flag("--no-mend", options.noMend, "Take damaged blocks for lost");
  command.add_flag(
      "--partial", options.partial,
      "Save also what is left of items that are not whole, with zeros in the gaps, and mere guesses");
  command.add_flag("--dry-run,-n", options.dryRun, "Only report what can be saved");
}

Rescue Prepare(const Options& options, bool& isWarned, Console& console) {
  const VaultPath path(options.read.vault);
  std::vector<Warning> warnings;
  std::vector<std::unique_ptr<Image>> files = OpenForRescue(path, options.read.source, warnings);
  const BlockFile& first = files[0]->file();
  if (first.shown() != path.shown && options.read.source == Source::kAuto) {
    console.note("the vault's file is gone; reading {} {}{}",
                 first.isJournal() ? "what is in its journal" : "its backup", first.shown(),
                 first.journal() != JournalRole::kNone ? " and its journal"
                 : first.isJournal()                   ? ""
                                                       : ", which may be older than the file was");
  }
  for (const Warning& warning : warnings) {
    if (!warning.isNote) console.warn("{}", warning.what);
    isWarned = isWarned || !warning.isNote;
  }
  return {std::move(files), {!options.noMend, options.partial, options.kind}};
}

void Store(const Rescue& rescue, const VaultPath& target, Console& console) {
  const VaultPath unfinished(ToUtf8(UnfinishedName(target.file)));
  Contents expected;
  {
    Vault vault(unfinished, Vault::Opening::kCreateIfMissing);
    Progress progress(console, "saving", rescue.fates().size());
    for (const Fate& fate : rescue.fates()) {
      progress.advance(1);
      if (fate.image == nullptr) continue;
      const Bytes bytes = Rescue::bytesOf(fate);
      vault.add(fate.record.id, fate.record.kind, fate.record.name, bytes);
      expected[fate.record.id] = {fate.record.kind, fate.record.name, bytes.size(), Fingerprint(bytes),
                                  false};
    }
    vault.commit(console);
  }
  try {
    RequireSame(expected, ContentsOf(Image(unfinished), console), target.shown);
    Finish(unfinished.file, target.file, target.shown);
  } catch (...) {
    platform::Remove(unfinished.file.c_str());
    throw;
  }
}

struct Words {
  const char* text = nullptr;
  Colour colour{};
};

Words WordsOf(FateKind kind) {
  constexpr Words kWords[] = {{"saved", Colour::kGreen},
                              {"mended", Colour::kGreen},
                              {"doubtful", Colour::kYellow},
                              {"partial", Colour::kYellow},
                              {"lost", Colour::kRed}};
  return kWords[static_cast<int>(kind)];
}

Json FateJson(const Fate& fate, const RescueSource& source) {
  Json json = ToJson(fate.record);
  json["fate"] = WordsOf(fate.kind).text;
  json["record"] = fate.hasRecord;
  if (fate.image != nullptr) json["from"] = fate.image->fileShown();
  if (!fate.why.empty()) json["what"] = fate.why;
  for (uint32_t block : fate.mended) {
    const MendedBlock& mended = source.mended.at(block);
    json["mended"].push_back(
        {{"block", block}, {"how", ProofText(mended)}, {"falseChance", mended.mended.falseChance}});
  }
  return json;
}

void PrintFate(const Fate& fate, const RescueSource& source, Console& console) {
  if (fate.kind == FateKind::kSaved && fate.hasRecord && fate.other == nullptr) return;
  const Words words = WordsOf(fate.kind);
  std::string line = fmt::format("{} {}", console.paint(words.colour, fmt::format("{:<8}", words.text)),
                                 IdAndName(fate.record));
  if (fate.other != nullptr) line += ", from " + fate.image->fileShown();
  if (!fate.hasRecord) line += ", its kind and name are lost";
  if (!fate.why.empty()) line += ": " + fate.why;
  console.line("{}", line);
  for (uint32_t block : fate.mended)
    console.line("         {}: {}", source.plain.blockText(block), ProofText(source.mended.at(block)));
}

void PrintFates(const Rescue& rescue, Console& console) {
  for (const Fate& fate : rescue.fates()) {
    const RescueSource& source = rescue.sourceOf(fate);
    console.json ? console.record(FateJson(fate, source)) : PrintFate(fate, source, console);
  }
  if (console.json) return;
  for (const Record& record : rescue.onlyInBackup())
    console.note("only in the backup, and left out: {}", IdAndName(record));
  if (rescue.leftOut() > 0)
    console.note("left out: {} that the ID table does not name", CountText(rescue.leftOut(), "item"));
}

std::string PartsText(size_t parts) {
  return fmt::format("With --partial, what is left of {} is saved too, with zeros in the gaps.",
                     CountText(parts, "lost item"));
}

// Says how it went; whether everything was saved as it was.
bool Summarise(const Options& options, const Rescue& rescue, const std::string& target, Console& console) {
  const std::vector<Fate>& fates = rescue.fates();
  const size_t saved = rescue.count(FateKind::kSaved);
  const auto nameless = static_cast<size_t>(std::count_if(
      fates.begin(), fates.end(), [](const Fate& fate) { return fate.image != nullptr && !fate.hasRecord; }));
  std::string text = fmt::format("{}: {} of {} saved, {} mended, {} doubtful", target, saved,
                                 CountText(fates.size(), "item"), rescue.count(FateKind::kMended),
                                 rescue.count(FateKind::kDoubtful));
  if (options.partial) text += fmt::format(", {} in part", rescue.count(FateKind::kPartial));
  text += fmt::format(", {} lost", rescue.count(FateKind::kLost));
  if (nameless > 0) text += fmt::format("; {} without kind and name", nameless);
  if (options.dryRun) text += " (nothing was written)";
  console.note("{}", text);
  if (const size_t parts = rescue.partsLeft(); parts > 0) console.note("{}", Wrapped(PartsText(parts)));
  const bool isFromElsewhere =
      std::any_of(fates.begin(), fates.end(), [](const Fate& fate) { return fate.other != nullptr; });
  const bool isAllThere = rescue.unknownBlocks() == 0 && rescue.first().plain.file().missing() == 0;
  return saved == fates.size() && !isFromElsewhere && nameless == 0 && isAllThere;
}

ExitCode Salvage(const Options& options, Console& console) {
  const VaultPath target(options.target);
  RequireUnused(target.file, target.shown);
  bool isWarned = false;
  const Rescue rescue = Prepare(options, isWarned, console);
  const size_t all = rescue.fates().size();
  const size_t unknown = rescue.unknownBlocks();
  const size_t lost = rescue.count(FateKind::kLost);
  const Image& read = rescue.first().plain;
  const bool isEmpty = all == 0 && read.items().empty();
  const bool isHopeless = isEmpty || (lost == all && (lost > 0 || unknown > 0));
  if (!options.dryRun && !isHopeless) Store(rescue, target, console);
  PrintFates(rescue, console);
  if (unknown > 0 && read.looksLikeVault())
    console.warn("lost with all that was in it: {}", CountText(unknown, "unreadable block"));
  if (const uint32_t missing = read.file().missing(); missing > 0)
    console.warn("lost with all that was in it: {} that the journal only tells of",
                 CountText(missing, "block"));
  if (isHopeless) {
    const size_t parts = rescue.partsLeft();
    throw Failure(ExitCode::kRefused,
                  isEmpty && unknown == 0 ? fmt::format("{} is empty", read.fileShown())
                  : !read.looksLikeVault()
                      ? fmt::format("{} does not look like a vault at all", read.fileShown())
                      : fmt::format("nothing of {} can be saved whole", read.fileShown()),
                  "No vault was made. " + (parts > 0 ? PartsText(parts) + " " : std::string()) +
                      "A copy from before the damage comes back with \"pmstore restore --from\".");
  }
  const bool isFine = Summarise(options, rescue, target.shown, console);
  return isFine && !isWarned ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterSalvage(Tool& tool) {
  AddCommand<Options>(tool, "salvage", "Save what a damaged vault still holds", Declare, Salvage);
}

}  // namespace cli
