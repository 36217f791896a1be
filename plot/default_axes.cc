// The axes of ordinary plots, in the style of the plotting resources.

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/axes.h"
#include "plot/resources.h"
#include "tervalon/drawing.h"

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

constexpr int32_t kLineAndTicks = AXS_DRAW_LINE | AXS_DRAW_TICKS;
constexpr int32_t kAllParts = kLineAndTicks | AXS_DRAW_LABELS | AXS_DRAW_TITLE;

struct AxesText {
  const char* x_title;
  int32_t x_decimals;
  const char* y_title;
};

// The styles of both axes.
struct AxesStyles {
  AxsStyle x = {};
  AxsStyle y = {};
  int32_t x_parts = kLineAndTicks;
};

// False for a device context that is not live.
bool MakeStyles(TvDC dc, const AxesText& text, AxesStyles* styles) {
  TvSize ticks = {};
  if (AxsTickSize(dc, &ticks) == 0) return false;
  const PltResources& resources = ResourcesFor(dc);
  AxsStyle& x = styles->x;
  x.axis_pen = resources.axis_pen;
  x.tick_pen = resources.tick_pen;
  x.label_font = x.title_font = resources.axis_font;
  x.label_colour = x.title_colour = resources.text_colour;
  x.offset = 2;
  x.tick_length = ticks.width;
  x.decimals = text.x_decimals;
  x.title = text.x_title != nullptr ? text.x_title : "";
  x.placement = AXS_PLACE_BOTTOM_LEFT;
  if (text.x_title != nullptr) styles->x_parts = kAllParts;

  AxsStyle& y = styles->y;
  y = x;
  y.offset = -1;
  y.tick_length = ticks.height;
  y.decimals = 0;
  y.title = text.y_title != nullptr ? text.y_title : "%";
  if (text.y_title == nullptr) y.placement |= AXS_PLACE_PERCENT;
  return true;
}

int32_t DrawZeroLine(TvDC dc, int32_t handle, AxsStyle style) {
  style.placement = 0;
  style.offset = 0;
  return AxsDisplayAxis(dc, handle, &style, AXS_DRAW_LINE, AXS_X_AXIS);
}

struct Wanted {
  bool axes;
  bool grid;
  int16_t grid_style;
  bool zero_line;
};

int32_t DrawDefaults(TvDC dc, int32_t handle, const AxesText& text, Wanted wanted) {
  const Axes* axes = FindAxes(handle);
  AxesStyles styles;
  if (axes == nullptr || !MakeStyles(dc, text, &styles)) return -1;
  const AxsRange& y = axes->system.y;
  const bool crosses_inside = y.low < y.crossing && y.crossing < y.high;

  int32_t failed = 0;
  if (wanted.axes) failed |= AxsDisplayAxis(dc, handle, &styles.x, styles.x_parts, AXS_X_AXIS);
  if (wanted.grid) failed |= AxsDisplayGrid(dc, handle, &styles.x, AXS_X_AXIS, wanted.grid_style);
  if (wanted.zero_line && crosses_inside) failed |= DrawZeroLine(dc, handle, styles.x);
  if (wanted.axes) failed |= AxsDisplayAxis(dc, handle, &styles.y, kAllParts, AXS_Y_AXIS);
  if (wanted.grid) failed |= AxsDisplayGrid(dc, handle, &styles.y, AXS_Y_AXIS, wanted.grid_style);
  return failed;
}

// The lower and left sides carry labels and titles, the others ticks only, all inward from the very
// edge of the data. X labels stand below the axis all the same, out of the signal's way.
int32_t DrawScope(TvDC dc, int32_t handle, const AxesText& text, bool zero_line) {
  AxesStyles styles;
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || !MakeStyles(dc, text, &styles)) return -1;
  int32_t failed = 0;
  if (zero_line) failed |= DrawDefaults(dc, handle, text, {false, false, 0, true});
  for (const int32_t side : {AXS_X_AXIS, AXS_Y_AXIS}) {
    AxsStyle style = side == AXS_X_AXIS ? styles.x : styles.y;
    const int32_t parts = side == AXS_X_AXIS ? styles.x_parts : kAllParts;
    style.offset = 0;
    failed |= AxsDisplayAxis(dc, handle, &style, parts & ~kLineAndTicks, side);
    style.tick_length = -style.tick_length;
    failed |= AxsDisplayAxis(dc, handle, &style, kLineAndTicks, side);
    style.placement = AXS_PLACE_TOP_RIGHT;
    style.tick_length = -style.tick_length;
    failed |= AxsDisplayAxis(dc, handle, &style, kLineAndTicks, side);
  }
  return failed;
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsDisplayDefaultAxes(TvDC dc, int32_t handle, const char* x_title,
                                                       int32_t x_decimals, const char* y_title,
                                                       int16_t flags) {
  return AxsDisplayDefaultAxesAndGrid(dc, handle, x_title, x_decimals, y_title, flags, 0, 1, 0);
}

extern "C" int32_t TERVALON_CALL AxsDisplayDefaultAxesAndGrid(
    TvDC dc, int32_t handle, const char* x_title, int32_t x_decimals, const char* y_title,
    int16_t flags, int16_t grid, int32_t draw_axes, int32_t draw_grid) {
  const Wanted wanted = {draw_axes != 0, draw_grid != 0, grid,
                         (flags & AXS_DEFAULT_NO_ZERO_LINE) == 0};
  return Guarded(-1, [&] {
    return DrawDefaults(dc, handle, {x_title, x_decimals, y_title}, wanted);
  });
}

extern "C" int32_t TERVALON_CALL AxsDisplayScopeAxes(TvDC dc, int32_t handle, const char* x_title,
                                                     int32_t x_decimals, const char* y_title,
                                                     int16_t flags) {
  return Guarded(-1, [&] {
    return DrawScope(dc, handle, {x_title, x_decimals, y_title},
                     (flags & AXS_DEFAULT_NO_ZERO_LINE) == 0);
  });
}
