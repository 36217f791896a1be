#include "plot/trace.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "plot/magnification.h"

namespace tervalon::plot {
namespace {

// How far beside a row lines are drawn. What is further away would only keep the device busy, all
// the more with a broken pen.
constexpr int32_t kBeside = 4096;

// More than any device has.
constexpr int64_t kMaxColumns = 1 << 20;

struct Limits {
  explicit Limits(const TvRect& data)
      : top(Saturate(int64_t{data.top} - kBeside)),
        bottom(Saturate(int64_t{data.bottom} + kBeside)) {}

  int32_t Limited(int32_t y) const { return std::clamp(y, top, bottom); }

  int32_t top;
  int32_t bottom;
};

// Points of a trace that fall into one column of pixels, one after another.
struct Column {
  int32_t x = 0;
  float first = 0.0F;
  float lowest = 0.0F;
  float highest = 0.0F;
  float last = 0.0F;

  static Column StartingWith(int32_t x, float y) { return {x, y, y, y, y}; }
  void Add(float y) {
    lowest = std::min(lowest, y);
    highest = std::max(highest, y);
    last = y;
  }
};

// Maps x to the columns of a row. Most points lie in the column of the one before, which takes two
// comparisons.
class ColumnFinder {
 public:
  explicit ColumnFinder(const RowView& row) : row_(row) {}

  // Whether x, inside the row, is sure to lie in the current column.
  bool InCurrent(float x) const { return x >= from_ && x <= to_; }

  // The ends of what is sure to.
  double from() const { return from_; }
  double to() const { return to_; }
  // What floats are compared with in their place: the nearest ones inside.
  float float_from() const { return InsideOf(from_, kInfinity); }
  float float_to() const { return InsideOf(to_, -kInfinity); }

  // The end of the range belongs to the last column.
  int32_t Find(float x) const {
    return std::clamp(row_.system.XPosition(x), row_.data.left, row_.data.right);
  }

  void SetCurrent(int32_t column) {
    constexpr double kSlack = 1e-3;  // of a pixel, more than all rounding
    const CoordinateSystem& system = row_.system;
    const int64_t pixels = int64_t{column} - system.origin_x - system.z_shift_x;
    const auto middle = static_cast<double>(pixels);
    const double from = system.x_offset + (middle - 0.5 + kSlack) / system.x_scale;
    const double to = system.x_offset + (middle + 0.5 - kSlack) / system.x_scale;
    from_ = pixels > 0 ? std::max(from, double{row_.range.from}) : row_.range.from;
    to_ = std::min(to, double{row_.range.to});
    if (!(system.x_scale > 0.0F)) to_ = from_ - 1.0;
  }

 private:
  static float InsideOf(double end, float inward) {
    constexpr double kMost = std::numeric_limits<float>::max();
    const auto nearest = static_cast<float>(std::clamp(end, -kMost, kMost));
    const bool outside = inward > 0 ? nearest < end : nearest > end;
    return outside ? std::nextafter(nearest, inward) : nearest;
  }

  static constexpr float kInfinity = std::numeric_limits<float>::infinity();

  const RowView& row_;
  double from_ = 1.0;
  double to_ = 0.0;
};

// Adds points from `i` on, as long as eight at a time are sure to lie in the current column.
// Returns the first one that is left.
size_t AddEights(const Trace& trace, size_t i, const ColumnFinder& finder, float factor,
                 Column* column) {
  const size_t start = i;
  const __m128 from = _mm_set1_ps(finder.float_from());
  const __m128 to = _mm_set1_ps(finder.float_to());
  const __m128 factors = _mm_set1_ps(factor);
  __m128 lowest = _mm_set1_ps(column->lowest);
  __m128 highest = _mm_set1_ps(column->highest);
  for (; i + 8 <= trace.count; i += 8) {
    __m128 stays = _mm_castsi128_ps(_mm_set1_epi32(-1));
    __m128 y[2];
    for (size_t half = 0; half < 2; ++half) {
      const __m128 x = _mm_loadu_ps(trace.x + i + 4 * half);
      y[half] = _mm_loadu_ps(trace.y + i + 4 * half);
      const __m128 inside = _mm_and_ps(_mm_cmpge_ps(x, from), _mm_cmple_ps(x, to));
      stays = _mm_and_ps(stays, _mm_and_ps(inside, _mm_cmpord_ps(y[half], y[half])));
    }
    if (_mm_movemask_ps(stays) != 0b1111) break;
    for (const __m128 four : y) {
      const __m128 value = _mm_mul_ps(four, factors);
      lowest = _mm_min_ps(value, lowest);
      highest = _mm_max_ps(value, highest);
    }
  }
  if (i == start) return i;
  float lows[4];
  float highs[4];
  _mm_storeu_ps(lows, lowest);
  _mm_storeu_ps(highs, highest);
  column->lowest = *std::min_element(lows, lows + 4);
  column->highest = *std::max_element(highs, highs + 4);
  column->last = trace.y[i - 1] * factor;
  return i;
}

// Y factors of magnified ranges.
class Magnifier {
 public:
  explicit Magnifier(const AxsSystem& axes) : axes_(axes) {}

  // Whether all values from one to another have the same factor.
  bool IsConstant(double from, double to) const {
    if ((axes_.flags & AXS_FLAG_MAGNIFIED) == 0) return true;
    return std::ranges::none_of(axes_.magnify, [=](const AxsMagnify& range) {
      return (range.from > from && range.from <= to) || (range.to > from && range.to <= to);
    });
  }

  float operator()(float x, float y) const {
    const AxsMagnify* range = MagnifierAt(axes_, x);
    return range != nullptr ? y * range->factor : y;
  }

 private:
  const AxsSystem& axes_;
};

// Puts pixels together to lines: none twice in a row, none too far away for the device.
class OutlineBuilder {
 public:
  explicit OutlineBuilder(const TvRect& data) : limits_(data) {}

  // The next point begins another line.
  void Start() { outlines_.emplace_back(); }

  void Add(TvPoint point) {
    if (!outlines_.back().empty()) {
      const bool downward = point.y > last_.y;
      AddCrossing(downward ? limits_.top : limits_.bottom, point);
      AddCrossing(downward ? limits_.bottom : limits_.top, point);
    }
    Push({point.x, limits_.Limited(point.y)});
    last_ = point;
  }

  std::vector<Outline> Take() { return std::move(outlines_); }

 private:
  // Where a sloping line to `point` passes a limit it has a corner, and keeps its slope up to
  // there.
  void AddCrossing(int32_t limit, const TvPoint& point) {
    if ((last_.y < limit) == (point.y < limit) || last_.x == point.x) return;
    const double share = static_cast<double>(int64_t{limit} - last_.y) /
                         static_cast<double>(int64_t{point.y} - last_.y);
    const double width = static_cast<double>(int64_t{point.x} - last_.x);
    Push({Truncate(last_.x + share * width + 0.5), limit});
  }

  void Push(TvPoint point) {
    Outline& outline = outlines_.back();
    if (!outline.empty() && outline.back().x == point.x && outline.back().y == point.y) return;
    outline.push_back(point);
  }

  Limits limits_;
  std::vector<Outline> outlines_;
  TvPoint last_ = {};  // where it really is
};

// Follows a trace through a row.
class OutlineTracer {
 public:
  explicit OutlineTracer(const RowView& row)
      : row_(row), finder_(row), magnify_(row.axes), builder_(row.data) {}

  std::vector<Outline> Follow(const Trace& trace) {
    for (size_t i = 0; i < trace.count;) {
      const float x = trace.x[i];
      AddPoint(x, magnify_(x, trace.y[i]));
      ++i;
      if (open_ && is_constant_) i = FollowColumn(trace, i);
    }
    EndLine();
    return builder_.Take();
  }

 private:
  enum class Side { kBefore, kInside, kBehind };

  Side SideOf(float x) const {
    if (x < row_.lowest_x) return Side::kBefore;
    return x > row_.highest_x ? Side::kBehind : Side::kInside;
  }

  // The points from `i` on that stay in the current column, as fast as they can be read. Returns
  // the first one that does not.
  size_t FollowColumn(const Trace& trace, size_t i) {
    const size_t start = i;
    const float factor = i < trace.count ? magnify_(trace.x[i], 1) : 1;
    Column column = column_;
    i = AddEights(trace, i, finder_, factor, &column);
    for (; i < trace.count && finder_.InCurrent(trace.x[i]) && !std::isnan(trace.y[i]); ++i) {
      column.Add(trace.y[i] * factor);
    }
    column_ = column;
    if (i > start) {
      last_x_ = trace.x[i - 1];
      last_y_ = trace.y[i - 1] * factor;
    }
    return i;
  }

  void AddPoint(float x, float y) {
    if (std::isnan(x) || std::isnan(y)) {
      EndLine();
      has_last_ = false;
      return;
    }
    const Side side = SideOf(x);
    if (has_last_ && side != last_side_) {
      if (last_side_ != Side::kInside) AddEdge(last_side_, x, y);
      if (side != Side::kInside) {
        AddEdge(side, x, y);
        EndLine();
      }
    }
    if (side == Side::kInside) AddInside(x, y);
    has_last_ = true;
    last_side_ = side;
    last_x_ = x;
    last_y_ = y;
  }

  // Where the line from the last point to (x, y) passes an end of the row.
  void AddEdge(Side side, float x, float y) {
    const float edge = side == Side::kBefore ? row_.lowest_x : row_.highest_x;
    const double share = (double{edge} - last_x_) / (double{x} - last_x_);
    const double crossing = last_y_ + share * (double{y} - last_y_);
    AddInside(edge, std::isnan(crossing) ? y : static_cast<float>(crossing));
  }

  void AddInside(float x, float y) {
    const int32_t column = finder_.Find(x);
    if (open_ && column == column_.x) {
      column_.Add(y);
      return;
    }
    if (!open_) builder_.Start();
    FlushColumn();
    column_ = Column::StartingWith(column, y);
    finder_.SetCurrent(column);
    is_constant_ = magnify_.IsConstant(finder_.from(), finder_.to());
    open_ = true;
  }

  void FlushColumn() {
    if (!open_) return;
    for (const float y : {column_.first, column_.lowest, column_.highest, column_.last}) {
      builder_.Add({column_.x, row_.system.YPosition(y)});
    }
  }

  void EndLine() {
    FlushColumn();
    open_ = false;
  }

  const RowView& row_;
  ColumnFinder finder_;
  Magnifier magnify_;
  OutlineBuilder builder_;
  bool open_ = false;  // column_ belongs to the current line
  Column column_;
  bool is_constant_ = true;  // the factor in the column
  bool has_last_ = false;    // the last point, inside or outside the row
  Side last_side_ = Side::kInside;
  float last_x_ = 0.0F;
  float last_y_ = 0.0F;
};

void AddStick(const Column& column, const RowView& row,
              std::vector<platform::LineSegment>* sticks) {
  // The Y range may run downward.
  const auto [top, bottom] = std::minmax(
      {row.system.YPosition(column.highest), row.system.YPosition(column.lowest), row.base_y});
  if (top == bottom) return;
  const Limits limits(row.data);
  // Lines are drawn without their last pixel.
  sticks->push_back(
      {{column.x, limits.Limited(top)}, {column.x, Saturate(int64_t{limits.Limited(bottom)} + 1)}});
}

// Of points in no order, the sticks of a column become one.
void MergeColumns(std::vector<platform::LineSegment>* sticks) {
  const auto x = [](const platform::LineSegment& stick) { return stick.from.x; };
  if (std::ranges::is_sorted(*sticks, {}, x)) return;
  std::ranges::sort(*sticks, {}, x);
  size_t merged = 0;
  for (const platform::LineSegment& stick : *sticks) {
    platform::LineSegment& last = (*sticks)[merged];
    if (stick.from.x == last.from.x) {
      last.from.y = std::min(last.from.y, stick.from.y);
      last.to.y = std::max(last.to.y, stick.to.y);
    } else {
      (*sticks)[++merged] = stick;
    }
  }
  sticks->resize(merged + 1);
}

}  // namespace

RowView::RowView(const Axes& all, int32_t row)
    : axes(all.system),
      is_first(row == 0),
      range(all.RowRange(row)),
      lowest_x(std::min(range.from, range.to)),
      highest_x(std::max(range.from, range.to)),
      system(*all.Row(row)) {
  data.left = system.XPosition(range.from);
  data.right = std::max(data.left, Saturate(int64_t{system.XPosition(range.to)} - 1));
  data.top = system.YPosition(axes.y.high);
  data.bottom = std::max(data.top, system.YPosition(axes.y.low));
  base_y = std::clamp(system.YPosition(axes.y.crossing), data.top, data.bottom);
}

TvRect RowView::ClipRect() const {
  return {data.left, data.top, Saturate(int64_t{data.right} + 1),
          Saturate(int64_t{data.bottom} + 1)};
}

std::vector<Outline> OutlinesOf(const Trace& trace, const RowView& row) {
  return OutlineTracer(row).Follow(trace);
}

std::vector<platform::LineSegment> SticksOf(const Trace& trace, const RowView& row) {
  const Magnifier magnify(row.axes);
  ColumnFinder finder(row);
  std::vector<platform::LineSegment> sticks;
  Column column;
  bool open = false;
  const auto belongs = [&](float x) { return row.is_first || x != row.range.from; };
  for (size_t i = 0; i < trace.count;) {
    const float x = trace.x[i];
    const float y = magnify(x, trace.y[i]);
    ++i;
    const bool is_inside = x >= row.lowest_x && x <= row.highest_x;
    if (!is_inside || !belongs(x) || std::isnan(y)) continue;
    if (open && (finder.InCurrent(x) || finder.Find(x) == column.x)) {
      column.Add(y);
    } else {
      if (open) AddStick(column, row, &sticks);
      column = Column::StartingWith(finder.Find(x), y);
      finder.SetCurrent(column.x);
      open = true;
    }
    if (i == trace.count || !magnify.IsConstant(finder.from(), finder.to())) continue;
    const float factor = magnify(trace.x[i], 1);
    if (row.is_first || !finder.InCurrent(row.range.from)) {
      i = AddEights(trace, i, finder, factor, &column);
    }
    for (; i < trace.count && finder.InCurrent(trace.x[i]) && belongs(trace.x[i]); ++i) {
      if (!std::isnan(trace.y[i])) column.Add(trace.y[i] * factor);
    }
  }
  if (open) AddStick(column, row, &sticks);
  MergeColumns(&sticks);
  return sticks;
}

TraceTops::TraceTops(const Trace& trace, const RowView& row, bool sticks)
    : data_(row.data),
      tops_(static_cast<size_t>(
                std::min<int64_t>(int64_t{data_.right} - data_.left + 1, kMaxColumns)),
            std::numeric_limits<int32_t>::max()) {
  if (sticks) {
    for (const platform::LineSegment& stick : SticksOf(trace, row)) Add(stick.from.x, stick.from.y);
  } else {
    for (const Outline& outline : OutlinesOf(trace, row)) AddOutline(outline);
  }
}

void TraceTops::AddOutline(const Outline& outline) {
  for (size_t i = 0; i < outline.size(); ++i) {
    const TvPoint& from = outline[i > 0 ? i - 1 : 0];
    const TvPoint& to = outline[i];
    // Long lines are few, unless the points are in no order; then the ends of the rest have to do.
    const int64_t width = std::abs(int64_t{to.x} - from.x);
    const int32_t steps = width < steps_left_ ? std::max(static_cast<int32_t>(width), 1) : 1;
    steps_left_ -= steps;
    for (int32_t step = 0; step <= steps; ++step) {
      const double share = static_cast<double>(step) / steps;
      Add(Truncate(from.x + share * static_cast<double>(int64_t{to.x} - from.x)),
          Truncate(from.y + share * static_cast<double>(int64_t{to.y} - from.y)));
    }
  }
}

void TraceTops::Add(int32_t x, int32_t y) {
  const int64_t column = int64_t{x} - data_.left;
  if (column < 0 || column >= static_cast<int64_t>(tops_.size())) return;
  int32_t& top = tops_[static_cast<size_t>(column)];
  top = std::min(top, std::max(y, data_.top));
}

int32_t TraceTops::Highest(int32_t left, int32_t right) const {
  const auto size = static_cast<int64_t>(tops_.size());
  const auto first = std::clamp<int64_t>(int64_t{left} - data_.left, 0, size);
  const auto end = std::clamp<int64_t>(int64_t{right} - data_.left + 1, first, size);
  if (first == end) return std::numeric_limits<int32_t>::max();
  return *std::min_element(tops_.data() + first, tops_.data() + end);
}

}  // namespace tervalon::plot
