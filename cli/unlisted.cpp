#include "cli/unlisted.h"

#include <fmt/format.h>

#include "cli/failure.h"
#include "cli/text.h"

namespace cli {

std::vector<uint32_t> UnlistedItems(const Image& image) {
  std::vector<uint32_t> ids;
  for (const auto& [id, item] : image.items()) {
    if (id != 0 && image.findRecord(id) == nullptr && image.hasSoundPacket(id)) ids.push_back(id);
  }
  return ids;
}

bool NamesEveryItem(const Image& image, const std::vector<uint32_t>& unlisted) {
  const Item* table = image.findItem(0);
  if (table == nullptr || !image.tableProblem().empty()) return false;
  return unlisted.empty() || !table->endsFull;
}

void RequireAllNamed(const Image& image) {
  const std::vector<uint32_t> unlisted = UnlistedItems(image);
  if (image.items().empty() || NamesEveryItem(image, unlisted)) return;
  const size_t left = image.findItem(0) == nullptr ? image.items().size() : unlisted.size();
  throw Failure(ExitCode::kRefused,
                fmt::format("the ID table of {} is lost, or its end, and {} {} left without it",
                            image.fileShown(), CountText(left, "item"), left == 1 ? "is" : "are"),
                "Nothing was changed. \"pmstore salvage\" saves what is left into a new vault.");
}

}  // namespace cli
