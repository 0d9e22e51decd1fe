// A vault's state as one HTML page for a support case: no bytes of items, and their names only where that was
// asked for. The page needs nothing but itself; it follows the reader's light or dark colours, and prints.
#pragma once

#include <string>
#include <vector>

#include "cli/findings.h"
#include "cli/rescue.h"

namespace cli {

// One of the files at the vault's place.
struct NeighbourFile {
  std::string name;
  std::string what;
  uint64_t size = 0;
  int64_t modified = 0;
};

struct ReportData {
  const Image& image;
  std::vector<Finding> findings;
  const Rescue& rescue;  // what salvage would make of it
  std::vector<NeighbourFile> files;
  bool names = false;
  std::string version;  // of the tool
  int64_t now = 0;
};

std::string HtmlReport(const ReportData& data);

}  // namespace cli
