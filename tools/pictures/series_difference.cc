#include "tools/pictures/plot_series.h"

namespace tervalon::tools {
namespace {

constexpr float kSameStick = 0.25F;

// The height of a joined trace between a point and the one before; 0 outside.
inline float HeightBefore(const PlotSeries& series, size_t point, float x) {
  if (point > 0 && series.x[point - 1] == x) {
    return series.y[point - 1];
  }
  if (point == 0 || point == series.x.size()) {
    return 0;
  }
  const float part = (x - series.x[point - 1]) / (series.x[point] - series.x[point - 1]);
  return series.y[point - 1] + part * (series.y[point] - series.y[point - 1]);
}

}  // namespace

PlotSeries Difference(const PlotSeries& from, const PlotSeries& taken) {
  PlotSeries result = {.title = from.title + " - " + taken.title,
                       .x_title = from.x_title,
                       .y_title = from.y_title,
                       .y_unit = from.y_unit,
                       .depth_title = from.depth_title,
                       .empty = from.empty,
                       .range = from.range,
                       .sticks = from.sticks,
                       .label_decimals = from.label_decimals};
  result.x.reserve(from.x.size() + taken.x.size());
  result.y.reserve(from.x.size() + taken.x.size());
  size_t a = 0;
  size_t b = 0;
  const float same = from.sticks ? kSameStick : 0;
  while (a < from.x.size() || b < taken.x.size()) {
    const bool only_b = a == from.x.size() || (b < taken.x.size() && taken.x[b] < from.x[a] - same);
    const bool only_a = !only_b && (b == taken.x.size() || from.x[a] < taken.x[b] - same);
    const float x = only_b ? taken.x[b] : from.x[a];
    result.x.push_back(x);
    const float other_a = only_b && !from.sticks ? HeightBefore(from, a, x) : 0;
    const float other_b = only_a && !from.sticks ? HeightBefore(taken, b, x) : 0;
    result.y.push_back((only_b ? other_a : from.y[a]) - (only_a ? other_b : taken.y[b]));
    a += only_b ? 0 : 1;
    b += only_a ? 0 : 1;
  }
  return result;
}

}  // namespace tervalon::tools
