// Between values and device positions, and the rectangles of rows.

#include <algorithm>

#include "plot/axes.h"
#include "tervalon/coordinate_systems.h"

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

bool Holds(double low, double high, double value) {
  return low - kRangeTolerance <= value && value <= high + kRangeTolerance;
}

int32_t RowHolding(const Axes& axes, double x) {
  for (int32_t row = 0; row < axes.system.row_count; ++row) {
    const AxsRowRange& range = axes.RowRange(row);
    if (Holds(range.from, range.to, x)) return row;
  }
  return -1;
}

bool StoreRect(int64_t left, int64_t top, int64_t right, int64_t bottom, TvRect* rect) {
  if (!Fits(left) || !Fits(top) || !Fits(right) || !Fits(bottom)) return false;
  *rect = {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right),
           static_cast<int32_t>(bottom)};
  return true;
}

bool RectangleOf(const Axes& axes, int32_t row, int32_t flags, TvRect* rect) {
  const TvRect& margins = axes.system.margins;
  if (!axes.HasRow(row)) return false;
  if ((flags & AXS_AREA_MARGINS) != 0) {
    *rect = margins;
    return true;
  }
  const TvRect& area = axes.system.area;
  int64_t top = area.top;
  int64_t bottom = area.bottom;
  if ((flags & AXS_AREA_WHOLE) == 0) {
    const int32_t system = axes.system.row_systems[row];
    top = int64_t{CosYPosOfValue(system, axes.system.y.high)} - margins.top;
    bottom = int64_t{CosYPosOfValue(system, axes.system.y.low)} + margins.bottom;
  }
  const auto inset = [flags](int32_t keep, int32_t margin) {
    return (flags & keep) != 0 ? int64_t{0} : int64_t{margin};
  };
  return StoreRect(area.left + inset(AXS_AREA_KEEP_LEFT, margins.left),
                   top + inset(AXS_AREA_KEEP_TOP, margins.top),
                   area.right - inset(AXS_AREA_KEEP_RIGHT, margins.right),
                   bottom - inset(AXS_AREA_KEEP_BOTTOM, margins.bottom), rect);
}

double Limited(double value, const AxsRange& range) {
  return std::max<double>(range.low, std::min<double>(value, range.high));
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsGetAxisCoord(int32_t handle, double x, double y,
                                                 TvPoint* point) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr) return -1;
  const int32_t row = RowHolding(*axes, x);
  if (row < 0 || point == nullptr) return row;
  const int32_t system = axes->system.row_systems[row];
  point->x = CosXPosOfValue(system, x);
  point->y = Holds(axes->system.y.low, axes->system.y.high, y) ? CosYPosOfValue(system, y) : -1;
  return row;
}

extern "C" float TERVALON_CALL AxsGetValue(int32_t handle, int32_t row, int32_t position,
                                           int16_t axis, int32_t clamp) {
  const Axes* axes = FindAxes(handle);
  const CoordinateSystem* system = axes != nullptr ? axes->Row(row) : nullptr;
  if (system == nullptr || (axis != AXS_X_AXIS && axis != AXS_Y_AXIS)) return 0.0F;
  const bool is_x = axis == AXS_X_AXIS;
  const double value = is_x ? system->XValue(position) : system->YValue(position);
  const AxsRange& range = is_x ? axes->system.x : axes->system.y;
  return static_cast<float>(clamp != 0 ? Limited(value, range) : value);
}

extern "C" int32_t TERVALON_CALL AxsGetArea(int32_t handle, int32_t row, TvRect* area,
                                            int32_t flags) {
  const Axes* axes = FindAxes(handle);
  return axes != nullptr && area != nullptr && RectangleOf(*axes, row, flags, area) ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL AxsSelectAxis(int32_t handle, int32_t x, int32_t y,
                                               int16_t flags) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr) return -1;
  for (int32_t row = 0; row < axes->system.row_count; ++row) {
    TvRect area;
    if (RectangleOf(*axes, row, flags, &area) && x >= area.left && x <= area.right &&
        y >= area.top && y <= area.bottom) {
      return row;
    }
  }
  return -1;
}
