#include "plot/peak_labels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "platform/drawing.h"
#include "plot/headers.h"
#include "plot/label_text.h"
#include "plot/magnification.h"
#include "plot/resources.h"
#include "plot/trace.h"

namespace tervalon::plot {
namespace {

// Between a peak and its label.
int32_t GapOf(TvSize extent) { return std::max(2, extent.height / 7); }

std::string TextOf(const AxsPlotBlock& plot, int32_t index) {
  const AxsPlotLabel& label = plot.labels[index];
  return label.text != nullptr ? label.text : FixedLabel(label.x, plot.label_decimals);
}

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

// What labels must not touch, in strips from left to right: where there are many, only those nearby
// are looked at.
class TakenRects {
 public:
  explicit TakenRects(const TvRect& area)
      : left_(area.left),
        strip_width_(std::max<int64_t>((int64_t{area.right} - area.left) / kStrips + 1, 1)) {}

  void Add(const TvRect& rect) {
    for (size_t strip = StripAt(rect.left); strip <= StripAt(rect.right); ++strip) {
      strips_[strip].push_back(rect);
    }
  }

  bool AnyTouches(const TvRect& rect) const {
    const auto touches = [&rect](const TvRect& other) { return Touch(rect, other); };
    for (size_t strip = StripAt(rect.left); strip <= StripAt(rect.right); ++strip) {
      if (std::ranges::any_of(strips_[strip], touches)) return true;
    }
    return false;
  }

 private:
  static constexpr int64_t kStrips = 256;

  size_t StripAt(int32_t x) const {
    return static_cast<size_t>(std::clamp<int64_t>((x - left_) / strip_width_, 0, kStrips - 1));
  }

  int64_t left_;
  int64_t strip_width_;
  std::array<std::vector<TvRect>, kStrips> strips_;
};

// Finds room for labels in one row.
class LabelPlacer {
 public:
  LabelPlacer(TvDC dc, const TvRect& area, const TvRect& data, const TraceTops& tops,
              TakenRects* taken)
      : dc_(dc), area_(area), data_(data), tops_(tops), taken_(*taken) {}

  // Writes a label over its peak, else beside that to either side; for a high peak also beside its
  // top, and rather across the trace than not at all. All 0 where there is no room.
  TvRect Place(const PlacedLabel& place, const std::string& text) {
    constexpr int64_t kMostBytes = 4;  // of a character, which is a pixel wide at least
    const int64_t width = int64_t{area_.right} - area_.left;
    if (text.empty() || static_cast<int64_t>(text.size()) > kMostBytes * width) return {};
    const TvSize extent = platform::TheDrawing().Extent(dc_, text);
    const int32_t middle = -(extent.width / 2);
    const int32_t gap = GapOf(extent);
    for (const int32_t offset : {middle, gap, -gap - extent.width}) {
      const TvRect rect = At(place, extent, offset, true);
      if (IsFree(rect)) return Write(rect, text);
    }
    const int64_t full_height = int64_t{data_.bottom} - data_.top;
    if (place.height >= full_height / 2) {
      for (const int32_t offset : {gap, -gap - extent.width}) {
        const TvRect rect = BesideTop(place, extent, offset);
        if (IsFree(rect)) return Write(rect, text);
      }
    }
    const TvRect across = At(place, extent, middle, false);
    return place.height >= full_height / 5 && IsFree(across) ? Write(across, text) : TvRect{};
  }

 private:
  // Moved into the area where the peak is at its edge, and a little upward where the trace beside
  // the peak is higher and has to stay clear. Empty where that does not do.
  TvRect At(const PlacedLabel& place, TvSize extent, int32_t offset, bool clear_of_trace) const {
    // Beside the data's lower right corner is the title of the X axis.
    const bool is_low = place.peak.y > data_.bottom - 2 * int64_t{extent.height};
    const int64_t last = int64_t{is_low ? data_.right : area_.right} - extent.width;
    const int64_t left =
        std::max<int64_t>(std::min(int64_t{place.peak.x} + offset, last), area_.left);
    const int64_t right = left + extent.width;
    const int32_t gap = GapOf(extent);
    int64_t top = int64_t{place.peak.y} + gap;
    if (!place.downward) {
      const int64_t over_peak = int64_t{place.peak.y} - gap - extent.height;
      const int64_t clear = tops_.Highest(Saturate(left), Saturate(right));
      top = clear_of_trace ? std::min(over_peak, clear - gap - extent.height) : over_peak;
      if (top < over_peak - extent.height / 2) return {};
      // There is no room over the highest peaks where the axes have no margin.
      top = std::max<int64_t>(top, area_.top);
    }
    if (right > area_.right || top + extent.height > area_.bottom) return {};
    return {Saturate(left), Saturate(top), Saturate(right), Saturate(top + extent.height)};
  }

  // Below the level of the top, where the trace is lower. Empty where it is not.
  TvRect BesideTop(const PlacedLabel& place, TvSize extent, int32_t offset) const {
    const int64_t left = int64_t{place.peak.x} + offset;
    const int64_t right = left + extent.width;
    const int32_t gap = GapOf(extent);
    const int64_t bottom = int64_t{place.peak.y} + gap + extent.height;
    if (place.downward || left < area_.left || right > area_.right || bottom > area_.bottom ||
        tops_.Highest(Saturate(left), Saturate(right)) < bottom + gap) {
      return {};
    }
    return {Saturate(left), Saturate(bottom - extent.height), Saturate(right), Saturate(bottom)};
  }

  bool IsFree(const TvRect& rect) const {
    return rect.left != rect.right && !taken_.AnyTouches(rect);
  }

  TvRect Write(const TvRect& rect, const std::string& text) {
    taken_.Add(rect);
    platform::TheDrawing().Text(dc_, rect.left, rect.top, text);
    return rect;
  }

  TvDC dc_;
  TvRect area_;
  TvRect data_;
  const TraceTops& tops_;
  TakenRects& taken_;
};

// The row with its margins, inside the axes object, but without the Y axis.
bool LabelArea(int32_t handle, const Axes& axes, int32_t row, TvRect* area) {
  constexpr int32_t kKeep = AXS_AREA_KEEP_TOP | AXS_AREA_KEEP_BOTTOM | AXS_AREA_KEEP_RIGHT;
  if (AxsGetArea(handle, row, area, kKeep) == 0) return false;
  area->top = std::max(area->top, axes.system.area.top);
  return true;
}

}  // namespace

void SelectForLabels(TvDC dc, const AxsPlotBlock& plot) {
  platform::Drawing& drawing = platform::TheDrawing();
  const PltResources resources = ResourcesFor(dc);
  TvColour colour = resources.text_colour;
  AxsGetDataPenDC(dc, plot.style, &colour, nullptr, plot.second == 0 ? 1 : 0);
  const bool on_ground = (plot.flags & AXS_PLOT_LABEL_GROUND) != 0;
  drawing.SelectFont(dc, resources.axis_font);
  drawing.SetTextColour(dc, (plot.flags & AXS_PLOT_LABEL_COLOUR) != 0 ? plot.label_colour : colour);
  drawing.SetOpaqueBackground(dc, on_ground);
  if (on_ground) drawing.SetBackgroundColour(dc, plot.ground_colour);
}

void DrawPlacedLabels(TvDC dc, const AxsPlotBlock& plot) {
  for (int32_t i = 0; i < plot.label_count; ++i) {
    const TvRect& place = plot.label_rects[i];
    if (place.left == 0 && place.top == 0 && place.right == 0 && place.bottom == 0) continue;
    platform::TheDrawing().Text(dc, place.left, place.top, TextOf(plot, i));
  }
}

void DrawPeakLabels(TvDC dc, int32_t handle, const Axes& axes, const AxsPlotBlock& plot,
                    const std::vector<TvRect>& brackets) {
  std::vector<PlacedLabel> places;
  for (int32_t i = 0; i < plot.label_count; ++i) {
    PlacedLabel place;
    place.index = i;
    plot.label_rects[i] = {};
    if (FindPeak(handle, axes, plot.labels[i], &place)) places.push_back(place);
  }
  std::stable_sort(places.begin(), places.end(),
                   [](const PlacedLabel& a, const PlacedLabel& b) { return a.height > b.height; });
  TakenRects taken(axes.system.area);
  for (const TvRect& rect : brackets) taken.Add(rect);
  const ExclusionList headers = LabelExclusions();
  for (const TvRect& rect : headers.rects()) taken.Add(rect);
  const Trace trace = {plot.x, plot.y, static_cast<size_t>(plot.count)};
  for (int32_t row = 0; row < axes.system.row_count; ++row) {
    TvRect area = {};
    if (!LabelArea(handle, axes, row, &area)) continue;
    const RowView view(axes, row);
    const TraceTops tops(trace, view, plot.mode == AXS_PLOT_STICKS);
    LabelPlacer placer(dc, area, view.data, tops, &taken);
    for (const PlacedLabel& place : places) {
      if (place.row != row) continue;
      plot.label_rects[place.index] = placer.Place(place, TextOf(plot, place.index));
    }
  }
}

}  // namespace tervalon::plot
