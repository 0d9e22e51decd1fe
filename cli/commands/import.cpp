// import: files become items, in one transaction; then the closed vault is read again and compared.
#include <map>

#include "cli/files.h"
#include "cli/reading.h"
#include "cli/vault.h"

namespace cli {

namespace {

struct Options {
  std::string vault;
  std::vector<std::string> paths;
  uint32_t kind = 1;
  bool dryRun = false;
};

struct Stored {
  uint32_t id;
  uint64_t fingerprint;
};

struct Outcome {
  size_t added = 0;
  size_t replaced = 0;
  uint64_t bytes = 0;
};

void Declare(CLI::App& command, Options& options) {
  command.add_option("VAULT", options.vault, "The vault's file; made when there is none")->required();
  command
      .add_option("FILE-OR-FOLDER", options.paths,
                  "What to store; an item is named by its path in the folder")
      ->required();
  command.add_option("--kind,-k", options.kind, "The kind of the items")->capture_default_str();
  command.add_flag("--dry-run,-n", options.dryRun, "Only say what would be stored");
}

// All files to store by their names, checked before the vault is touched.
std::map<PmString, FoundFile> Gather(const Options& options, Console& console) {
  std::map<PmString, FoundFile> files;
  for (const std::string& typed : options.paths) {
    Walk walk = FindFiles(typed);
    for (const std::string& skipped : walk.skipped)
      console.warn("skipped, neither a file nor a folder: {}", skipped);
    for (FoundFile& file : walk.files) {
      const PmString name = RequireUtf8(file.name, fmt::format("file name {}", file.path.u8string()).c_str());
      if (file.size > storage::kMaxItemSize) {
        throw Failure(ExitCode::kRefused, fmt::format("{} is larger than an item may be ({} bytes)",
                                                      file.path.u8string(), storage::kMaxItemSize));
      }
      const auto [other, isNew] = files.emplace(name, file);
      if (isNew) continue;
      throw Failure(ExitCode::kUsage,
                    fmt::format("{} and {} would both be named \"{}\"", other->second.path.u8string(),
                                file.path.u8string(), Printable(name)));
    }
  }
  return files;
}

void Verify(const VaultPath& path, const std::map<PmString, Stored>& stored, uint32_t kind,
            Console& console) {
  const Image image(path);
  image.requireSound();
  Progress progress(console, "verifying", stored.size());
  for (const auto& [name, expected] : stored) {
    const Record* record = image.findRecord(expected.id);
    const ItemBytes item = image.readItem(expected.id);
    const bool same = record != nullptr && record->kind == kind && record->name == name &&
                      item.problems.empty() && Fingerprint(item.bytes) == expected.fingerprint;
    if (!same) {
      throw Failure(ExitCode::kIoError,
                    fmt::format("\"{}\" did not arrive intact in {}", Printable(name), path.shown),
                    "The disk may be failing. \"pmstore check\" says what is damaged.");
    }
    progress.advance(1);
  }
}

Outcome Store(const VaultPath& path, const std::map<PmString, FoundFile>& files, uint32_t kind,
              Console& console) {
  Outcome outcome;
  std::map<PmString, Stored> stored;
  uint64_t total = 0;
  for (const auto& [name, file] : files) total += file.size;
  Vault vault(path, Vault::Opening::kCreateIfMissing);
  {
    Progress progress(console, "storing", total);
    for (const auto& [name, file] : files) {
      const Bytes bytes = ReadWholeFile(file.path);
      uint32_t id = vault.find(kind, name);
      if (id != 0) {
        vault.replace(id, bytes);
        ++outcome.replaced;
      } else {
        id = vault.add(kind, name, bytes);
        ++outcome.added;
      }
      stored[name] = {id, Fingerprint(bytes)};
      outcome.bytes += bytes.size();
      progress.advance(file.size);
    }
  }
  vault.commit();
  Verify(path, stored, kind, console);
  return outcome;
}

ExitCode Import(const Options& options, Console& console) {
  const VaultPath path(options.vault);
  RequireNoBackup(path);
  const std::map<PmString, FoundFile> files = Gather(options, console);
  Outcome outcome;
  if (!options.dryRun) {
    outcome = Store(path, files, options.kind, console);
  } else {
    for (const auto& [name, file] : files) {
      if (!console.json) console.line("would store {} ({})", Printable(name), SizeText(file.size));
      outcome.bytes += file.size;
    }
  }
  if (console.json) {
    console.document({{"dryRun", options.dryRun},
                      {"files", files.size()},
                      {"added", outcome.added},
                      {"replaced", outcome.replaced},
                      {"bytes", outcome.bytes}});
  } else if (!options.dryRun) {
    console.note("{} stored and verified: {} new, {} replaced, {}", files.size(), outcome.added,
                 outcome.replaced, SizeText(outcome.bytes));
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterImport(Tool& tool) {
  AddCommand<Options>(tool, "import", "Store files as items", Declare, Import);
}

}  // namespace cli
