// What a vault holds, and how two vaults differ.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/image.h"

namespace cli {

// What an item is, but for its bytes.
struct Content {
  uint32_t kind = 0;
  std::optional<PmString> name;
  uint64_t size = 0;
  uint64_t fingerprint = 0;  // of the bytes
  bool damaged = false;
};

// All items of a vault by ID, damaged ones included. Items without a record are when the ID table has lost some.
using Contents = std::map<uint32_t, Content>;
Contents ContentsOf(const Image& image, Console& console);

enum class DifferenceKind { kAdded, kRemoved, kChanged };

struct Difference {
  uint32_t id = 0;
  DifferenceKind kind{};
  Content before;  // empty for kAdded
  Content after;   // empty for kRemoved
};

// What turns `before` into `after`. Equal items that are damaged in both count as changed, since nobody
// knows.
std::vector<Difference> Compare(const Contents& before, const Contents& after);

// Puts out the differences, one a line.
void Print(const std::vector<Difference>& differences, Console& console);

// Fails unless both hold the same; `where` is the file that should.
void RequireSame(const Contents& expected, const Contents& found, const std::string& where);

}  // namespace cli
