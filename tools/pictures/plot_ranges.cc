#include "tools/pictures/plot_ranges.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tervalon::tools {
namespace {

constexpr float kSeenInDepth = 0.01F;  // part of the highest
constexpr float kLogDecades = 4;       // at most, below the highest
constexpr float kPercent = 100;

struct Span {
  float low = std::numeric_limits<float>::infinity();
  float high = -std::numeric_limits<float>::infinity();

  void Add(float value) {
    // Neither of what is not a number; the infinite is left out.
    if (value < low && value > -std::numeric_limits<float>::infinity()) {
      low = value;
    }
    if (value > high && value < std::numeric_limits<float>::infinity()) {
      high = value;
    }
  }
  bool empty() const { return low > high; }
};

template <typename Visit>
void ForEachInView(const PlotSeries& series, const Window& x, Visit visit) {
  for (size_t i = 0; i < series.x.size(); ++i) {
    if (series.x[i] >= x.low && series.x[i] <= x.high) {
      visit(series.y[i]);
    }
  }
}

Span SpanOf(const PlotSeries& series, const Window& x) {
  Span span;
  ForEachInView(series, x, [&](float y) { span.Add(y); });
  return span;
}

float LowestPositive(const SeriesGroup& group, const Window& x, float otherwise) {
  float lowest = otherwise;
  for (const PlotSeries* series : group) {
    ForEachInView(*series, x, [&](float y) {
      if (y > 0) {
        lowest = std::min(lowest, y);
      }
    });
  }
  return lowest;
}

template <typename Function>
void ForEachY(PlotSeries& series, Function change) {
  std::ranges::for_each(series.y, change);
  std::ranges::for_each(series.noise_sample, change);
}

bool HasPoints(const SeriesGroup& group) {
  return std::ranges::any_of(group, [](const PlotSeries* one) { return !one->x.empty(); });
}

}  // namespace

Window WholeX(const SeriesGroup& group, const PictureStyle& style) {
  float least = -std::numeric_limits<float>::infinity();
  if (style.layout == Layout::kDepth) {
    Span y;
    for (const PlotSeries* series : group) {
      std::ranges::for_each(series->y, [&](float value) { y.Add(value); });
    }
    least = group[0]->x_title == "m/z" && !y.empty() ? y.high * kSeenInDepth : least;
  }
  Span x;
  bool sticks = false;
  for (const PlotSeries* series : group) {
    for (size_t i = 0; i < series->x.size(); ++i) {
      if (series->y[i] >= least) {
        x.Add(series->x[i]);
      }
    }
    sticks = sticks || series->sticks;
  }
  if (x.empty()) {
    return group[0]->range.value_or(Window{0, 1});
  }
  if (sticks || least > 0) {  // no stick stands on the axes themselves
    const float edge = std::max((x.high - x.low) / 50, 0.5F);
    return {x.low - edge, x.high + edge};
  }
  if (x.low == x.high) {
    return {x.low >= 0 ? std::max(x.low - 0.5F, 0.0F) : x.low - 0.5F, x.high + 0.5F};
  }
  return {x.low, x.high};
}

PlotRanges PrepareSeries(const SeriesGroup& group, const Window& x, const PictureStyle& style) {
  PlotRanges ranges = {.x = x};
  const bool each_own = style.normalised || style.layout == Layout::kMirrored;
  Span all;
  float highest = 0;
  std::vector<Span> spans;
  for (const PlotSeries* series : group) {
    const Span own = spans.emplace_back(SpanOf(*series, x));
    ranges.tops.push_back(own.empty() ? 0 : std::max(own.high, 0.0F));
    highest = std::max(highest, ranges.tops.back());
    all.Add(own.low);
    all.Add(own.high);
  }
  if (all.empty()) {
    ranges.note = HasPoints(group) ? "no data in this range" : group[0]->empty;
    ranges.high = kPercent;
    ranges.unit.percent = !style.counts;
    return ranges;
  }
  // Percent of what is not above zero mean nothing.
  const bool difference = style.layout == Layout::kDifference;
  ranges.unit.percent = !style.counts && (highest > 0 || difference);
  ranges.unit.mirrored = style.layout == Layout::kMirrored;
  all = {};
  for (size_t i = 0; i < group.size(); ++i) {
    float factor = 1;
    if (each_own && ranges.unit.percent && ranges.tops[i] > 0) {
      factor = kPercent / ranges.tops[i];
    }
    if (ranges.unit.mirrored && i > 0) {
      factor = -factor;
    }
    if (factor != 1) {
      ForEachY(*group[i], [&](float& y) { y *= factor; });
      for (PlotPeak& peak : group[i]->peaks) {
        for (float* const y : {&peak.y, &peak.start_y, &peak.end_y}) *y *= factor;
      }
    }
    if (!spans[i].empty()) {
      all.Add(spans[i].low * factor);
      all.Add(spans[i].high * factor);
    }
  }
  ranges.low = std::min(all.low, 0.0F);
  ranges.high = std::max(all.high, 0.0F);
  if (ranges.unit.percent && !each_own) {
    const float top = difference ? std::max(ranges.high, -ranges.low) : ranges.high;
    ranges.unit.unit = top / kPercent;
    ranges.tops.assign(group.size(), top);
  }
  if (ranges.low == ranges.high) {
    ranges.high = ranges.low + 1;
  }
  if (style.y_scale == YScale::kLog) {
    ranges.low =
        std::max(LowestPositive(group, x, ranges.high), ranges.high / std::pow(10.0F, kLogDecades));
    ranges.low = std::min(ranges.low, ranges.high / 10);
  }
  for (PlotSeries* series : group) {
    if (style.y_scale != YScale::kLinear) {
      ForEachY(*series, [&](float& y) { y = OnScale(style.y_scale, y); });
    }
  }
  return ranges;
}

Window PlottedY(const PlotRanges& ranges, const PictureStyle& style, int32_t most_labels) {
  const auto plotted = [&](double value) {
    return OnScale(style.y_scale, static_cast<float>(value));
  };
  if (style.y_range) {
    return {plotted(style.y_range->low * ranges.unit.unit),
            plotted(style.y_range->high * ranges.unit.unit)};
  }
  float low = ranges.low;
  float high = ranges.high;
  const bool is_linear = style.y_scale == YScale::kLinear;
  if (is_linear && !ranges.unit.percent) {
    high = high > 0 ? RoundEnd(high, low, most_labels) : high;
  }
  if (low < 0) {  // a line for labels of downward peaks
    low -= (high - low) / static_cast<float>(2 * most_labels);
  }
  return {plotted(low), plotted(high)};
}

}  // namespace tervalon::tools
