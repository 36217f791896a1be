#include "tools/pictures/plot_series.h"

namespace tervalon::tools {
namespace {

constexpr float kSameStick = 0.25F;

// The height of a joined trace at a place; 0 outside. `at` is where the search begins.
float HeightAt(const PlotSeries& series, float x, size_t& at) {
  while (at < series.x.size() && series.x[at] < x) {
    ++at;
  }
  if (at == series.x.size() || (at == 0 && series.x[0] > x)) {
    return 0;
  }
  if (at == 0 || series.x[at] == x) {
    return series.y[at];
  }
  const float part = (x - series.x[at - 1]) / (series.x[at] - series.x[at - 1]);
  return series.y[at - 1] + part * (series.y[at] - series.y[at - 1]);
}

}  // namespace

PlotSeries Difference(const PlotSeries& from, const PlotSeries& taken) {
  PlotSeries result = from;
  result.title = from.title + " - " + taken.title;
  result.x.clear();
  result.y.clear();
  size_t a = 0;
  size_t b = 0;
  size_t in_from = 0;
  size_t in_taken = 0;
  const float same = from.sticks ? kSameStick : 0;
  while (a < from.x.size() || b < taken.x.size()) {
    const bool only_b = a == from.x.size() || (b < taken.x.size() && taken.x[b] < from.x[a] - same);
    const bool only_a = !only_b && (b == taken.x.size() || from.x[a] < taken.x[b] - same);
    const float x = only_b ? taken.x[b] : from.x[a];
    result.x.push_back(x);
    if (from.sticks) {
      result.y.push_back((only_b ? 0 : from.y[a]) - (only_a ? 0 : taken.y[b]));
    } else {
      result.y.push_back(HeightAt(from, x, in_from) - HeightAt(taken, x, in_taken));
    }
    a += only_b ? 0 : 1;
    b += only_a ? 0 : 1;
  }
  return result;
}

}  // namespace tervalon::tools
