// get: the bytes of one item, to standard output or a file.
#include <cstdio>

#include "cli/files.h"
#include "cli/host.h"
#include "cli/itemjson.h"
#include "cli/itemnames.h"
#include "cli/reading.h"
#include "cli/verdict.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::string item;
  std::optional<uint32_t> kind;
  std::string output;
  bool force = false;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("ITEM", options.item, "The item's ID (0x… or decimal) or name")->required();
  command.add_option("--kind,-k", options.kind, "The kind, where several items have the name");
  command.add_option("--output,-o", options.output, "Write to this file");
  command.add_flag("--force,-f", options.force, "Overwrite the file; write binary data to a terminal");
}

bool IsText(const Bytes& bytes) {
  const std::optional<PmString> text = FromUtf8(std::string(bytes.begin(), bytes.end()));
  if (!text) return false;
  for (PmChar c : *text) {
    if ((c < 0x20 && c != '\n' && c != '\t' && c != '\r') || (c >= 0x7F && c < 0xA0)) return false;
  }
  return true;
}

void Deliver(const Options& options, const Record& record, const Bytes& bytes, Console& console) {
  if (!options.output.empty()) {
    RequireOutputApart(options.read, options.output);
    WriteWholeFile(std::filesystem::u8path(options.output), bytes, options.force);
    if (console.json) {
      console.document({{"id", IdText(record.id)}, {"size", bytes.size()}, {"file", options.output}});
    } else {
      console.note("{}: {} written to {}", ShownName(record), SizeText(bytes.size()), options.output);
    }
  } else if (console.json) {
    console.document(ToJson(record, bytes));
  } else if (IsTerminal(stdout) && !options.force && !IsText(bytes)) {
    throw Failure(ExitCode::kRefused,
                  fmt::format("{} is not text, and standard output is a terminal", ShownName(record)),
                  "Write it to a file with --output FILE, pipe it on, or say --force.");
  } else {
    Console::bytes(bytes);
    const bool isOpenLine = !bytes.empty() && bytes.back() != '\n';
    if (IsTerminal(stdout) && isOpenLine && !options.force) console.line("");
  }
}

std::string SalvageText(const std::string& vault) {
  return fmt::format(
      "\"pmstore check {0}\" says what else is damaged, \"pmstore salvage {0} NEW-VAULT\" saves what can be "
      "had.",
      ForShell(vault));
}

ExitCode Get(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  image.requireSound();
  const Record& record = FindItem(image, options.item, options.kind);
  const ItemBytes item = image.readItem(record.id);
  if (!item.problems.empty()) {
    const Problem& first = item.problems[0];
    throw Failure(
        ExitCode::kRefused,
        fmt::format("{} is damaged: {} {}", ShownName(record), image.blockText(first.block), first.what),
        SalvageText(options.read.vault));
  }
  const Mistrust mistrust = MistrustOf(image);
  RequireUnchanged(image);
  Deliver(options, record, item.bytes, console);
  if (const auto doubt = mistrust.doubts.find(record.id); doubt != mistrust.doubts.end())
    console.note("in doubt: {}", doubt->second);
  const auto damage = mistrust.damage.find(record.id);
  if (damage == mistrust.damage.end()) return ExitCode::kFine;
  console.warn("these are not the bytes that were stored, or not all of them: {}. {}", damage->second,
               SalvageText(options.read.vault));
  return ExitCode::kProblems;
}

}  // namespace

void RegisterGet(Tool& tool) {
  AddCommand<Options>(tool, "get", "Write out the bytes of an item", Declare, Get);
}

}  // namespace cli
