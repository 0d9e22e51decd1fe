// ls: the items of a vault.
#include <algorithm>

#include "cli/itemjson.h"
#include "cli/itemnames.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Options {
  ReadOptions read;
  std::optional<uint32_t> kind;
  std::string pattern;
  std::string sort = "stored";
  bool reverse = false;
};

struct Row {
  const Record* record = nullptr;
  uint32_t size = 0;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
  command.add_option("--kind,-k", options.kind, "Only items of this kind");
  command.add_option("--match,-m", options.pattern,
                     "Only items whose name matches: * stands for any text, ? for one character");
  command.add_option("--sort,-s", options.sort, "Order of the list")
      ->check(CLI::IsMember({"stored", "id", "kind", "size", "name"}));
  command.add_flag("--reverse,-r", options.reverse, "The other way round");
}

bool Matches(const PmString& text, const PmString& pattern) {
  size_t t = 0, p = 0, afterStar = PmString::npos, retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      afterStar = ++p;
      retry = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p, ++t;
    } else if (afterStar != PmString::npos) {
      p = afterStar;
      t = ++retry;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

void Sort(std::vector<Row>& rows, const std::string& order) {
  const auto by = [&rows](auto less) { std::stable_sort(rows.begin(), rows.end(), less); };
  if (order == "id") by([](const Row& a, const Row& b) { return a.record->id < b.record->id; });
  if (order == "kind") by([](const Row& a, const Row& b) { return a.record->kind < b.record->kind; });
  if (order == "size") by([](const Row& a, const Row& b) { return a.size < b.size; });
  if (order == "name") by([](const Row& a, const Row& b) { return a.record->name < b.record->name; });
}

void PrintJson(const std::vector<Row>& rows, Console& console) {
  for (const Row& row : rows) {
    Json json{{"id", IdText(row.record->id)}, {"kind", row.record->kind}, {"size", row.size}};
    AddName(json, row.record->name);
    console.record(json);
  }
}

void PrintTable(const std::vector<Row>& rows, Console& console) {
  size_t kindWidth = 4;
  for (const Row& row : rows) kindWidth = std::max(kindWidth, fmt::formatted_size("{}", row.record->kind));
  const std::string head = fmt::format("{:<10}  {:>{}}  {:>10}  {}", "ID", "KIND", kindWidth, "SIZE", "NAME");
  if (!rows.empty()) console.line("{}", console.paint(Colour::kBold, head));
  for (const Row& row : rows) {
    const std::string name = row.record->name ? "  " + Printable(*row.record->name) : "";
    console.line("{}  {:>{}}  {:>10}{}", IdText(row.record->id), row.record->kind, kindWidth, row.size, name);
  }
}

ExitCode List(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  image.requireSound();
  const PmString pattern = RequireUtf8(options.pattern, "pattern");
  std::vector<Row> rows;
  uint64_t total = 0;
  for (const Record& record : image.records()) {
    if (options.kind && record.kind != *options.kind) continue;
    if (!pattern.empty() && !Matches(record.name.value_or(PmString()), pattern)) continue;
    rows.push_back({&record, image.sizeOf(record.id)});
    total += rows.back().size;
  }
  Sort(rows, options.sort);
  if (options.reverse) std::reverse(rows.begin(), rows.end());

  console.json ? PrintJson(rows, console) : PrintTable(rows, console);
  console.note("{}, {}", CountText(rows.size(), "item"), SizeText(total));
  RequireUnchanged(image);
  return ExitCode::kFine;
}

}  // namespace

void RegisterLs(Tool& tool) {
  AddCommand<Options>(tool, "ls", "List the items", Declare, List);
}

}  // namespace cli
