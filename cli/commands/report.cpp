// report: the state of a vault as one HTML page, for a support case.
#include <chrono>

#include "cli/files.h"
#include "cli/htmlreport.h"
#include "cli/reading.h"
#include "storage/names.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

struct Options {
  ReadOptions read;
  std::string output;
  bool names = false;
  bool force = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("--output,-o", options.output, "The HTML file to write; - is standard output")
      ->required();
  command.add_flag("--names", options.names, "With the names of the items");
  command.add_flag("--force,-f", options.force, "Overwrite the file");
}

// What a file at the vault's place is, empty when it is none of the vault's.
std::string WhatIs(const std::string& file, const std::string& name) {
  const auto begins = [&file](const std::string& with) { return file.compare(0, with.size(), with) == 0; };
  const std::string hidden = "." + name;
  if (file == name) return "the vault's file";
  if (file == hidden + storage::kBackupSuffix) return "its backup";
  if (file == hidden + storage::kJournalSuffix) return "its journal";
  if (file == hidden + storage::kNewJournalSuffix) return "a journal that was being made";
  if (begins(hidden + storage::kForeignJournalSuffix)) return "a journal that was set aside";
  if (begins(hidden + storage::kForeignBackupSuffix)) return "a backup that was set aside";
  if (begins(name + kReplacedSuffix)) return "a file that was replaced by a restore";
  if (begins(name + kUnfinishedSuffix)) return "a copy that was being made";
  return "";
}

std::vector<NeighbourFile> FilesAt(const VaultPath& path) {
  std::vector<NeighbourFile> files;
  const fs::path real = fs::u8path(ToUtf8(path.real));
  const std::string name = real.filename().u8string();
  const fs::path folder = real.parent_path();
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder.empty() ? fs::path(".") : folder, error)) {
    const std::string file = entry.path().filename().u8string();
    const std::string what = WhatIs(file, name);
    std::error_code absent;
    const uint64_t size = entry.file_size(absent);
    if (!what.empty() && !absent) files.push_back({file, what, size, ModifiedTime(entry.path())});
  }
  std::sort(files.begin(), files.end(),
            [](const NeighbourFile& a, const NeighbourFile& b) { return a.name < b.name; });
  return files;
}

ExitCode Report(const Options& options, Console& console) {
  const VaultPath path(options.read.vault);
  std::vector<Warning> warnings;
  std::vector<std::unique_ptr<Image>> files = OpenForRescue(path, options.read.source, warnings);
  for (const Warning& warning : warnings) {
    if (!warning.isNote) console.warn("{}", warning.what);
  }
  const Image image = *files[0];
  const Rescue rescue(std::move(files), {});
  const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  const std::string html = HtmlReport(
      {image, Examine(image, options.names), rescue, FilesAt(path), options.names, PMSTORE_VERSION, now});
  RequireUnchanged(image);
  if (options.output == "-") {
    console.json ? console.document({{"html", html}}) : Console::text(html);
    return ExitCode::kFine;
  }
  RequireOutputApart(options.read, options.output);
  WriteWholeFile(fs::u8path(options.output), Bytes(html.begin(), html.end()), options.force);
  console.json ? console.document({{"file", image.fileShown()}, {"report", options.output}})
               : console.note("report written to {}", options.output);
  return ExitCode::kFine;
}

}  // namespace

void RegisterReport(Tool& tool) {
  AddCommand<Options>(tool, "report", "Write the state of a vault as an HTML page", Declare, Report);
}

}  // namespace cli
