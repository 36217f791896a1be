// Traces with their annotation.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/axes.h"
#include "plot/coverage.h"
#include "plot/magnify_brackets.h"
#include "plot/peak_labels.h"
#include "plot/resources.h"
#include "plot/trace.h"
#include "tervalon/drawing.h"
#include "tervalon/magnification.h"

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::TheDrawing;

bool IsUsable(const AxsPlotBlock& plot) {
  return plot.mode >= AXS_PLOT_JOINED && plot.mode <= AXS_PLOT_FILLED && plot.count >= 0 &&
         (plot.count == 0 || (plot.x != nullptr && plot.y != nullptr)) && plot.label_count >= 0 &&
         (plot.label_count == 0 || plot.labels != nullptr) && plot.style >= 0 &&
         std::isfinite(plot.z) &&
         ((plot.flags & AXS_PLOT_LABELS_PLACED) == 0 || plot.label_count == 0 ||
          plot.label_rects != nullptr);
}

// Blocks of older programs end where the members with flags of their own begin.
AxsPlotBlock WholeBlock(const AxsPlotBlock* given) {
  AxsPlotBlock plot = {};
  std::memcpy(&plot, given, offsetof(AxsPlotBlock, label_colour));
  if ((plot.flags & AXS_PLOT_LABEL_COLOUR) != 0) plot.label_colour = given->label_colour;
  if ((plot.flags & AXS_PLOT_LABEL_GROUND) != 0) plot.ground_colour = given->ground_colour;
  if ((plot.flags & AXS_PLOT_FILL_COLOUR) != 0) plot.fill_colour = given->fill_colour;
  return plot;
}

// A quarter of the colour on white, as an area that does not hide its outline.
TvColour Tint(TvColour colour) {
  TvColour tint = 0;
  for (int shift = 0; shift < 24; shift += 8) {
    tint |= (255 - (255 - ((colour >> shift) & 255)) / 4) << shift;
  }
  return tint;
}

// Of a column's points only the first and the last bound the area.
void Fill(TvDC dc, const Outline& outline, int32_t base_y, TvColour colour) {
  Outline area;
  for (const TvPoint& point : outline) {
    const size_t count = area.size();
    const bool goes_on = count >= 2 && area[count - 2].x == point.x && area[count - 1].x == point.x;
    if (goes_on) area.pop_back();
    area.push_back(point);
  }
  area.push_back({outline.back().x, base_y});
  area.push_back({outline.front().x, base_y});
  TheDrawing().FillPolygon(dc, area.data(), area.size(), colour);
}

// A solid pen like the one that is selected, for as long as it lives.
class SolidPen {
 public:
  explicit SolidPen(TvDC dc) : dc_(dc), previous_(TheDrawing().SelectedPen(dc)) {
    platform::PenDescription pen;
    TheDrawing().DescribePen(previous_, &pen);
    if (pen.style == platform::kPenSolid || pen.style == platform::kPenNull) return;
    pen.style = platform::kPenSolid;
    own_ = TheDrawing().MakePen(pen);
    TheDrawing().SelectPen(dc, own_);
  }
  ~SolidPen() {
    if (own_ == nullptr) return;
    TheDrawing().SelectPen(dc_, previous_);
    TheDrawing().DeletePen(own_);
  }
  SolidPen(const SolidPen&) = delete;
  SolidPen& operator=(const SolidPen&) = delete;

 private:
  TvDC dc_;
  TvPen previous_;
  TvPen own_ = nullptr;
};

// A trace as the lines that draw it.
class TraceLines {
 public:
  TraceLines(const Trace& trace, const RowView& row)
      : base_y_(row.base_y), outlines_(OutlinesOf(trace, row)) {
    if (GoToAndFro(outlines_, row)) coverage_.emplace(outlines_, row);
  }

  void FillArea(TvDC dc, TvColour colour) const {
    if (!coverage_) {
      for (const Outline& outline : outlines_) Fill(dc, outline, base_y_, colour);
      return;
    }
    for (const bool above : {true, false}) {
      for (Outline& edge : above ? coverage_->Tops() : coverage_->Bottoms()) {
        for (TvPoint& point : edge) {
          point.y = above ? std::min(point.y, base_y_) : std::max(point.y, base_y_);
        }
        const auto on_base = [this](const TvPoint& point) { return point.y == base_y_; };
        if (!std::ranges::all_of(edge, on_base)) Fill(dc, edge, base_y_, colour);
      }
    }
  }

  void Draw(TvDC dc) const {
    if (coverage_) {
      const SolidPen pen(dc);
      const std::vector<platform::LineSegment> runs = coverage_->Runs();
      TheDrawing().Lines(dc, runs.data(), runs.size());
      return;
    }
    for (const Outline& outline : outlines_) {
      TheDrawing().Polyline(dc, outline.data(), outline.size());
    }
  }

 private:
  int32_t base_y_;
  std::vector<Outline> outlines_;
  std::optional<Coverage> coverage_;
};

void DrawRow(TvDC dc, const RowView& row, const AxsPlotBlock& plot, TvColour colour) {
  platform::Drawing& drawing = TheDrawing();
  platform::SavedState state(dc);
  drawing.Clip(dc, row.ClipRect());
  const Trace trace = {plot.x, plot.y, static_cast<size_t>(plot.count)};
  std::optional<TraceLines> lines;
  if (plot.mode != AXS_PLOT_STICKS) lines.emplace(trace, row);
  const bool own_fill = (plot.flags & AXS_PLOT_FILL_COLOUR) != 0;
  if (lines && (plot.mode == AXS_PLOT_FILLED || own_fill)) {  // no area hides a line
    lines->FillArea(dc, own_fill ? plot.fill_colour : Tint(colour));
  }
  if ((plot.flags & AXS_PLOT_BASE_LINE) != 0) {
    drawing.Line(dc, {row.data.left, row.base_y}, {row.ClipRect().right, row.base_y});
  }
  if (lines) {
    lines->Draw(dc);
  } else {
    const std::vector<platform::LineSegment> sticks = SticksOf(trace, row);
    drawing.Lines(dc, sticks.data(), sticks.size());
  }
}

void DrawTrace(TvDC dc, const Axes& axes, const AxsPlotBlock& plot) {
  TvColour colour = 0;
  const TvPen pen = AxsGetDataPenDC(dc, plot.style, &colour, nullptr, plot.second == 0 ? 1 : 0);
  TheDrawing().SelectPen(dc, pen);
  TheDrawing().SetOpaqueBackground(dc, false);
  for (int32_t row = 0; row < axes.system.row_count; ++row) {
    DrawRow(dc, RowView(axes, row), plot, colour);
  }
}

int32_t Annotate(TvDC dc, int32_t handle, const Axes& axes, AxsPlotBlock plot) {
  if (AxsAnnotateMagnify(dc, handle, &plot) != 0) return -1;
  if (plot.label_count == 0) return 0;
  std::vector<TvRect> rects;
  if (plot.label_rects == nullptr) {
    rects.resize(static_cast<size_t>(plot.label_count));
    plot.label_rects = rects.data();
  }
  SelectForLabels(dc, plot);
  if ((plot.flags & AXS_PLOT_LABELS_PLACED) != 0) {
    DrawPlacedLabels(dc, plot);
  } else {
    DrawPeakLabels(dc, handle, axes, plot, BracketBoxes(dc, handle, axes.system));
  }
  return 0;
}

int32_t Plot(TvDC dc, int32_t handle, const Axes& axes, const AxsPlotBlock& plot) {
  platform::SavedState state(dc);
  if (!state.saved()) return -1;
  if (!axes.AllRowsLive()) return 0;
  for (int32_t row = 0; row < axes.system.row_count; ++row) axes.Row(row)->SetZ(plot.z);
  if ((plot.flags & AXS_PLOT_TRACE) != 0) DrawTrace(dc, axes, plot);
  const bool annotated =
      (plot.flags & AXS_PLOT_ANNOTATE) == 0 || Annotate(dc, handle, axes, plot) == 0;
  return state.Restore() && annotated ? 0 : -1;
}

// The cells of an image, and where on an axis they lie.
struct Cells {
  AxsRange range;
  int32_t count;

  // The cell that holds a value, the nearest for one beside them.
  size_t At(double value) const {
    const double share = (value - range.low) / (double{range.high} - range.low);
    return static_cast<size_t>(std::clamp(Truncate(share * count), 0, count - 1));
  }
};

bool IsUsable(const Cells& cells) {
  return cells.count >= 1 && std::isfinite(cells.range.low) && std::isfinite(cells.range.high) &&
         cells.range.low != cells.range.high;
}

// The pixels from one position to another, either way, that lie in [first, end).
std::pair<int32_t, int32_t> PixelsBetween(int32_t a, int32_t b, int32_t first, int32_t end) {
  return {std::max(std::min(a, b), first), std::min(std::max(a, b), end)};
}

// Looks at the cells pixel by pixel: so all devices show the same, however small a part of them is
// in view.
void DrawImage(TvDC dc, const RowView& row, const TvColour* colours, const Cells& columns,
               const Cells& rows) {
  constexpr int32_t kFarthest = 1 << 15;      // as far as any device reaches
  constexpr int32_t kPixelsAtOnce = 1 << 24;  // of more than usual pictures have
  const CoordinateSystem& system = row.system;
  const TvRect clip = row.ClipRect();
  const auto [left, right] =
      PixelsBetween(system.XPosition(columns.range.low), system.XPosition(columns.range.high),
                    std::max(clip.left, 0), std::min(clip.right, kFarthest));
  // The lower end's pixel belongs to a range of values, the upper one's does not.
  const auto [above, bottom] =
      PixelsBetween(system.YPosition(rows.range.low), system.YPosition(rows.range.high),
                    std::max(clip.top, 0) - 1, std::min(clip.bottom, kFarthest) - 1);
  if (left >= right || above >= bottom) return;
  const TvRect area = {left, above + 1, right, bottom + 1};
  if (columns.count == 1 && rows.count == 1) {
    TheDrawing().FillRectangle(dc, area, *colours);
    return;
  }
  std::vector<size_t> column_at;
  for (int32_t x = area.left; x < area.right; ++x) {
    column_at.push_back(columns.At(system.XValue(x)));
  }
  const int32_t rows_at_once = kPixelsAtOnce / (area.right - area.left);
  std::vector<TvColour> pixels;
  for (int32_t top = area.top; top < area.bottom; top += rows_at_once) {
    const TvRect band = {area.left, top, area.right, std::min(top + rows_at_once, area.bottom)};
    pixels.clear();
    for (int32_t y = band.top; y < band.bottom; ++y) {
      const TvColour* cells =
          colours + rows.At(system.YValue(y)) * static_cast<size_t>(columns.count);
      for (const size_t column : column_at) pixels.push_back(cells[column]);
    }
    TheDrawing().Image(dc, band, pixels.data());
  }
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsPlotImage(TvDC dc, int32_t handle, const TvColour* colours,
                                              int32_t columns, int32_t rows, const AxsRange* x,
                                              const AxsRange* y) {
  constexpr int64_t kMostCells = 1 << 26;
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || colours == nullptr || x == nullptr || y == nullptr) return -1;
  const Cells across = {*x, columns};
  const Cells upward = {*y, rows};
  if (!IsUsable(across) || !IsUsable(upward) || int64_t{columns} * rows > kMostCells) return -1;
  return Guarded(-1, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return -1;
    for (int32_t row = 0; axes->AllRowsLive() && row < axes->system.row_count; ++row) {
      DrawImage(dc, RowView(*axes, row), colours, across, upward);
    }
    return state.Restore() ? 0 : -1;
  });
}

extern "C" int32_t TERVALON_CALL AxsPlotData(TvDC dc, int32_t handle, AxsPlotBlock* plot) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || plot == nullptr) return -1;
  const AxsPlotBlock block = WholeBlock(plot);
  if (!IsUsable(block)) return -1;
  return Guarded(-1, [&] { return Plot(dc, handle, *axes, block); });
}

extern "C" int32_t TERVALON_CALL AxsDisplayDefaultData(TvDC dc, int32_t handle, const float* x,
                                                       const float* y, int32_t count, int32_t mode,
                                                       int32_t style) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr) return -1;
  AxsPlotBlock plot = {};
  plot.flags = AXS_PLOT_TRACE | AXS_PLOT_ANNOTATE;
  plot.mode = mode;
  plot.x = x;
  plot.y = y;
  plot.count = count;
  plot.z = axes->system.z.low;
  plot.style = style;
  return AxsPlotData(dc, handle, &plot);
}

extern "C" int32_t TERVALON_CALL AxsDisplayCheckMark(TvDC dc, int32_t handle, double x, double y,
                                                     int32_t style) {
  TvSize tick = {};
  TvPoint tip = {};
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || style < 0 || AxsTickSize(dc, &tick) == 0) return -1;
  return Guarded(-1, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return -1;
    const int32_t row = AxsGetAxisCoord(handle, x, y, &tip);
    const AxsRange& range = axes->system.y;
    if (row >= 0 && y >= range.low - kRangeTolerance && y <= range.high + kRangeTolerance) {
      const TvPoint points[] = {
          {Saturate(int64_t{tip.x} - tick.width * 2 / 3), Saturate(int64_t{tip.y} - tick.height)},
          tip,
          {Saturate(int64_t{tip.x} + tick.width), Saturate(int64_t{tip.y} - tick.height * 2)}};
      TheDrawing().SelectPen(dc, AxsGetDataPenDC(dc, style, nullptr, nullptr, 1));
      TheDrawing().Polyline(dc, points, 3);
    }
    return state.Restore() ? 0 : -1;
  });
}
