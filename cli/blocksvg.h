// The block map as an SVG picture.
#pragma once

#include <string>
#include <vector>

#include "cli/blockmap.h"

namespace cli {

struct SvgOptions {
  bool byItem = false;  // a colour for each item
  bool names = true;    // in the tool tips
  bool alone = true;    // with title, legend and a white ground, which a page has for all
};

// A picture of a few thousand cells at most, with a tool tip for every run of equal cells.
std::string DrawSvg(const Image& image, const std::vector<MapBlock>& map, const SvgOptions& options);

}  // namespace cli
