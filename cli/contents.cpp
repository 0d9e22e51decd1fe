#include "cli/contents.h"

#include "cli/bytes.h"
#include "cli/itemjson.h"
#include "cli/progress.h"
#include "cli/unlisted.h"

namespace cli {

namespace {

std::string Reason(const Content& before, const Content& after) {
  std::string reason;
  const auto add = [&reason](const std::string& text) { reason += (reason.empty() ? "" : ", ") + text; };
  const auto name = [](const Content& c) {
    return c.name ? "\"" + Printable(*c.name) + "\"" : std::string("none");
  };
  if (before.kind != after.kind) add(fmt::format("kind {} -> {}", before.kind, after.kind));
  if (before.name != after.name) add(fmt::format("name {} -> {}", name(before), name(after)));
  if (before.damaged || after.damaged) {
    add(before.damaged && after.damaged ? "damaged in both"
        : before.damaged                ? "damaged before"
                                        : "damaged after");
  } else if (before.size != after.size) {
    add(fmt::format("size {} -> {}", before.size, after.size));
  } else if (before.fingerprint != after.fingerprint) {
    add("other bytes");
  }
  return reason;
}

}  // namespace

Contents ContentsOf(const Image& image, Console& console) {
  Contents contents;
  for (const Record& record : image.records())
    contents[record.id] = {record.kind, record.name, 0, Fingerprint({}), false};
  const bool namesAll = NamesEveryItem(image, UnlistedItems(image));
  Progress progress(console, "reading", image.items().size());
  for (const auto& [id, item] : image.items()) {
    progress.advance(1);
    if (id == 0 || (namesAll && image.findRecord(id) == nullptr)) continue;
    const ItemBytes bytes = image.readItem(id);
    Content& content = contents[id];
    content.size = bytes.bytes.size();
    content.fingerprint = Fingerprint(bytes.bytes);
    content.damaged = !image.isIntact(id);
  }
  return contents;
}

std::vector<Difference> Compare(const Contents& before, const Contents& after) {
  std::vector<Difference> differences;
  for (const auto& [id, old] : before) {
    const auto found = after.find(id);
    if (found == after.end()) {
      differences.push_back({id, DifferenceKind::kRemoved, old, {}});
    } else if (!Reason(old, found->second).empty()) {
      differences.push_back({id, DifferenceKind::kChanged, old, found->second});
    }
  }
  for (const auto& [id, added] : after) {
    if (before.count(id) == 0) differences.push_back({id, DifferenceKind::kAdded, {}, added});
  }
  return differences;
}

void Print(const std::vector<Difference>& differences, Console& console) {
  constexpr const char* kNames[] = {"added", "removed", "changed"};
  constexpr Colour kColours[] = {Colour::kGreen, Colour::kRed, Colour::kYellow};
  for (const Difference& difference : differences) {
    const auto change = static_cast<size_t>(difference.kind);
    const Content& content =
        difference.kind == DifferenceKind::kRemoved ? difference.before : difference.after;
    const std::string reason =
        difference.kind == DifferenceKind::kChanged ? Reason(difference.before, difference.after) : "";
    if (console.json) {
      Json json{{"change", kNames[change]}, {"id", IdText(difference.id)}, {"kind", content.kind}};
      AddName(json, content.name);
      json["size"] = content.size;
      if (!reason.empty()) json["what"] = reason;
      console.record(json);
      continue;
    }
    const std::string name = content.name ? " " + Printable(*content.name) : "";
    const std::string what = reason.empty() ? SizeText(content.size) : reason;
    console.line("{} {} kind {}{} ({})",
                 console.paint(kColours[change], fmt::format("{:<7}", kNames[change])), IdText(difference.id),
                 content.kind, name, what);
  }
}

void RequireSame(const Contents& expected, const Contents& found, const std::string& where) {
  const std::vector<Difference> differences = Compare(expected, found);
  if (differences.empty()) return;
  throw Failure(ExitCode::kIoError,
                fmt::format("{} does not hold what it should; what differs: {}, the first is {}", where,
                            CountText(differences.size(), "item"), IdText(differences[0].id)),
                "The disk may be failing. \"pmstore check\" says what is damaged.");
}

}  // namespace cli
