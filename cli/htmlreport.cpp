#include "cli/htmlreport.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "cli/blocksvg.h"
#include "cli/host.h"
#include "cli/itemnames.h"
#include "cli/text.h"
#include "cli/verdict.h"

namespace cli {

namespace {

constexpr size_t kMostFindings = 500;

constexpr char kStyle[] = R"(
:root { color-scheme: light dark; --ground: #fff; --card: #f6f7f9; --line: #d9dde3; --ink: #1c2430; --dim: #5d6877;
  --sound: #1a7f4b; --suspect: #9a6200; --damaged: #c02626;
  --free: #dfe3e8; --left: #c9bda9; --table: #e0962a; --item: #4f8fc0; --bad: #d03030; }
@media (prefers-color-scheme: dark) { :root { --ground: #14181e; --card: #1d232b; --line: #353e4a; --ink: #e6eaf0;
  --dim: #9aa5b3; --sound: #4cc38a; --suspect: #e0a93e; --damaged: #ff6b6b;
  --free: #38414d; --left: #6f6552; --table: #e0a040; --item: #4f8fc0; --bad: #ff5a5a; } }
@media print { :root { --ground: #fff; --card: #fff; --line: #bbb; --ink: #000; --dim: #444; --sound: #1a7f4b;
  --suspect: #9a6200; --damaged: #c02626; --free: #dfe3e8; --left: #c9bda9; --table: #e0962a; --bad: #d03030; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; } h2 { break-after: avoid; }
  tr, figure { break-inside: avoid; } body { font-size: 10pt; padding: 0; } }
body { font: 15px/1.5 system-ui, sans-serif; background: var(--ground); color: var(--ink); max-width: 62rem;
  margin: 0 auto; padding: 2rem 1.25rem; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; margin: 0; } h2 { font-size: 1.1rem; margin: 2.25rem 0 .6rem; }
p { margin: .4rem 0; } .dim { color: var(--dim); }
.verdict { border: 1px solid var(--line); border-left: .4rem solid var(--tone); background: var(--card);
  padding: .8rem 1rem; margin: 1.25rem 0; border-radius: .3rem; }
.verdict strong { color: var(--tone); font-size: 1.25rem; }
.sound { --tone: var(--sound); } .empty, .suspect, .suspicion { --tone: var(--suspect); }
.damaged, .damage, .vault { --tone: var(--damaged); } .note { --tone: var(--dim); }
table { border-collapse: collapse; width: 100%; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .3rem .7rem .3rem 0; border-bottom: 1px solid var(--line); vertical-align: top; }
th { color: var(--dim); font-weight: 600; font-size: .85em; white-space: nowrap; }
.n { text-align: right; white-space: nowrap; } .tone { color: var(--tone); font-weight: 600; white-space: nowrap; }
code { font: .9em ui-monospace, monospace; } td > code { white-space: nowrap; } .wide { overflow-x: auto; }
figure { margin: 0; } svg { width: 100%; height: auto; display: block; }
.legend { display: flex; flex-wrap: wrap; gap: .3rem 1.2rem; margin: .2rem 0 .6rem; color: var(--dim); }
.legend i { display: inline-block; width: .8em; height: .8em; margin-right: .4em; border-radius: .15em; }
)";

std::string Row(const char* what, const std::string& value) {
  return fmt::format("<tr><th>{}</th><td>{}</td></tr>\n", what, EscapeXml(value));
}

// Which blocks each tile's style is of, in the page's own colours.
const char* ColourOf(Tile tile) {
  constexpr const char* kColours[] = {"var(--free)", "var(--left)", "var(--table)", "var(--item)",
                                      "var(--bad)"};
  return kColours[static_cast<size_t>(tile)];
}

std::string VerdictCard(const ReportData& data) {
  const Verdict verdict = VerdictOf(data.findings);
  constexpr const char* kMeanings[] = {
      "Every packet, every item and the table of IDs are as they were written.",
      "It holds no item: it is new, or all were deleted, or all are lost.",
      "Nothing is damaged, but bytes may be missing: the file alone cannot show which is true.",
      "Bytes are lost, or not what was written.",
      "Nothing in the file looks like a part of a vault.",
  };
  const Rescue& rescue = data.rescue;
  return fmt::format(
      "<div class=\"verdict {0}\"><strong>{1}{2}</strong><p>{3}</p><p class=\"dim\">Salvage would give: {4} "
      "of {5} saved, {6} mended, {7} doubtful, {8} lost.</p></div>\n",
      VerdictText(verdict), static_cast<char>(VerdictText(verdict)[0] - 'a' + 'A'), VerdictText(verdict) + 1,
      kMeanings[static_cast<int>(verdict)], rescue.count(FateKind::kSaved),
      CountText(rescue.fates().size(), "item"), rescue.count(FateKind::kMended),
      rescue.count(FateKind::kDoubtful), rescue.count(FateKind::kLost));
}

std::string Facts(const ReportData& data) {
  const Image& image = data.image;
  uint64_t bytes = 0;
  for (const auto& [id, item] : image.items()) bytes += id == 0 ? 0 : item.size;
  constexpr const char* kJournals[] = {
      "none", "laid over the file: a program has the vault open, or did not close it",
      "laid over what is left of the file", "not this file's, or damaged", "cannot be read"};
  std::string html = "<h2>The vault</h2>\n<table>\n";
  html += Row("Size", fmt::format("{} ({} blocks of 1024 bytes, {} free)", SizeText(image.file().size()),
                                  image.blocks().size(), image.freeBlockCount()));
  html += Row("Items", fmt::format("{} in the ID table, {}", image.records().size(), SizeText(bytes)));
  html += Row("Last change", UtcTime(image.file().modified()));
  html += Row("Journal", kJournals[static_cast<int>(image.file().journal())]);
  return html + "</table>\n";
}

std::string Findings(const ReportData& data) {
  constexpr const char* kWeights[] = {"damage", "suspicion", "note"};
  std::string html = fmt::format("<h2>Findings ({})</h2>\n", data.findings.size());
  if (data.findings.empty()) return html + "<p>None.</p>\n";
  html +=
      "<div class=\"wide\"><table>\n<tr><th>Weight</th><th>Code</th><th class=\"n\">Block</th>"
      "<th class=\"n\">Offset</th><th>What</th></tr>\n";
  const size_t shown = std::min(data.findings.size(), kMostFindings);
  for (size_t i = 0; i < shown; ++i) {
    const Finding& finding = data.findings[i];
    const char* weight = kWeights[static_cast<int>(finding.weight)];
    const std::string block = finding.block ? std::to_string(*finding.block) : "";
    const std::string offset = finding.block ? std::to_string(finding.offset) : "";
    html += fmt::format(
        "<tr class=\"{0}\"><td class=\"tone\">{0}</td><td><code>{1}</code></td><td class=\"n\">{2}</td>"
        "<td class=\"n\">{3}</td><td>{4}</td></tr>\n",
        weight, finding.code, block, offset, EscapeXml(finding.what));
  }
  html += "</table></div>\n";
  if (shown < data.findings.size())
    html += fmt::format("<p class=\"dim\">and {} more</p>\n", data.findings.size() - shown);
  return html;
}

// What salvage would mend, lose or doubt; nothing when all is saved.
std::string Fates(const ReportData& data) {
  constexpr const char* kWords[] = {"saved", "mended", "doubtful", "partial", "lost"};
  constexpr const char* kClasses[] = {"sound", "sound", "suspicion", "suspicion", "damage"};
  std::string rows;
  size_t count = 0;
  for (const Fate& fate : data.rescue.fates()) {
    if (fate.kind == FateKind::kSaved && fate.other == nullptr) continue;
    if (++count > kMostFindings) continue;
    std::string why = fate.why;
    const RescueSource& source = data.rescue.sourceOf(fate);
    if (fate.other != nullptr)
      why += fmt::format("{}from the {}", why.empty() ? "" : ", ", source.isJournal() ? "journal" : "backup");
    for (uint32_t block : fate.mended)
      why += fmt::format("{}{}: {}", why.empty() ? "" : "; ", source.plain.blockText(block),
                         ProofText(source.mended.at(block)));
    const auto kind = static_cast<size_t>(fate.kind);
    rows +=
        fmt::format("<tr class=\"{}\"><td class=\"tone\">{}</td><td><code>{}</code></td><td>{}</td></tr>\n",
                    kClasses[kind], kWords[kind], IdText(fate.record.id), EscapeXml(why));
  }
  if (rows.empty()) return "";
  if (count > kMostFindings)
    rows += fmt::format("<tr><td colspan=\"3\">and {} more</td></tr>\n", count - kMostFindings);
  return "<h2>What salvage would make of "
         "it</h2>\n<table>\n<tr><th>Fate</th><th>Item</th><th>Why</th></tr>\n" +
         rows + "</table>\n";
}

// How many items of each kind are of which size.
std::string Sizes(const ReportData& data) {
  struct Class {
    const char* name = nullptr;
    uint32_t upTo = 0;
  };
  constexpr Class kClasses[] = {{"empty", 0},          {"to 492", 492},         {"to 1,000", 1000},
                                {"to 10,000", 10'000}, {"to 100,000", 100'000}, {"more", UINT32_MAX}};
  struct Counts {
    size_t items[std::size(kClasses)] = {};
    size_t all = 0;
    uint64_t bytes = 0;
  };
  std::map<uint32_t, Counts> kinds;
  for (const Record& record : data.image.records()) {
    const uint32_t size = data.image.sizeOf(record.id);
    const auto* place = std::find_if(std::begin(kClasses), std::end(kClasses),
                                     [size](const Class& c) { return size <= c.upTo; });
    Counts& counts = kinds[record.kind];
    ++counts.items[place - std::begin(kClasses)];
    ++counts.all;
    counts.bytes += size;
  }
  std::string html =
      "<h2>Items by kind and size in bytes</h2>\n<div class=\"wide\"><table>\n<tr><th class=\"n\">Kind</th>";
  for (const Class& c : kClasses) html += fmt::format("<th class=\"n\">{}</th>", c.name);
  html += "<th class=\"n\">Items</th><th class=\"n\">Bytes</th></tr>\n";
  for (const auto& [kind, counts] : kinds) {
    html += fmt::format("<tr><td class=\"n\">{}</td>", kind);
    for (size_t count : counts.items) html += fmt::format("<td class=\"n\">{}</td>", count);
    html += fmt::format("<td class=\"n\">{}</td><td class=\"n\">{}</td></tr>\n", counts.all, counts.bytes);
  }
  return html + "</table></div>\n";
}

std::string Names(const ReportData& data) {
  if (!data.names) return "";
  std::string html =
      "<h2>Names</h2>\n<div class=\"wide\"><table>\n<tr><th>ID</th><th class=\"n\">Kind</th><th "
      "class=\"n\">Size</th><th>Name</th></tr>\n";
  for (const Record& record : data.image.records()) {
    html += fmt::format(
        "<tr><td><code>{}</code></td><td class=\"n\">{}</td><td class=\"n\">{}</td><td>{}</td></tr>\n",
        IdText(record.id), record.kind, data.image.sizeOf(record.id), EscapeXml(ShownName(record)));
  }
  return html + "</table></div>\n";
}

std::string Map(const ReportData& data) {
  const std::vector<MapBlock> map = MakeBlockMap(data.image);
  std::string html = "<h2>Block map</h2>\n<figure><div class=\"legend\">";
  for (Tile tile : kTilesInLegend)
    html += fmt::format("<span><i style=\"background:{}\"></i>{} {}</span>", ColourOf(tile),
                        CountTiles(map, tile), StyleOf(tile).name);
  html += "</div>\n";
  if (map.empty()) return html + "</figure>\n";
  std::string svg = DrawSvg(data.image, map, {false, data.names, false});
  for (Tile tile : kTilesInLegend) {
    const std::string fixed = fmt::format("fill=\"{}\"", StyleOf(tile).svgColour);
    const std::string own = fmt::format("fill=\"{}\"", ColourOf(tile));
    for (size_t at = 0; (at = svg.find(fixed, at)) != std::string::npos;) svg.replace(at, fixed.size(), own);
  }
  return html + svg + "</figure>\n";
}

std::string Files(const ReportData& data) {
  std::string html =
      "<h2>Files</h2>\n<div class=\"wide\"><table>\n<tr><th>Name</th><th>What it is</th><th "
      "class=\"n\">Bytes</th><th>Last change</th></tr>\n";
  for (const NeighbourFile& file : data.files)
    html += fmt::format("<tr><td><code>{}</code></td><td>{}</td><td class=\"n\">{}</td><td>{}</td></tr>\n",
                        EscapeXml(file.name), EscapeXml(file.what), file.size, UtcTime(file.modified));
  return html + "</table></div>\n";
}

}  // namespace

std::string HtmlReport(const ReportData& data) {
  const std::string name = EscapeXml(std::filesystem::u8path(data.image.fileShown()).filename().u8string());
  return fmt::format(
             "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
             "content=\"width=device-width, initial-scale=1\">\n<title>Vault report: "
             "{}</title>\n<style>{}</style>\n"
             "</head>\n<body>\n<h1>Vault report: {}</h1>\n<p class=\"dim\">{}; pmstore {}, data file format "
             "{}, {}. No bytes of items{} are in this page.</p>\n",
             name, kStyle, name, UtcTime(data.now), data.version, storage::kFormatVersion, SystemName(),
             data.names ? "" : " and none of their names") +
         VerdictCard(data) + Facts(data) + Findings(data) + Map(data) + Sizes(data) + Files(data) +
         Fates(data) + Names(data) + "</body>\n</html>\n";
}

}  // namespace cli
