#include "plot/peak_labels.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "platform/drawing.h"
#include "plot/headers.h"
#include "plot/label_text.h"
#include "plot/magnification.h"

namespace tervalon::plot {
namespace {

constexpr int32_t kGap = 2;  // pixels between a peak and its label

// A label in one row.
struct PlacedLabel {
  int32_t index = 0;
  int32_t row = 0;
  TvPoint peak = {};
  bool downward = false;  // the peak points down, its label stands below
  int64_t height = 0;     // of the peak above the crossing, in pixels
};

// False for a peak out of view.
bool FindPeak(int32_t handle, const Axes& axes, const AxsPlotLabel& label, PlacedLabel* place) {
  const AxsRange& range = axes.system.y;
  const AxsMagnify* magnified = MagnifierAt(axes.system, label.x);
  const double y = magnified != nullptr ? double{label.y} * magnified->factor : label.y;
  if (std::isnan(y)) return false;
  place->downward = y < range.crossing;
  place->row = AxsGetAxisCoord(handle, label.x, range.crossing, &place->peak);
  if (place->row < 0 || (place->downward ? y > range.high : y < range.low)) return false;
  const CoordinateSystem& system = *axes.Row(place->row);
  const int32_t top = system.YPosition(range.high);
  const int32_t bottom = system.YPosition(range.low);
  place->peak.y = std::clamp(system.YPosition(y), std::min(top, bottom), std::max(top, bottom));
  place->height = std::abs(int64_t{place->peak.y} - system.YPosition(range.crossing));
  return true;
}

class LabelPlacer {
 public:
  LabelPlacer(TvDC dc, int32_t handle, int32_t top, std::vector<TvRect> taken)
      : dc_(dc), handle_(handle), top_(top), taken_(std::move(taken)) {}

  // Writes a label over its peak, else beside that to either side. All 0 where there is no room.
  TvRect Place(const PlacedLabel& place, const std::string& text) {
    constexpr int32_t kKeepMargins =
        AXS_AREA_KEEP_LEFT | AXS_AREA_KEEP_RIGHT | AXS_AREA_KEEP_TOP | AXS_AREA_KEEP_BOTTOM;
    TvRect area = {};
    if (text.empty() || AxsGetArea(handle_, place.row, &area, kKeepMargins) == 0) return {};
    area.top = std::max(area.top, top_);
    const TvSize extent = platform::TheDrawing().Extent(dc_, text);
    const int32_t offsets[] = {-(extent.width / 2), 0, -extent.width};
    for (const int32_t offset : offsets) {
      const TvRect rect = At(place, extent, offset, area);
      if (rect.left < area.left || rect.top < area.top || rect.bottom > area.bottom ||
          IsTaken(rect)) {
        continue;
      }
      taken_.push_back(rect);
      platform::TheDrawing().Text(dc_, rect.left, rect.top, text);
      return rect;
    }
    return {};
  }

 private:
  // Moved into the area where the peak is at its edge.
  static TvRect At(const PlacedLabel& place, TvSize extent, int32_t offset, const TvRect& area) {
    int64_t left = int64_t{place.peak.x} + offset;
    left =
        std::max<int64_t>(std::min<int64_t>(left, int64_t{area.right} - extent.width), area.left);
    int64_t top = int64_t{place.peak.y} + kGap;
    if (!place.downward) {
      top = std::max<int64_t>(int64_t{place.peak.y} - kGap - extent.height, area.top);
    }
    return {Saturate(left), Saturate(top), Saturate(left + extent.width),
            Saturate(top + extent.height)};
  }

  bool IsTaken(const TvRect& rect) const {
    const auto touches = [&rect](const TvRect& other) { return Touch(rect, other); };
    return std::any_of(taken_.begin(), taken_.end(), touches) ||
           std::any_of(LabelExclusions().begin(), LabelExclusions().end(), touches);
  }

  TvDC dc_;
  int32_t handle_;
  int32_t top_;  // of the axes object
  std::vector<TvRect> taken_;
};

}  // namespace

void DrawPeakLabels(TvDC dc, int32_t handle, const Axes& axes, const AxsPlotBlock& plot,
                    std::vector<TvRect> taken) {
  std::vector<PlacedLabel> places;
  for (int32_t i = 0; i < plot.label_count; ++i) {
    PlacedLabel place;
    place.index = i;
    plot.label_rects[i] = {};
    if (FindPeak(handle, axes, plot.labels[i], &place)) places.push_back(place);
  }
  std::stable_sort(places.begin(), places.end(),
                   [](const PlacedLabel& a, const PlacedLabel& b) { return a.height > b.height; });
  LabelPlacer placer(dc, handle, axes.system.area.top, std::move(taken));
  for (const PlacedLabel& place : places) {
    const AxsPlotLabel& label = plot.labels[place.index];
    plot.label_rects[place.index] = placer.Place(
        place, label.text != nullptr ? label.text : FixedLabel(label.x, plot.label_decimals));
  }
}

}  // namespace tervalon::plot
