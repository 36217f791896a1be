// A trace as the pixels of one row. However many points it has, it becomes a few per column of
// pixels: the first, the lowest, the highest and the last, which cover the same pixels as all of
// them.

#ifndef PLOT_TRACE_H_
#define PLOT_TRACE_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/drawing.h"
#include "plot/axes.h"

namespace tervalon::plot {

struct Trace {
  const float* x;
  const float* y;
  size_t count;
};

// One row, as it is placed at the depth that is set.
struct RowView {
  RowView(const Axes& axes, int32_t row);

  const AxsSystem& axes;
  bool is_first;
  AxsRowRange range;  // may run downward
  float lowest_x;
  float highest_x;
  CoordinateSystem system;
  TvRect data;     // the pixels of the row, edges included
  int32_t base_y;  // of the Y crossing, or of the nearest end of the Y range

  // For clipping, where right and bottom edges are outside.
  TvRect ClipRect() const;
};

// Lines through the trace's points, cut at the row's ends. A point that is not a number ends a
// line.
using Outline = std::vector<TvPoint>;
std::vector<Outline> OutlinesOf(const Trace& trace, const RowView& row);

// Lines from the base to the trace's points. A point where two rows meet belongs to the first.
std::vector<platform::LineSegment> SticksOf(const Trace& trace, const RowView& row);

// The highest pixel of what is drawn in each column, for what is to stand clear of it.
class TraceTops {
 public:
  TraceTops(const Trace& trace, const RowView& row, bool sticks);

  // Over the columns `left` to `right`; INT32_MAX where nothing is drawn.
  int32_t Highest(int32_t left, int32_t right) const;

 private:
  void AddOutline(const Outline& outline);
  void Add(int32_t x, int32_t y);

  TvRect data_;
  std::vector<int32_t> tops_;
  int64_t steps_left_ = int64_t{16} << 20;  // along lines, pixel by pixel
};

}  // namespace tervalon::plot

#endif  // PLOT_TRACE_H_
