#include "cli/itemnames.h"

#include <fmt/format.h>

#include "cli/failure.h"
#include "cli/text.h"

namespace cli {

const Record& FindItem(const Image& image, const std::string& word, std::optional<uint32_t> kind) {
  if (const std::optional<uint32_t> id = ParseNumber(word)) {
    const Record* record = image.findRecord(*id);
    if (record != nullptr && (!kind || record->kind == *kind)) return *record;
  }
  const PmString name = RequireUtf8(word, "item's name");
  const Record* found = nullptr;
  for (const Record& record : image.records()) {
    if (record.name != name || (kind && record.kind != *kind)) continue;
    if (found != nullptr) {
      throw Failure(ExitCode::kUsage, fmt::format("several items are named \"{}\"", Printable(name)),
                    "Narrow the choice with --kind, or give the item's ID (\"pmstore ls\" shows both).");
    }
    found = &record;
  }
  if (found != nullptr) return *found;
  throw Failure(ExitCode::kMissing,
                fmt::format("there is no item \"{}\" in {}", Printable(name), image.fileShown()),
                "\"pmstore ls\" lists the items.");
}

std::string ShownName(const Record& record) {
  if (!record.name) return fmt::format("({})", IdText(record.id));
  return record.name->empty() ? "\"\"" : Printable(*record.name);
}

std::string IdAndName(const Record& record) {
  return record.name ? fmt::format("{} {}", IdText(record.id), ShownName(record)) : IdText(record.id);
}

}  // namespace cli
