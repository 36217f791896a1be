#include "tools/pictures/peaks.h"

#include <tervalon/noise_statistics.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace tervalon::tools {
namespace {

constexpr float kNoises = 6;      // that a peak is high
constexpr float kNoisesFall = 6;  // that a trace falls from it to both sides
// Sticks of that part of the highest are peaks even where most of the others are as high: there the
// statistics take these for noise.
constexpr float kSurePeak = 0.2F;

constexpr int32_t kNoiseOrder = 2;

// Sticks nearer than this part of a mass are points of one peak; isotopes are farther apart.
constexpr float kOnePeak = 0.15F;

// Tops that a trace falls from to both sides. Where it only begins or ends high is no peak.
class TopFinder {
 public:
  void Add(size_t index, float height, float least_height, float least_fall) {
    if (!top_ ? height > lowest_ + least_fall : height > top_height_) {
      top_ = index;
      top_height_ = height;
    }
    if (!top_) {
      lowest_ = std::min(lowest_, height);
    } else if (height < top_height_ - least_fall) {
      if (top_height_ >= least_height) {
        tops_.push_back(*top_);
      }
      top_.reset();
      lowest_ = height;
    }
  }

  std::vector<size_t> Take() { return std::move(tops_); }

 private:
  float lowest_ = HUGE_VALF;
  float top_height_ = 0;
  std::optional<size_t> top_;
  std::vector<size_t> tops_;
};

// Whether a stick is the highest of the points of its peak.
bool IsHighest(const PlotSeries& series, size_t index) {
  const float height = std::abs(series.y[index]);
  for (size_t i = index; i > 0 && series.x[index] - series.x[i - 1] < kOnePeak; --i) {
    if (std::abs(series.y[i - 1]) >= height) {
      return false;
    }
    if (std::abs(series.y[i - 1]) < height / 2) {
      break;
    }
  }
  for (size_t i = index + 1; i < series.x.size() && series.x[i] - series.x[index] < kOnePeak; ++i) {
    if (std::abs(series.y[i]) > height) {
      return false;
    }
    if (std::abs(series.y[i]) < height / 2) {
      break;
    }
  }
  return true;
}

float NoiseOf(const PlotSeries& series) {
  const std::vector<float>& values = series.noise_sample.empty() ? series.y : series.noise_sample;
  float noise = 0;
  ChroStatCalcNoiseLevel(values.data(), static_cast<int32_t>(values.size()), kNoiseOrder, &noise);
  return std::isfinite(noise) ? noise : 0;
}

}  // namespace

float FactorAt(const std::vector<AxsMagnify>& magnified, float x) {
  for (const AxsMagnify& range : magnified) {
    if (range.factor != 1 && range.from <= x && x < range.to) {
      return range.factor;
    }
  }
  return 1;
}

std::vector<size_t> FindPeaks(const PlotSeries& series, const PeakLimits& limits) {
  if (series.x.size() == 1) {
    return {0};
  }
  std::vector<size_t> peaks;
  TopFinder upward;
  TopFinder downward;
  float noise = NoiseOf(series);
  if (series.sticks && !series.y.empty()) {
    noise = std::min(noise, kSurePeak / kNoises * (std::ranges::max(series.y) - limits.base));
  }
  const auto first = static_cast<size_t>(
      std::ranges::find_if(series.x, [&](float x) { return x >= limits.x.low; }) -
      series.x.begin());
  for (size_t i = first; i < series.x.size(); ++i) {
    const float x = series.x[i];
    if (!(x >= limits.x.low && x <= limits.x.high) || !(std::abs(series.y[i]) < HUGE_VALF)) {
      continue;
    }
    const float factor = limits.magnified.empty() ? 1 : FactorAt(limits.magnified, x);
    const float height = (series.y[i] - limits.base) * factor;
    const float least = std::max(limits.visible, kNoises * noise * factor);
    if (series.sticks) {
      if (std::abs(height) >= least && IsHighest(series, i)) {
        peaks.push_back(i);
      }
      continue;
    }
    const float fall = std::max(limits.visible / 2, kNoisesFall * noise * factor);
    upward.Add(i, height, least, fall);
    downward.Add(i, -height, least, fall);
  }
  for (TopFinder* finder : {&upward, &downward}) {
    const std::vector<size_t> tops = finder->Take();
    peaks.insert(peaks.end(), tops.begin(), tops.end());
  }
  return peaks;
}

}  // namespace tervalon::tools
