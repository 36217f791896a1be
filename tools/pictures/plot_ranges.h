// What a panel of a picture shows of its series: the ranges of both axes, and of what unit they
// are.

#ifndef TOOLS_PICTURES_PLOT_RANGES_H_
#define TOOLS_PICTURES_PLOT_RANGES_H_

#include <string>
#include <vector>

#include "tools/pictures/picture_plan.h"

namespace tervalon::tools {

struct PlotRanges {
  Window x = {};
  float low = 0;  // of the data in view, before they are put on the Y scale
  float high = 0;
  YUnit unit = {};
  std::vector<float> tops = {};  // what 100% is of each series; 0: nothing
  std::string note = {};         // why there is nothing to see
};

// Series that share axes, in order.
using SeriesGroup = std::vector<PlotSeries*>;

// The X range that shows a group whole; in three dimensions what is above 1 % of the highest.
Window WholeX(const SeriesGroup& group, const PictureStyle& style);

// Finds the ranges for an X range, and makes the series what is plotted: normalised, turned upside
// down, on the Y scale.
PlotRanges PrepareSeries(const SeriesGroup& group, const Window& x, const PictureStyle& style);

// The Y range as plotted, with round ends where the highest point is not one, for that many labels.
Window PlottedY(const PlotRanges& ranges, const PictureStyle& style, int32_t most_labels);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_RANGES_H_
