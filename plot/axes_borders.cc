// The space that axes take beside the data.

#include <algorithm>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/axes.h"
#include "plot/resources.h"

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::TheDrawing;

constexpr char kPercentLabel[] = "100";
constexpr int32_t kTickGap = 2;

int32_t StoreFraction(TvDC dc, int32_t divisor, TvSize* size) {
  platform::DeviceMetrics device;
  if (size == nullptr || !TheDrawing().Capabilities(dc, &device)) return 0;
  *size = {device.pixels_per_inch_x / divisor, device.pixels_per_inch_y / divisor};
  return 1;
}

// What the parts of an axis take; 0 for those left out.
struct PartSizes {
  int64_t tick_depth = 0;
  int64_t label_width = 0;
  int64_t label_height = 0;
  int64_t title_width = 0;
  int64_t title_height = 0;
  int64_t title_lead = 0;
};

// Selects the fonts on the way; the caller has saved the state.
PartSizes Measure(TvDC dc, const AxsStyle& style, int32_t parts) {
  platform::Drawing& drawing = TheDrawing();
  platform::TextMetrics font;
  PartSizes sizes;
  if ((parts & AXS_DRAW_TICKS) != 0) sizes.tick_depth = int64_t{style.tick_length} + kTickGap;
  if ((parts & AXS_DRAW_LABELS) != 0) {
    drawing.SelectFont(dc, style.label_font);
    drawing.Metrics(dc, &font);
    const bool percent = (style.placement & AXS_PLACE_PERCENT) != 0;
    const TvSize label =
        percent ? drawing.Extent(dc, kPercentLabel) : TvSize{font.average_width, font.height};
    sizes.label_width = int64_t{label.width} + font.average_width + style.tick_length + kTickGap;
    sizes.label_height = label.height;
  }
  if ((parts & AXS_DRAW_TITLE) != 0) {
    drawing.SelectFont(dc, style.title_font);
    drawing.Metrics(dc, &font);
    const TvSize title = drawing.Extent(dc, style.title != nullptr ? style.title : "");
    sizes.title_width = title.width + 2 * int64_t{font.average_width};
    sizes.title_height = title.height;
    sizes.title_lead = int64_t{font.internal_leading} + 1;
  }
  return sizes;
}

TvSize BorderOf(const PartSizes& parts, int32_t side) {
  if (side == AXS_X_AXIS) {
    return {Saturate(parts.title_width), Saturate(parts.tick_depth + parts.label_height)};
  }
  return {Saturate(std::max(parts.label_width, parts.title_width)),
          Saturate(parts.title_height + parts.title_lead)};
}

// 0 when something cannot be measured.
int32_t DefaultBorders(TvDC dc, const char* x_title, const char* y_title, TvRect* margins) {
  constexpr int32_t kParts = AXS_DRAW_TICKS | AXS_DRAW_LABELS | AXS_DRAW_TITLE;
  const PltResources& resources = ResourcesFor(dc);
  TvSize ticks = {};
  TvSize x_axis = {};
  TvSize x_labels = {};
  TvSize y_axis = {};
  if (AxsTickSize(dc, &ticks) == 0) return 0;

  AxsStyle style = {};
  style.axis_pen = style.tick_pen = resources.axis_pen;
  style.label_font = style.title_font = resources.axis_font;
  style.offset = 2;
  style.tick_length = ticks.width;
  style.title = x_title != nullptr ? x_title : "";
  if (AxsBorderSize(dc, &style, kParts, AXS_X_AXIS, &x_axis) == 0 ||
      AxsBorderSize(dc, &style, AXS_DRAW_LABELS, AXS_X_AXIS, &x_labels) == 0) {
    return 0;
  }
  style.offset = -1;
  style.tick_length = ticks.height;
  style.title = y_title != nullptr ? y_title : "%";
  if (y_title == nullptr) style.placement |= AXS_PLACE_PERCENT;
  if (AxsBorderSize(dc, &style, kParts, AXS_Y_AXIS, &y_axis) == 0) return 0;
  *margins = {y_axis.width, y_axis.height, x_axis.width, x_axis.height};
  return x_labels.height;
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsTickSize(TvDC dc, TvSize* size) {
  return StoreFraction(dc, 16, size);
}

extern "C" int32_t TERVALON_CALL AxsMinLength(TvDC dc, TvSize* size) {
  return StoreFraction(dc, 4, size);
}

extern "C" int32_t TERVALON_CALL AxsBorderSize(TvDC dc, const AxsStyle* style, int32_t parts,
                                               int32_t side, TvSize* size) {
  if (style == nullptr || size == nullptr || (side != AXS_X_AXIS && side != AXS_Y_AXIS)) return 0;
  return Guarded(0, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return 0;
    *size = BorderOf(Measure(dc, *style, parts), side);
    return 1;
  });
}

extern "C" int32_t TERVALON_CALL AxsGetBorder(TvDC dc, TvRect* margins, const char* x_title,
                                              const char* y_title, int32_t /*reserved*/) {
  if (margins == nullptr) return 0;
  return Guarded(0, [&] { return DefaultBorders(dc, x_title, y_title, margins); });
}
