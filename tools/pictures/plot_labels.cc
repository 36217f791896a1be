#include "tools/pictures/plot_labels.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>

namespace tervalon::tools {
namespace {

constexpr float kLeastHeight = 0.03F;  // of a peak, as a part of the Y range
constexpr float kLeastFall = 0.02F;    // to both sides of a peak
constexpr size_t kMostPeaks = 200;     // more do not fit into any picture

// Sticks nearer to a higher one than this part of the X axis share its pixels, and its label.
constexpr float kLeastDistance = 0.001F;

struct Peak {
  AxsPlotLabel label;
  float height;  // as drawn
};

float Factor(const AxsSystem& axes, float x) {
  if ((axes.flags & AXS_FLAG_MAGNIFIED) != 0) {
    for (const AxsMagnify& range : axes.magnify) {
      if (range.factor != 1 && range.from <= x && x < range.to) {
        return range.factor;
      }
    }
  }
  return 1;
}

// Tops that the trace falls from to both sides. Where it only begins or ends high is no peak.
class PeakFinder {
 public:
  PeakFinder(float least_height, float least_fall)
      : least_height_(least_height), least_fall_(least_fall) {}

  void Add(const AxsPlotLabel& point, float height) {
    if (!top_ || height > top_->height) {
      if (top_ || height > lowest_ + least_fall_) {
        top_ = {point, height};
      }
    }
    if (!top_) {
      lowest_ = std::min(lowest_, height);
    } else if (height < top_->height - least_fall_) {
      EndPeak();
      lowest_ = height;
    }
  }

  std::vector<Peak> Take() { return std::move(peaks_); }

 private:
  void EndPeak() {
    if (top_ && top_->height >= least_height_) {
      peaks_.push_back(*top_);
    }
    top_.reset();
  }

  const float least_height_;
  const float least_fall_;
  float lowest_ = HUGE_VALF;
  std::optional<Peak> top_;
  std::vector<Peak> peaks_;
};

}  // namespace

std::vector<AxsPlotLabel> FindPeaks(const PlotSeries& series, const AxsSystem& axes) {
  const float scale = axes.y.high - std::max(axes.y.low, 0.0F);
  const float least_height = kLeastHeight * scale;
  PeakFinder finder(least_height, kLeastFall * scale);
  std::vector<Peak> peaks;
  for (size_t i = 0; i < series.x.size(); ++i) {
    const float x = series.x[i];
    const float y = series.y[i];
    if (!(x >= axes.x.low && x <= axes.x.high) || std::isnan(y)) {
      continue;
    }
    const float height = y * Factor(axes, x);
    if (!series.sticks) {
      finder.Add({x, y, nullptr}, height);
    } else if (height >= least_height) {
      peaks.push_back({{x, y, nullptr}, height});
    }
  }
  if (!series.sticks) {
    peaks = finder.Take();
  }
  std::ranges::stable_sort(peaks, std::greater(), &Peak::height);
  const float rows = static_cast<float>(std::max(axes.row_count, 1));
  const float distance = series.sticks ? (axes.x.high - axes.x.low) / rows * kLeastDistance : 0;
  std::vector<AxsPlotLabel> labels;
  for (const Peak& peak : peaks) {
    const auto is_near = [&](const AxsPlotLabel& higher) {
      return std::abs(higher.x - peak.label.x) < distance;
    };
    if (labels.size() < kMostPeaks && std::ranges::none_of(labels, is_near)) {
      labels.push_back(peak.label);
    }
  }
  return labels;
}

}  // namespace tervalon::tools
