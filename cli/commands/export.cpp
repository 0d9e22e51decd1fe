// export: items become files in a new folder.
#include <map>
#include <set>

#include "cli/files.h"
#include "cli/names.h"
#include "cli/reading.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

struct Options {
  ReadOptions read;
  std::string folder;
  std::optional<uint32_t> kind;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("FOLDER", options.folder, "A folder that is empty or does not exist yet")->required();
  command.add_option("--kind,-k", options.kind, "Only items of this kind");
}

// The items by the names of their files; names that must not become files are refused before anything is
// written.
std::map<std::string, const Record*> Gather(const Image& image, std::optional<uint32_t> kind) {
  std::map<std::string, const Record*> files;
  for (const Record& record : image.records()) {
    if (kind && record.kind != *kind) continue;
    const std::string name = record.name ? ToUtf8(*record.name) : IdText(record.id);
    if (const std::string why = WhyUnsafe(name); !why.empty()) {
      throw Failure(ExitCode::kRefused,
                    fmt::format("the name of item {} {}: \"{}\"", IdText(record.id), why, ShownName(record)),
                    "Nothing was written. \"pmstore get\" writes out one item under a name of your choice.");
    }
    if (files.emplace(name, &record).second) continue;
    throw Failure(ExitCode::kRefused, fmt::format("several items are named \"{}\"", ShownName(record)),
                  "Nothing was written. Export one kind at a time with --kind.");
  }
  return files;
}

void PrepareFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::exists(folder, error) && !fs::is_empty(folder, error)) {
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

ExitCode Export(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  SayWhatIsRead(image, options.read, console);
  image.requireSound();
  const std::map<std::string, const Record*> files = Gather(image, options.kind);
  const fs::path folder = fs::u8path(options.folder);
  PrepareFolder(folder);
  size_t written = 0;
  uint64_t bytes = 0;
  {
    Progress progress(console, "exporting", files.size());
    for (const auto& [name, record] : files) {
      const ItemBytes item = image.readItem(record->id);
      progress.advance(1);
      if (!item.problems.empty()) {
        console.warn("left out, damaged: {} {}", IdText(record->id), ShownName(*record));
        continue;
      }
      const fs::path file = folder / fs::u8path(name);
      std::error_code error;
      fs::create_directories(file.parent_path(), error);  // a failure shows when the file is made
      WriteWholeFile(file, item.bytes);
      ++written;
      bytes += item.bytes.size();
    }
  }
  RequireUnchanged(image);
  if (console.json) {
    console.document({{"files", written}, {"damaged", files.size() - written}, {"bytes", bytes}});
  } else {
    console.note("{} files written to {}, {}", written, options.folder, SizeText(bytes));
  }
  return written == files.size() ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterExport(Tool& tool) {
  AddCommand<Options>(tool, "export", "Write items to files", Declare, Export);
}

}  // namespace cli
