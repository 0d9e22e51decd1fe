// put: the bytes of one item, from a file or standard input.
#include "cli/contents.h"
#include "cli/files.h"
#include "cli/host.h"
#include "cli/itemnames.h"
#include "cli/reading.h"
#include "cli/vault.h"
#include "cli/writing.h"

namespace cli {

namespace {

struct Options {
  WriteOptions write;
  std::string item;
  std::optional<uint32_t> kind;
  std::string input = "-";
};

constexpr uint32_t kDefaultKind = 1;

void Declare(CLI::App& command, Options& options) {
  DeclareWriting(command, options.write, "The vault's file; made when there is none",
                 "Only say what would be stored");
  command
      .add_option("ITEM", options.item,
                  "The ID (0x… or decimal) of an item, or a name; a new name makes a new item")
      ->required();
  command.add_option("FILE", options.input, "Where the bytes come from; - is standard input")
      ->capture_default_str();
  command.add_option("--kind,-k", options.kind, "The kind of the item (1 for a new one)");
}

// The item that is to be replaced; nothing when a new one is to be made.
std::optional<Record> FindExisting(const VaultPath& path, const Options& options) {
  if (platform::Exists(path.file.c_str())) {
    const Image image(path);
    image.requireSound();
    try {
      return FindItem(image, options.item, options.kind);
    } catch (const Failure& failure) {
      if (failure.code != ExitCode::kMissing) throw;
    }
  }
  if (options.item.substr(0, 2) != "0x") return std::nullopt;
  throw Failure(ExitCode::kMissing,
                fmt::format("there is no item {} in {}", options.item, options.write.vault),
                "A new item is given a name; its ID is drawn.");
}

ExitCode Put(const Options& options, Console& console) {
  const VaultPath path(options.write.vault);
  RequireAlone(path, options.write);
  RequireBackupSpared(path, options.write);
  const std::optional<Record> existing = FindExisting(path, options);
  Record record = existing.value_or(
      Record{0, options.kind.value_or(kDefaultKind), RequireUtf8(options.item, "item's name")});
  if (options.input == "-" && IsTerminal(stdin))
    console.note("type the bytes and end them with the end-of-file key");
  const Bytes bytes =
      options.input == "-" ? ReadStandardInput() : ReadWholeFile(std::filesystem::u8path(options.input));
  if (bytes.size() > storage::kMaxItemSize) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("the bytes are more than an item may hold ({})", storage::kMaxItemSize));
  }
  if (!options.write.dryRun) {
    Vault vault(path, Vault::Opening::kCreateIfMissing);
    if (existing) {
      vault.replace(record.id, bytes);
    } else {
      record.id = vault.add(record.kind, record.name, bytes);
    }
    vault.commit(console);
    const ItemBytes stored = Image(path).readItem(record.id);
    if (stored.bytes != bytes || !stored.problems.empty()) {
      throw Failure(ExitCode::kIoError, fmt::format("{} did not arrive intact", ShownName(record)));
    }
  }
  if (console.json) {
    console.document({{"dryRun", options.write.dryRun},
                      {"id", record.id == 0 ? Json() : Json(IdText(record.id))},
                      {"kind", record.kind},
                      {"replaced", existing.has_value()},
                      {"size", bytes.size()}});
  } else {
    const char* done = existing ? "replaced" : "stored";
    const char* wouldDo = existing ? "would replace" : "would store";
    console.note("{} {} ({})", options.write.dryRun ? wouldDo : done, ShownName(record),
                 SizeText(bytes.size()));
  }
  return ExitCode::kFine;
}

}  // namespace

void RegisterPut(Tool& tool) {
  AddCommand<Options>(tool, "put", "Store the bytes of an item", Declare, Put);
}

}  // namespace cli
