// Traces with their annotation.

#include <cmath>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/axes.h"
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
         std::isfinite(plot.z);
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

void DrawRow(TvDC dc, const RowView& row, const Trace& trace, int32_t mode, TvColour colour) {
  platform::Drawing& drawing = TheDrawing();
  platform::SavedState state(dc);
  drawing.Clip(dc, row.ClipRect());
  if (mode == AXS_PLOT_STICKS) {
    const std::vector<platform::LineSegment> sticks = SticksOf(trace, row);
    drawing.Lines(dc, sticks.data(), sticks.size());
    return;
  }
  const std::vector<Outline> outlines = OutlinesOf(trace, row);
  if (mode == AXS_PLOT_FILLED) {  // no area hides a line
    for (const Outline& outline : outlines) Fill(dc, outline, row.base_y, Tint(colour));
  }
  for (const Outline& outline : outlines) drawing.Polyline(dc, outline.data(), outline.size());
}

void DrawTrace(TvDC dc, const Axes& axes, const AxsPlotBlock& plot) {
  TvColour colour = 0;
  const TvPen pen = AxsGetDataPenDC(dc, plot.style, &colour, nullptr, plot.second == 0 ? 1 : 0);
  TheDrawing().SelectPen(dc, pen);
  TheDrawing().SetOpaqueBackground(dc, false);
  const Trace trace = {plot.x, plot.y, static_cast<size_t>(plot.count)};
  for (int32_t row = 0; row < axes.system.row_count; ++row) {
    DrawRow(dc, RowView(axes, row), trace, plot.mode, colour);
  }
}

int32_t Annotate(TvDC dc, int32_t handle, const Axes& axes, AxsPlotBlock plot) {
  platform::Drawing& drawing = TheDrawing();
  if (AxsAnnotateMagnify(dc, handle, &plot) != 0) return -1;
  if (plot.label_count == 0) return 0;
  std::vector<TvRect> rects;
  if (plot.label_rects == nullptr) {
    rects.resize(static_cast<size_t>(plot.label_count));
    plot.label_rects = rects.data();
  }
  TvColour colour = 0;
  AxsGetDataPenDC(dc, plot.style, &colour, nullptr, plot.second == 0 ? 1 : 0);
  drawing.SelectFont(dc, ResourcesFor(dc).axis_font);
  drawing.SetTextColour(dc, colour);
  drawing.SetOpaqueBackground(dc, false);
  DrawPeakLabels(dc, handle, axes, plot, BracketBoxes(dc, handle, axes.system));
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

}  // namespace

extern "C" int32_t TERVALON_CALL AxsPlotData(TvDC dc, int32_t handle, AxsPlotBlock* plot) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || plot == nullptr || !IsUsable(*plot)) return -1;
  return Guarded(-1, [&] { return Plot(dc, handle, *axes, *plot); });
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
