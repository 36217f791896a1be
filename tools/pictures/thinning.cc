#include "tools/pictures/thinning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace tervalon::tools {
namespace {

constexpr size_t kFewInColumn = 8;  // points, of which four would be left

constexpr size_t kNoiseSamples = 32;
constexpr size_t kNoiseSample = 2048;  // values

// Of all parts of the series alike. The points that are left are more extreme than the others.
std::vector<float> NoiseSample(const std::vector<float>& y) {
  std::vector<float> sample;
  for (size_t i = 0; i < kNoiseSamples && y.size() > kNoiseSamples * kNoiseSample; ++i) {
    const auto begin = y.begin() + static_cast<std::ptrdiff_t>(y.size() / kNoiseSamples * i);
    std::copy_if(begin, begin + kNoiseSample, std::back_inserter(sample),
                 [](float value) { return std::isfinite(value); });
  }
  return sample.empty() ? y : sample;
}

// Which points of [begin, end) are seen in one column, in order.
std::array<size_t, 4> SeenOf(const std::vector<float>& y, size_t begin, size_t end) {
  size_t lowest = begin;
  size_t highest = begin;
  float low = HUGE_VALF;
  float high = -HUGE_VALF;
  for (size_t i = begin; i < end; ++i) {  // neither of what is not a number
    const float value = y[i];
    if (value < low && value > -HUGE_VALF) {
      low = value;
      lowest = i;
    }
    if (value > high && value < HUGE_VALF) {
      high = value;
      highest = i;
    }
  }
  return {begin, std::min(lowest, highest), std::max(lowest, highest), end - 1};
}

// False also where one is not a number.
bool InOrder(const std::vector<float>& x) {
  return std::ranges::adjacent_find(x, [](float a, float b) { return !(a <= b); }) == x.end();
}

struct Point {
  float x;
  float y;
};

bool IsBefore(const Point& a, const Point& b) { return a.x < b.x; }

void SetPoints(const std::vector<Point>& points, PlotSeries& series) {
  series.x.clear();
  series.y.clear();
  for (const Point& point : points) {
    series.x.push_back(point.x);
    series.y.push_back(point.y);
  }
}

void Sort(PlotSeries& series) {
  std::vector<Point> points;
  for (size_t i = 0; i < series.x.size(); ++i) {
    if (!std::isnan(series.x[i])) {
      points.push_back({series.x[i], series.y[i]});
    }
  }
  std::ranges::stable_sort(points, IsBefore);
  SetPoints(points, series);
}

void ThinInOrder(PlotSeries& series, const Window& view, int32_t columns) {
  const std::vector<float>& x = series.x;
  std::vector<Point> seen;
  size_t begin = 0;
  for (int32_t column = 0; column <= columns + 1; ++column) {  // with what lies to both sides
    const double border = view.low + (double{view.high} - view.low) * column / columns;
    const auto end = static_cast<size_t>(
        column > columns ? x.end() - x.begin()
                         : std::lower_bound(x.begin() + static_cast<std::ptrdiff_t>(begin), x.end(),
                                            static_cast<float>(border)) -
                               x.begin());
    if (begin == end) {
      continue;
    }
    const bool is_outside = column == 0 || column > columns;
    size_t before = end;
    for (const size_t i :
         is_outside ? std::array{begin, begin, begin, end - 1} : SeenOf(series.y, begin, end)) {
      if (i != before) {
        seen.push_back({x[i], series.y[i]});
      }
      before = i;
    }
    begin = end;
  }
  SetPoints(seen, series);
}

// What is seen of points that come in any order.
struct ColumnOfAny {
  Point first = {HUGE_VALF, 0};
  Point last = {-HUGE_VALF, 0};
  Point lowest = {0, HUGE_VALF};
  Point highest = {0, -HUGE_VALF};

  void Add(const Point& point) {
    if (point.x < first.x) {
      first = point;
    }
    if (point.x > last.x) {
      last = point;
    }
    if (point.y < lowest.y && point.y > -HUGE_VALF) {
      lowest = point;
    }
    if (point.y > highest.y && point.y < HUGE_VALF) {
      highest = point;
    }
  }
};

void ThinAny(PlotSeries& series, const Window& view, int32_t columns) {
  std::vector<ColumnOfAny> all(static_cast<size_t>(columns) + 2);  // with what lies to both sides
  const float per_x = static_cast<float>(columns) / (view.high - view.low);
  for (size_t i = 0; i < series.x.size(); ++i) {
    const Point point = {series.x[i], series.y[i]};
    const float column = (point.x - view.low) * per_x + 1;
    if (std::abs(point.x) < HUGE_VALF) {
      const float inside = std::clamp(column, 0.0F, static_cast<float>(columns + 1));
      all[static_cast<size_t>(static_cast<int32_t>(inside))].Add(point);
    }
  }
  std::vector<Point> seen;
  for (const ColumnOfAny& column : all) {
    std::array<Point, 4> points = {column.first, column.lowest, column.highest, column.last};
    std::ranges::stable_sort(points, IsBefore);
    for (const Point& point : points) {
      const bool again = !seen.empty() && point.x == seen.back().x && point.y == seen.back().y;
      const bool is_there = column.first.x < HUGE_VALF && std::abs(point.y) != HUGE_VALF;
      if (is_there && !again) {
        seen.push_back(point);
      }
    }
  }
  SetPoints(seen, series);
}

Window WholeOf(const std::vector<float>& x) {
  std::array<float, 8> low;
  std::array<float, 8> high;
  low.fill(HUGE_VALF);
  high.fill(-HUGE_VALF);
  const auto add = [&](float value, size_t lane) {
    low[lane] = value < low[lane] ? value : low[lane];
    high[lane] = value > high[lane] ? value : high[lane];
  };
  size_t i = 0;
  for (; i + low.size() <= x.size(); i += low.size()) {
    for (size_t lane = 0; lane < low.size(); ++lane) {
      add(x[i + lane], lane);
    }
  }
  for (; i < x.size(); ++i) {
    add(x[i], 0);
  }
  return {std::ranges::min(low), std::ranges::max(high)};
}

}  // namespace

void Thin(PlotSeries& series, const std::optional<Window>& view, int32_t columns) {
  const bool in_order = InOrder(series.x);
  const bool is_long = series.x.size() > kFewInColumn * static_cast<size_t>(columns);
  Window seen = view.value_or(Window{});
  if (is_long && !view) {
    seen = in_order ? Window{series.x.front(), series.x.back()} : WholeOf(series.x);
  }
  if (is_long && seen.low < seen.high) {
    if (series.noise_sample.empty()) series.noise_sample = NoiseSample(series.y);
    (in_order ? ThinInOrder : ThinAny)(series, seen, columns);
  } else if (!in_order) {
    Sort(series);
  }
}

}  // namespace tervalon::tools
