// The names of what a panel shows, in the strip above it.

#ifndef TOOLS_PICTURES_LEGEND_H_
#define TOOLS_PICTURES_LEGEND_H_

#include <string>
#include <vector>

#include "tools/pictures/picture_plan.h"

namespace tervalon::tools {

struct LegendEntry {
  std::string text;
  Ink ink;
};

struct Legend {
  std::string title;    // of the Y axis, on the left
  bool hidden = false;  // that title, whose room is kept: it is as above
  std::vector<LegendEntry> entries = {};
  std::string top = {};  // what 100% is, on the right
};

// Places all of it into a strip of that width at (0, 0), entries in columns where they need more
// than a line, with samples of their lines where there are several. Returns the strip's height.
// What exceeds `most_lines` is counted, not named.
int32_t PlaceLegend(const Legend& legend, int32_t width, int32_t most_lines,
                    const TextMeasure& measure, std::vector<PlannedText>* texts,
                    std::vector<PlannedLine>* samples);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_LEGEND_H_
