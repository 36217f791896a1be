#include "plot/magnify_brackets.h"

#include <algorithm>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/label_text.h"
#include "plot/magnification.h"
#include "plot/resources.h"
#include "tervalon/drawing.h"
#include "tervalon/magnification.h"

namespace tervalon::plot {
namespace {

int32_t Moved(int32_t position, int64_t by) { return Saturate(position + by); }

// The row at `value` with its data rectangle, and the device x. -1 out of view.
int32_t PlaceEnd(int32_t handle, float value, int32_t* x, TvRect* data) {
  TvPoint point = {};
  const int32_t row = AxsGetAxisCoord(handle, value, 0.0, &point);
  if (row < 0 || AxsGetArea(handle, row, data, 0) == 0) return -1;
  *x = point.x;
  return row;
}

}  // namespace

TvRect Bracket::Box() const {
  return {left_x, Moved(left_data.top, -int64_t{height}), Moved(right_x, 2), left_data.top};
}

std::optional<Bracket> FindBracket(int32_t handle, const AxsSystem& axes, const AxsMagnify& range,
                                   int32_t text_height) {
  if (range.factor == 1.0F || range.factor <= 0.0F) return std::nullopt;
  Bracket bracket;
  const float from = Contains(range, axes.x.low) ? axes.x.low : range.from;
  const float to = Contains(range, axes.x.high) ? axes.x.high : range.to;
  bracket.first_row = PlaceEnd(handle, from, &bracket.left_x, &bracket.left_data);
  bracket.last_row = PlaceEnd(handle, to, &bracket.right_x, &bracket.right_data);
  if (bracket.first_row < 0 || bracket.last_row < 0) return std::nullopt;
  bracket.height = text_height;
  bracket.end_width = text_height / 4;
  return bracket;
}

}  // namespace tervalon::plot

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::LineSegment;
using platform::TheDrawing;

bool Holds(const TvRect& box, int32_t x, int32_t y) {
  return x >= box.left && x <= box.right && y >= box.top && y <= box.bottom;
}

void Activate(int32_t handle, Axes* axes, int32_t index, int32_t text_height, TvPoint point,
              TvRect* strip) {
  for (int32_t i = 0; i < AXS_MAX_MAGNIFY_RANGES; ++i) {
    const AxsMagnify& range = axes->system.magnify[i];
    if (range.factor == 1.0F || range.factor <= 0.0F) continue;
    const std::optional<Bracket> bracket = FindBracket(handle, axes->system, range, text_height);
    const bool hit = bracket && Holds(bracket->Box(), point.x, point.y);
    if (!hit && i != index) continue;
    axes->system.active_magnify = i;
    if (strip != nullptr && bracket) {
      const TvRect box = bracket->Box();
      *strip = {bracket->right_data.left, box.top, bracket->right_data.right, box.bottom};
    }
    return;
  }
}

// The part of a bracket that lies in one row.
struct BracketRow {
  TvRect box;  // of everything
  std::vector<LineSegment> lines;
  TvPoint text;
};

// Its ends where they are in the row, and a line between them that the factor interrupts. Where the
// factor has no room it stands behind the end.
BracketRow LayOutRow(const Bracket& bracket, int32_t row, const TvRect& data, TvSize factor) {
  const bool has_left = row == bracket.first_row;
  const bool has_right = row == bracket.last_row;
  const int32_t left = has_left ? bracket.left_x : data.left;
  const int32_t right = has_right ? bracket.right_x : data.right;
  const int32_t top = Moved(data.top, -int64_t{bracket.height});
  const int32_t middle = Moved(top, bracket.height / 2);
  const int32_t gap = bracket.end_width;
  BracketRow result = {{left, top, Moved(right, 1), data.top}, {}, {0, top}};
  if (has_left) result.lines.push_back({{left, top}, {left, data.top}});
  if (has_right) result.lines.push_back({{right, top}, {right, data.top}});

  const int64_t room = int64_t{right} - left;
  int32_t& text_x = result.text.x;
  if (room >= int64_t{factor.width} + 4 * int64_t{gap}) {
    text_x = Moved(left, (room - factor.width + 1) / 2);
    result.lines.push_back({{left, middle}, {Moved(text_x, -gap), middle}});
    result.lines.push_back({{Moved(text_x, int64_t{factor.width} + gap), middle}, {right, middle}});
    return result;
  }
  result.lines.push_back({{left, middle}, {right, middle}});
  text_x = Moved(right, gap);
  if (Moved(text_x, factor.width) > data.right) {
    text_x = Moved(left, -int64_t{gap} - factor.width);
  }
  result.box.left = std::min(left, text_x);
  result.box.right = std::max(result.box.right, Moved(text_x, factor.width));
  return result;
}

// Calls `use` with the bracket of every live range in every row where it is in view, and the text
// of its factor.
template <typename Use>
void ForEachBracketRow(TvDC dc, int32_t handle, const AxsSystem& axes, const Use& use) {
  platform::TextMetrics font;
  if ((axes.flags & AXS_FLAG_MAGNIFIED) == 0 || !TheDrawing().Metrics(dc, &font)) return;
  for (const AxsMagnify& range : axes.magnify) {
    const std::optional<Bracket> bracket = FindBracket(handle, axes, range, font.height);
    if (!bracket || range.from == range.to) continue;
    const std::string factor = FactorLabel(range.factor);
    const TvSize extent = TheDrawing().Extent(dc, factor);
    for (int32_t row = bracket->first_row; row <= bracket->last_row; ++row) {
      TvRect data = {};
      AxsGetArea(handle, row, &data, 0);
      use(LayOutRow(*bracket, row, data, extent), factor);
    }
  }
}

void DrawRanges(TvDC dc, int32_t handle, const AxsSystem& axes, const AxsPlotBlock& plot) {
  platform::Drawing& drawing = TheDrawing();
  const PltResources& resources = ResourcesFor(dc);
  TvColour colour = resources.text_colour;
  drawing.SelectFont(dc, resources.axis_font);
  drawing.SelectPen(dc, resources.tick_pen);
  AxsGetDataPenDC(dc, plot.style, &colour, nullptr, plot.second == 0 ? 1 : 0);
  drawing.SetTextColour(dc, colour);
  drawing.SetOpaqueBackground(dc, false);
  ForEachBracketRow(dc, handle, axes, [&](const BracketRow& row, const std::string& factor) {
    drawing.Lines(dc, row.lines.data(), row.lines.size());
    drawing.Text(dc, row.text.x, row.text.y, factor);
  });
}

}  // namespace

namespace tervalon::plot {

std::vector<TvRect> BracketBoxes(TvDC dc, int32_t handle, const AxsSystem& axes) {
  std::vector<TvRect> boxes;
  ForEachBracketRow(dc, handle, axes, [&boxes](const BracketRow& row, const std::string&) {
    boxes.push_back(row.box);
  });
  return boxes;
}

}  // namespace tervalon::plot

extern "C" int32_t TERVALON_CALL AxsSetActiveMagnifyRange(TvDC dc, int32_t handle, int32_t index,
                                                          int32_t x, int32_t y, TvRect* strip) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || (axes->system.flags & AXS_FLAG_MAGNIFIED) == 0) return 0;
  return Guarded(0, [&] {
    const int32_t previous = axes->system.active_magnify;
    platform::SavedState state(dc);
    platform::TextMetrics font;
    if (!state.saved() || !TheDrawing().SelectFont(dc, ResourcesFor(dc).axis_font) ||
        !TheDrawing().Metrics(dc, &font)) {
      return 0;
    }
    Activate(handle, axes, index, font.height, {x, y}, strip);
    return previous;
  });
}

extern "C" int32_t TERVALON_CALL AxsAnnotateMagnify(TvDC dc, int32_t handle,
                                                    const AxsPlotBlock* plot) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || plot == nullptr) return -1;
  return Guarded(-1, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return -1;
    DrawRanges(dc, handle, axes->system, *plot);
    return state.Restore() ? 0 : -1;
  });
}
