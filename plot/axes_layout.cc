// How an area is divided into rows.

#include <optional>

#include "plot/axes.h"

namespace tervalon::plot {
namespace {

// All rows alike; 64 bits hold every step on the way.
struct RowGeometry {
  int64_t width = 0;  // of the data, without the depth direction
  int64_t height = 0;
  int64_t depth_width = 0;
  int64_t depth_height = 0;
  int64_t origin_x = 0;
  int64_t lowest_baseline = 0;
  int64_t pitch = 0;  // from one baseline up to the next

  int64_t Baseline(int32_t from_bottom) const { return lowest_baseline - from_bottom * pitch; }
};

// What the depth direction leaves of a length.
int64_t WithoutDepth(int64_t length, float depth) {
  return Truncate(static_cast<double>(length) / (double{depth} + 1.0));
}

// nullopt when the rows would have no size, or lie outside 32 bits.
std::optional<RowGeometry> GeometryFor(const AxsSystem& system, int32_t rows) {
  const TvRect& area = system.area;
  const TvRect& margins = system.margins;
  const int64_t width = int64_t{area.right} - area.left + 1 - margins.left - margins.right;
  const int64_t height =
      (int64_t{area.bottom} - area.top + 1) / rows - margins.top - margins.bottom;
  if (width < 0 || height < 0 || !Fits(width) || !Fits(height)) return std::nullopt;

  RowGeometry geometry;
  geometry.width = WithoutDepth(width, system.depth_x);
  geometry.height = WithoutDepth(height, system.depth_y);
  geometry.depth_width = width - geometry.width;
  geometry.depth_height = height - geometry.height;
  geometry.origin_x = int64_t{area.left} + margins.left;
  geometry.lowest_baseline = int64_t{area.bottom} - margins.bottom;
  geometry.pitch = height + margins.bottom + margins.top;
  if (!Fits(geometry.origin_x) || !Fits(geometry.lowest_baseline) ||
      !Fits(geometry.Baseline(rows - 1))) {
    return std::nullopt;
  }
  return geometry;
}

// Sets the row count to the most rows that fit, where any do.
RowGeometry ChooseRows(AxsSystem* system) {
  for (int32_t rows = system->requested_rows; rows >= 1; --rows) {
    const std::optional<RowGeometry> geometry = GeometryFor(*system, rows);
    if (!geometry) continue;
    if (geometry->width < system->minimum_width) break;
    if (geometry->height < system->minimum_height) continue;
    system->row_count = rows;
    return *geometry;
  }
  return {};
}

// Every row starts exactly where the one before ends, at start + step in floats; the last ends with
// the range.
void DivideRange(AxsSystem* system) {
  const auto step =
      static_cast<float>((double{system->x.high} - system->x.low) / system->row_count);
  float from = system->x.low;
  for (int32_t row = 0; row < system->row_count; ++row) {
    const bool is_last = row + 1 == system->row_count;
    const float to = is_last ? system->x.high : from + step;
    system->row_ranges[row] = {from, to, from};
    from = to;
  }
}

float ScaleFor(int64_t length, float from, float to) {
  if (from == to) return 0.0F;
  return static_cast<float>(static_cast<double>(length) / (double{to} - from));
}

void Program(const AxsSystem& system, const RowGeometry& geometry, int32_t row,
             CoordinateSystem* target) {
  const int32_t from_bottom = system.row_order != 0 ? row : system.row_count - 1 - row;
  const AxsRowRange& range = system.row_ranges[row];
  target->origin_x = static_cast<int32_t>(geometry.origin_x);
  target->origin_y = static_cast<int32_t>(geometry.Baseline(from_bottom));
  target->x_offset = range.from;
  target->x_scale = ScaleFor(geometry.width, range.from, range.to);
  target->y_offset = system.y.low;
  target->y_scale = ScaleFor(geometry.height, system.y.low, system.y.high);
  target->SetZAxis(system.z.low, ScaleFor(geometry.depth_width, system.z.low, system.z.high),
                   ScaleFor(geometry.depth_height, system.z.low, system.z.high));
}

}  // namespace

void LayOut(Axes* axes) {
  AxsSystem& system = axes->system;
  system.row_count = 0;
  if (axes->hidden) return;
  const RowGeometry geometry = ChooseRows(&system);
  if (system.row_count == 0) return;
  DivideRange(&system);
  for (int32_t row = 0; row < system.row_count; ++row) {
    CoordinateSystem* target = axes->Row(row);
    if (target == nullptr) return;
    Program(system, geometry, row, target);
  }
}

}  // namespace tervalon::plot
