// export: items become files in a new folder, or JSON Lines.
#include "cli/filenames.h"
#include "cli/files.h"
#include "cli/itemjson.h"
#include "cli/itemnames.h"
#include "cli/progress.h"
#include "cli/reading.h"
#include "cli/verdict.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

struct Options {
  ReadOptions read;
  std::string folder;
  std::string lines;
  std::optional<uint32_t> kind;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("FOLDER", options.folder, "A folder that is empty or does not exist yet");
  command.add_option("--jsonl", options.lines,
                     "Write JSON Lines to this new file instead, with IDs and kinds; - is standard output");
  command.add_option("--kind,-k", options.kind, "Only items of this kind");
}

void PrepareFolder(const fs::path& folder) {
  std::error_code error;
  const bool exists = fs::exists(folder, error);
  if (exists && !fs::is_directory(folder, error)) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is a file", folder.u8string()), "Name a new folder.");
  }
  if (exists && !fs::is_empty(folder, error)) {
    throw Failure(ExitCode::kRefused, fmt::format("{} is not empty", folder.u8string()),
                  "Name a new folder.");
  }
  const bool isNew = fs::create_directories(folder, error);
  if (!error && isNew)
    fs::permissions(folder, fs::perms::owner_all, error);  // what is inside was kept secret
  if (error) {
    throw Failure(ExitCode::kIoError,
                  fmt::format("cannot make the folder {}: {}", folder.u8string(), error.message()));
  }
}

// How much was written, and whether that was all.
struct Outcome {
  size_t written = 0;
  size_t damaged = 0;
  uint64_t bytes = 0;
};

// Reads one item on its way out, with a warning when it is damaged; nothing when it cannot be read.
std::optional<Bytes> Take(const Image& image, const Mistrust& mistrust, const Record& record,
                          Outcome& outcome, Console& console) {
  ItemBytes item = image.readItem(record.id);
  if (!item.problems.empty()) {
    ++outcome.damaged;
    console.warn("left out, damaged: {}", IdAndName(record));
    return std::nullopt;
  }
  if (const auto doubt = mistrust.doubts.find(record.id); doubt != mistrust.doubts.end())
    console.note("in doubt: {}", doubt->second);
  if (const auto damage = mistrust.damage.find(record.id); damage != mistrust.damage.end()) {
    ++outcome.damaged;
    console.warn("written with bytes that are not its own, or without some: {}", damage->second);
  }
  ++outcome.written;
  outcome.bytes += item.bytes.size();
  return std::move(item.bytes);
}

Outcome ExportFiles(const Options& options, const Image& image, const Mistrust& mistrust, Console& console) {
  std::vector<const Record*> records;
  for (const Record& record : image.records()) {
    if (!options.kind || record.kind == *options.kind) records.push_back(&record);
  }
  const std::vector<std::string> names = FileNames(records);
  const fs::path folder = fs::u8path(options.folder);
  PrepareFolder(folder);
  Outcome outcome;
  std::string manifest;
  Progress progress(console, "exporting", records.size());
  for (size_t i = 0; i < records.size(); ++i) {
    progress.advance(1);
    const std::optional<Bytes> bytes = Take(image, mistrust, *records[i], outcome, console);
    if (!bytes) continue;
    const fs::path file = folder / fs::u8path(names[i]);
    std::error_code error;
    fs::create_directories(file.parent_path(), error);  // a failure shows when the file is made
    WriteWholeFile(file, *bytes);
    Json line{{"file", names[i]}};
    line.update(ToJson(*records[i]));
    manifest += line.dump() + "\n";
  }
  WriteWholeFile(folder / kManifestName, Bytes(manifest.begin(), manifest.end()));
  return outcome;
}

Outcome ExportLines(const Options& options, const Image& image, const Mistrust& mistrust, Console& console) {
  Outcome outcome;
  Bytes lines;
  Progress progress(console, "exporting", image.records().size());
  for (const Record& record : image.records()) {
    progress.advance(1);
    if (options.kind && record.kind != *options.kind) continue;
    const std::optional<Bytes> bytes = Take(image, mistrust, record, outcome, console);
    if (!bytes) continue;
    if (options.lines == "-") {
      console.record(ToJson(record, *bytes));
    } else {
      const std::string line = ToJson(record, *bytes).dump() + "\n";
      lines.insert(lines.end(), line.begin(), line.end());
    }
  }
  if (options.lines != "-") WriteWholeFile(fs::u8path(options.lines), lines);
  return outcome;
}

ExitCode Export(const Options& options, Console& console) {
  if (options.folder.empty() == options.lines.empty()) {
    throw Failure(ExitCode::kUsage, "name a folder to export to, or a file with --jsonl");
  }
  const Image image(VaultPath(options.read.vault), options.read.source);
  image.requireSound();
  const Mistrust mistrust = MistrustOf(image);
  const bool toFiles = options.lines.empty();
  const Outcome outcome = toFiles ? ExportFiles(options, image, mistrust, console)
                                  : ExportLines(options, image, mistrust, console);
  RequireUnchanged(image);
  if (console.json && options.lines != "-") {
    console.document({{"items", outcome.written}, {"damaged", outcome.damaged}, {"bytes", outcome.bytes}});
  } else {
    console.note("{} written to {}, {}", CountText(outcome.written, "item"),
                 toFiles                ? options.folder
                 : options.lines == "-" ? "standard output"
                                        : options.lines,
                 SizeText(outcome.bytes));
  }
  if (!mistrust.isDamaged) return ExitCode::kFine;
  console.warn(
      "{} is damaged: \"pmstore check {}\" says all, \"pmstore salvage {} NEW-VAULT\" saves what can be had",
      image.fileShown(), ForShell(options.read.vault), ForShell(options.read.vault));
  return ExitCode::kProblems;
}

}  // namespace

void RegisterExport(Tool& tool) {
  AddCommand<Options>(tool, "export", "Write items to files", Declare, Export);
}

}  // namespace cli
