// Which ticks an axis has, from its tick info, which callers may have made up: whatever it holds,
// the ticks end.

#ifndef PLOT_TICK_MARKS_H_
#define PLOT_TICK_MARKS_H_

#include <cstdint>
#include <vector>

#include "plot/axes.h"

namespace tervalon::plot {

constexpr size_t kMaxTicks = 10000;

struct TickMark {
  int32_t row = 0;
  double value = 0.0;
  bool is_long = false;  // a major tick or the one in the middle of a step
};

// Ticks of every row from left to right.
std::vector<TickMark> XTicks(const Axes& axes, const AxsTickInfo& info);

// Ticks from top to bottom, each in every row.
std::vector<TickMark> YTicks(const Axes& axes, const AxsTickInfo& info);

// Values with a label: every major tick of an X axis, the ends of a Y axis.
std::vector<double> XLabelValues(const AxsTickInfo& info);
std::vector<double> YLabelValues(const AxsTickInfo& info);

}  // namespace tervalon::plot

#endif  // PLOT_TICK_MARKS_H_
