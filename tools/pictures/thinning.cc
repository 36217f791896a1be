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

}  // namespace

void Thin(PlotSeries& series, const Window& view, int32_t columns) {
  const std::vector<float>& x = series.x;
  if (x.size() <= kFewInColumn * static_cast<size_t>(columns) || !std::ranges::is_sorted(x) ||
      !(view.low < view.high)) {
    return;
  }
  series.noise_sample = NoiseSample(series.y);
  std::vector<float> seen_x;
  std::vector<float> seen_y;
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
    size_t before = end;
    for (const size_t i : SeenOf(series.y, begin, end)) {
      if (i != before) {
        seen_x.push_back(x[i]);
        seen_y.push_back(series.y[i]);
      }
      before = i;
    }
    begin = end;
  }
  series.x = std::move(seen_x);
  series.y = std::move(seen_y);
}

}  // namespace tervalon::tools
