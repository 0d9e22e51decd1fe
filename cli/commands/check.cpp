// check: every packet, every item and the ID table, and what to do about what is wrong.
#include "cli/names.h"
#include "cli/reading.h"

namespace cli {

namespace {

struct Finding {
  std::string where;
  std::string what;
  std::optional<uint32_t> item;
  std::optional<uint32_t> block;
};

struct Options {
  ReadOptions read;
};

void Declare(CLI::App& command, Options& options) {
  DeclareReading(command, options.read);
}

Finding ForBlock(const Problem& problem, std::optional<uint32_t> item) {
  return {BlockText(problem.block), problem.what, item, problem.block};
}

void CheckItems(const Image& image, Console& console, std::vector<Finding>& findings) {
  Progress progress(console, "checking", image.items().size());
  for (const auto& [id, item] : image.items()) {
    for (const Problem& problem : image.readItem(id).problems) findings.push_back(ForBlock(problem, id));
    progress.advance(1);
  }
}

void CheckTable(const Image& image, std::vector<Finding>& findings) {
  if (!image.tableProblem().empty()) {
    findings.push_back({"item 0", image.tableProblem(), 0, {}});
    return;  // without the table, no item has a record
  }
  std::map<uint32_t, size_t> seen;
  for (const Record& record : image.records()) {
    if (++seen[record.id] == 2) findings.push_back({"ID table", "two records have this ID", record.id, {}});
    if (record.id == 0) findings.push_back({"ID table", "a record has the ID 0, the table's own", 0, {}});
  }
  for (const auto& [id, item] : image.items()) {
    if (id == 0 || seen.count(id) != 0) continue;
    findings.push_back(
        {fmt::format("item {}", IdText(id)), "has no record in the ID table", id, item.blocks[0]});
  }
}

void Report(const std::vector<Finding>& findings, const Image& image, Console& console) {
  size_t empty = 0;
  for (const Record& record : image.records()) empty += image.items().count(record.id) == 0 ? 1 : 0;
  if (console.json) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
      Json entry{{"where", finding.where}, {"what", finding.what}};
      if (finding.item) entry["item"] = IdText(*finding.item);
      if (finding.block) entry["block"] = *finding.block;
      list.push_back(entry);
    }
    console.document({{"file", image.fileShown()},
                      {"sound", findings.empty()},
                      {"blocks", image.blocks().size()},
                      {"records", image.records().size()},
                      {"emptyItems", empty},
                      {"problems", list}});
    return;
  }
  for (const Finding& finding : findings) {
    const Record* record = finding.item && *finding.item != 0 ? image.findRecord(*finding.item) : nullptr;
    const std::string item =
        !finding.item || *finding.item == 0 ? "" : fmt::format(" of item {}", IdText(*finding.item));
    console.line("{}{}{}: {}", finding.where, finding.block ? item : "",
                 record ? " \"" + ShownName(*record) + "\"" : "", finding.what);
  }
  console.line("{}: {}", image.fileShown(),
               findings.empty() ? console.paint(Colour::kGreen, "sound")
                                : console.paint(Colour::kRed, fmt::format("{} problems", findings.size())));
  console.line("  {} blocks, {} items ({} without bytes)", image.blocks().size(), image.records().size(),
               empty);
}

ExitCode Check(const Options& options, Console& console) {
  const Image image(VaultPath(options.read.vault), options.read.source);
  SayWhatIsRead(image, options.read, console);
  std::vector<Finding> findings;
  for (const Problem& problem : image.fileProblems()) findings.push_back(ForBlock(problem, {}));
  CheckItems(image, console, findings);
  CheckTable(image, findings);
  RequireUnchanged(image);
  Report(findings, image, console);
  return findings.empty() ? ExitCode::kFine : ExitCode::kProblems;
}

}  // namespace

void RegisterCheck(Tool& tool) {
  AddCommand<Options>(tool, "check", "Verify every packet and item", Declare, Check);
}

}  // namespace cli
