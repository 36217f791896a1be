// Drawing of one axis: line, ticks, labels, title, grid.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/axes.h"
#include "plot/label_text.h"
#include "plot/tick_marks.h"
#include "tervalon/drawing.h"

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::LineSegment;
using platform::TheDrawing;

int32_t Sum(int64_t a, int64_t b, int64_t c = 0, int64_t d = 0) { return Saturate(a + b + c + d); }

// The pen style of a grid. Of several the last of this order counts.
int32_t GridPenStyle(int32_t grid) {
  static constexpr struct {
    int32_t bit;
    int32_t style;
  } kStyles[] = {{AXS_GRID_DASH, platform::kPenDash},
                 {AXS_GRID_DOT, platform::kPenDot},
                 {AXS_GRID_DASH_DOT, platform::kPenDashDot},
                 {AXS_GRID_DASH_DOT_DOT, platform::kPenDashDotDot},
                 {AXS_GRID_SOLID, platform::kPenSolid}};
  int32_t style = platform::kPenSolid;
  for (const auto& entry : kStyles) {
    if ((grid & entry.bit) != 0) style = entry.style;
  }
  return style;
}

// Halfway to white.
TvColour Lighter(TvColour colour) { return (colour >> 1 & 0x7F7F7F) + 0x808080; }

// Draws one axis of an axes object whose device context's state is saved.
class AxisPainter {
 public:
  AxisPainter(TvDC dc, int32_t handle, const Axes& axes, const AxsStyle& style, int32_t side)
      : dc_(dc), handle_(handle), axes_(axes), style_(style), side_(side) {}

  void DrawParts(int32_t parts);
  void DrawGrid(int32_t grid);

 private:
  const AxsSystem& system() const { return axes_.system; }
  int32_t row_count() const { return axes_.system.row_count; }

  // The value at which the axis runs along the other one.
  double AnchorY() const;
  TvPoint Anchor(int32_t row) const;

  const AxsTickInfo* Ticks();
  std::optional<AxsTickInfo> ChooseXTicks() const;
  std::string LabelText(double value) const;

  void DrawLine();
  void DrawTicks(int32_t grid);
  void DrawGridLines(const std::vector<LineSegment>& lines, int32_t grid);
  void DrawLabels();
  void DrawXLabel(double value);
  void DrawYLabel(double value);
  void DrawTitle();

  TvDC dc_;
  int32_t handle_;
  const Axes& axes_;
  AxsStyle style_;
  int32_t side_;
  std::optional<AxsTickInfo> chosen_;
};

double AxisPainter::AnchorY() const {
  if ((style_.placement & AXS_PLACE_BOTTOM_LEFT) != 0) return system().y.low;
  if ((style_.placement & AXS_PLACE_TOP_RIGHT) != 0) return system().y.high;
  return system().y.crossing;
}

TvPoint AxisPainter::Anchor(int32_t row) const {
  const AxsRowRange& range = axes_.RowRange(row);
  const CoordinateSystem* target = axes_.Row(row);
  double x = range.origin;
  if ((style_.placement & AXS_PLACE_BOTTOM_LEFT) != 0) {
    x = range.from;
  } else if ((style_.placement & AXS_PLACE_TOP_RIGHT) != 0) {
    x = range.to;
  }
  return {target->XPosition(x), target->YPosition(AnchorY())};
}

// As far apart as the longer of the labels at both ends is wide, with as much space again; where
// that leaves too few ticks, with the space of one character.
std::optional<AxsTickInfo> AxisPainter::ChooseXTicks() const {
  platform::TextMetrics font;
  if (!TheDrawing().Metrics(dc_, &font)) return std::nullopt;
  const auto length =
      static_cast<int64_t>(std::max(FixedLabel(system().x.low, style_.decimals).size(),
                                    FixedLabel(system().x.high, style_.decimals).size()));
  AxsTickInfo info = {};
  int32_t count = 0;
  for (const int64_t characters : {2 * length, length + 1}) {
    count = AxsAxisAnnInfo(handle_, style_.decimals, Saturate(characters * font.average_width),
                           &info, AXS_X_AXIS);
    if (count >= 2) break;
  }
  if (count < 0) return std::nullopt;
  return info;
}

// The style's own, or ones chosen for its label font; nullptr for none.
const AxsTickInfo* AxisPainter::Ticks() {
  if (style_.ticks != nullptr) return style_.ticks;
  if (!chosen_ && side_ == AXS_X_AXIS) {
    platform::SavedState state(dc_);
    TheDrawing().SelectFont(dc_, style_.label_font);
    chosen_ = ChooseXTicks();
  } else if (!chosen_) {
    AxsTickInfo info = {};
    if (AxsAxisAnnPercentInfo(handle_, &info, side_) >= 0) chosen_ = info;
  }
  return chosen_ ? &*chosen_ : nullptr;
}

void AxisPainter::DrawLine() {
  std::vector<LineSegment> lines;
  for (int32_t row = 0; row < row_count(); ++row) {
    const CoordinateSystem& target = *axes_.Row(row);
    const AxsRowRange& range = axes_.RowRange(row);
    const TvPoint anchor = Anchor(row);
    if (side_ == AXS_X_AXIS) {
      const int32_t y = Sum(anchor.y, style_.offset);
      lines.push_back(
          {{target.XPosition(range.to), y}, {Sum(target.XPosition(range.from), -1), y}});
    } else if (side_ == AXS_Y_AXIS) {
      const int32_t x = Sum(anchor.x, style_.offset);
      lines.push_back(
          {{x, target.YPosition(system().y.high)}, {x, Sum(target.YPosition(system().y.low), 1)}});
    } else {
      const AxsRange& z = system().z;
      lines.push_back({{target.ZPositionX(z.high), target.ZPositionY(z.high)},
                       {Sum(target.ZPositionX(z.low), -1), Sum(target.ZPositionY(z.low), 1)}});
    }
  }
  TheDrawing().SelectPen(dc_, style_.axis_pen);
  TheDrawing().Lines(dc_, lines.data(), lines.size());
}

void AxisPainter::DrawGridLines(const std::vector<LineSegment>& lines, int32_t grid) {
  platform::Drawing& drawing = TheDrawing();
  const TvPen model = style_.tick_pen != nullptr ? style_.tick_pen : drawing.SelectedPen(dc_);
  platform::PenDescription description;
  drawing.DescribePen(model, &description);
  description.style = GridPenStyle(grid);
  if ((grid & AXS_GRID_LIGHT) != 0) description.colour = Lighter(description.colour);
  const TvPen pen = drawing.MakePen(description);
  if (pen == nullptr) return;
  {
    platform::SavedState state(dc_);
    drawing.SelectPen(dc_, pen);
    drawing.Lines(dc_, lines.data(), lines.size());
  }
  drawing.DeletePen(pen);
}

void AxisPainter::DrawTicks(int32_t grid) {
  const AxsTickInfo* info = Ticks();
  if (info == nullptr) return;
  const bool is_x = side_ == AXS_X_AXIS;
  std::vector<LineSegment> ticks;
  std::vector<LineSegment> grid_lines;
  for (const TickMark& tick : is_x ? XTicks(axes_, *info) : YTicks(axes_, *info)) {
    const CoordinateSystem& target = *axes_.Row(tick.row);
    const TvPoint anchor = Anchor(tick.row);
    const int32_t length = tick.is_long ? style_.tick_length : style_.tick_length / 2;
    if (is_x) {
      const int32_t x = target.XPosition(tick.value);
      const int32_t y = Sum(anchor.y, style_.offset);
      ticks.push_back({{x, Sum(y, length)}, {x, y}});
      grid_lines.push_back({{x, Sum(y, -1)}, {x, target.YPosition(system().y.high)}});
    } else {
      const int32_t x = Sum(anchor.x, style_.offset);
      const int32_t y = target.YPosition(tick.value);
      ticks.push_back({{Sum(x, -int64_t{length}), y}, {x, y}});
      grid_lines.push_back({{Sum(x, 1), y}, {target.XPosition(axes_.RowRange(tick.row).to), y}});
    }
    if (!tick.is_long) grid_lines.pop_back();
  }
  if (grid != 0) DrawGridLines(grid_lines, grid);
  TheDrawing().SelectPen(dc_, style_.tick_pen);
  TheDrawing().Lines(dc_, ticks.data(), ticks.size());
}

std::string AxisPainter::LabelText(double value) const {
  const bool is_x = side_ == AXS_X_AXIS;
  if ((style_.placement & AXS_PLACE_PERCENT) != 0) {
    const double percent = value / (is_x ? system().x.high : system().y.high) * 100.0;
    return std::isfinite(percent) ? FixedLabel(percent, style_.decimals) : "";
  }
  if (is_x || style_.decimals >= 0) return FixedLabel(value, style_.decimals);
  return GeneralLabel(value, Saturate(-int64_t{style_.decimals}));
}

void AxisPainter::DrawXLabel(double value) {
  TvPoint tick = {};
  const int32_t row = AxsGetAxisCoord(handle_, value, AnchorY(), &tick);
  if (row < 0) return;
  const std::string text = LabelText(value);
  const TvSize extent = TheDrawing().Extent(dc_, text);
  const int32_t above = style_.tick_length < 0 ? extent.height : 0;
  TheDrawing().Text(dc_, Sum(tick.x, -(extent.width / 2)),
                    Sum(Anchor(row).y, style_.offset, style_.tick_length, -above), text);
}

void AxisPainter::DrawYLabel(double value) {
  const std::string text = LabelText(value);
  const TvSize extent = TheDrawing().Extent(dc_, text);
  for (int32_t row = 0; row < row_count(); ++row) {
    const int64_t right = int64_t{Anchor(row).x} + style_.offset - style_.tick_length - 1;
    const int32_t y = axes_.Row(row)->YPosition(value);
    TheDrawing().Text(dc_, Sum(right, -extent.width), Sum(y, -(extent.height / 2)), text);
  }
}

void AxisPainter::DrawLabels() {
  const AxsTickInfo* info = Ticks();
  if (info == nullptr) return;
  TheDrawing().SelectFont(dc_, style_.label_font);
  TheDrawing().SetTextColour(dc_, style_.label_colour);
  if (side_ == AXS_X_AXIS) {
    for (const double value : XLabelValues(*info)) DrawXLabel(value);
  } else {
    for (const double value : YLabelValues(*info)) DrawYLabel(value);
  }
}

void AxisPainter::DrawTitle() {
  if (style_.title == nullptr) return;
  platform::Drawing& drawing = TheDrawing();
  drawing.SelectFont(dc_, style_.title_font);
  drawing.SetTextColour(dc_, style_.title_colour);
  const TvSize extent = drawing.Extent(dc_, style_.title);
  const double middle = (double{system().y.low} + system().y.high) / 2.0;
  for (int32_t row = 0; row < row_count(); ++row) {
    const CoordinateSystem& target = *axes_.Row(row);
    const AxsRowRange& range = axes_.RowRange(row);
    const int64_t half = extent.height / 2;
    if (side_ == AXS_X_AXIS) {
      drawing.Text(dc_, Sum(target.XPosition(range.to), style_.tick_length),
                   Sum(target.YPosition(AnchorY()), style_.offset, -half), style_.title);
    } else {
      const int64_t right = int64_t{target.XPosition(range.origin)} + style_.offset;
      drawing.Text(dc_, Sum(right, -extent.width, -int64_t{style_.tick_length}, -1),
                   Sum(target.YPosition(middle), -half), style_.title);
    }
  }
}

void AxisPainter::DrawParts(int32_t parts) {
  if ((parts & AXS_DRAW_LINE) != 0) DrawLine();
  if (side_ != AXS_X_AXIS && side_ != AXS_Y_AXIS) return;
  if ((parts & AXS_DRAW_TICKS) != 0) DrawTicks(0);
  if ((parts & AXS_DRAW_LABELS) != 0) DrawLabels();
  if ((parts & AXS_DRAW_TITLE) != 0) DrawTitle();
}

void AxisPainter::DrawGrid(int32_t grid) {
  if (side_ == AXS_X_AXIS || side_ == AXS_Y_AXIS) DrawTicks(grid);
}

// Calls `draw` with a painter while the device context's state is saved.
template <typename Draw>
int32_t Paint(TvDC dc, int32_t handle, const AxsStyle* style, int32_t side, const Draw& draw) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || style == nullptr || side < AXS_X_AXIS || side > AXS_Z_AXIS) return -1;
  return Guarded(-1, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return -1;
    TheDrawing().SetOpaqueBackground(dc, false);
    if (axes->AllRowsLive()) draw(AxisPainter(dc, handle, *axes, *style, side));
    return state.Restore() ? 0 : -1;
  });
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsDisplayAxis(TvDC dc, int32_t handle, const AxsStyle* style,
                                                int32_t parts, int32_t side) {
  return Paint(dc, handle, style, side,
               [parts](AxisPainter&& painter) { painter.DrawParts(parts); });
}

extern "C" int32_t TERVALON_CALL AxsDisplayGrid(TvDC dc, int32_t handle, const AxsStyle* style,
                                                int32_t side, int16_t grid) {
  return Paint(dc, handle, style, side, [grid](AxisPainter&& painter) { painter.DrawGrid(grid); });
}
