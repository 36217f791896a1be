// The table of axes objects and what sets their members.

#include "plot/axes.h"

#include <array>
#include <cmath>

#include "platform/lock.h"
#include "tervalon/coordinate_systems.h"

namespace tervalon::plot {
namespace {

constexpr int32_t kAxes = 50;  // slot 0 is not used

static_assert(sizeof(AxsSystem) == 244);
static_assert(sizeof(AxsPosition) == 48);
static_assert(sizeof(AxsTickInfo) == 20);

platform::Places<kAxes> places;
std::array<Axes, kAxes> table;

// The Z crossing is not set: nothing reads it.
void SetDefaults(Axes* axes) {
  const float z_crossing = axes->system.z.crossing;
  *axes = {};
  AxsSystem& system = axes->system;
  system.minimum_width = 1;
  system.minimum_height = 1;
  system.x = {0.0F, 1.0F, 0.0F};
  system.y = {0.0F, 1.0F, 0.0F};
  system.z = {0.0F, 1.0F, z_crossing};
  system.requested_rows = 1;
  for (AxsMagnify& range : system.magnify) range = {1.0F, 0.0F, 1.0F};
  system.row_count = 1;
}

}  // namespace

Axes* FindAxes(int32_t handle) {
  if (handle < 1 || handle >= kAxes) return nullptr;
  const auto place = static_cast<size_t>(handle);
  return places.IsTaken(place) ? &table[place] : nullptr;
}

AxsRange* RangeOf(AxsSystem* system, int32_t axis) {
  AxsRange* const ranges[] = {&system->x, &system->y, &system->z};
  return axis >= AXS_X_AXIS && axis <= AXS_Z_AXIS ? ranges[axis] : nullptr;
}

}  // namespace tervalon::plot

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

bool CreateRowSystems(AxsSystem* system) {
  for (int32_t row = 0; row < system->requested_rows; ++row) {
    system->row_systems[row] = CosCreate(0, 0);
    if (system->row_systems[row] == 0) return false;
  }
  return true;
}

// The crossing of Z may hold anything.
bool IsUsable(const AxsRange& range, int32_t axis) {
  return std::isfinite(range.low) && std::isfinite(range.high) &&
         (axis == AXS_Z_AXIS || std::isfinite(range.crossing));
}

void SetRange(AxsSystem* system, AxsRange range, int32_t axis) {
  AxsRange* const target = RangeOf(system, axis);
  if (target == nullptr) return;
  if (range.low == range.high && axis == AXS_X_AXIS) {
    range.low -= 0.5F;
    range.high += 0.5F;
    range.crossing = range.low;
  } else if (range.low == range.high && axis == AXS_Y_AXIS) {
    range.high = range.low + 1.0F;
  }
  *target = range;
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsCreate(int32_t rows, int32_t row_order, int32_t minimum_width,
                                           int32_t minimum_height) {
  if (rows < 1 || rows > AXS_MAX_ROWS) return 0;
  const int32_t handle = places.Take(1);
  if (handle < 0) return 0;
  Axes* axes = &table[static_cast<size_t>(handle)];
  SetDefaults(axes);
  AxsSystem& system = axes->system;
  system.flags = AXS_FLAG_IN_USE;
  system.requested_rows = rows;
  system.row_order = row_order;
  system.minimum_width = minimum_width;
  system.minimum_height = minimum_height;
  if (!CreateRowSystems(&system)) {
    AxsDelete(handle);
    return 0;
  }
  LayOut(axes);
  return handle;
}

extern "C" int32_t TERVALON_CALL AxsDelete(int32_t handle) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr) return 0;
  for (int32_t& system : axes->system.row_systems) {
    CosDelete(system);
    system = 0;
  }
  axes->system.flags = 0;
  places.GiveBack(static_cast<size_t>(handle));
  return 1;
}

extern "C" int32_t TERVALON_CALL AxsValidHandle(int32_t handle) {
  return FindAxes(handle) != nullptr ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL AxsModify(int32_t handle, double depth_x, double depth_y) {
  Axes* axes = FindAxes(handle);
  const float x = static_cast<float>(depth_x);
  const float y = static_cast<float>(depth_y);
  if (axes == nullptr || !std::isfinite(x) || !std::isfinite(y)) return 0;
  axes->system.depth_x = x;
  axes->system.depth_y = y;
  LayOut(axes);
  return axes->system.row_count;
}

extern "C" int32_t TERVALON_CALL AxsSize(int32_t handle, const TvRect* area,
                                         const TvRect* margins) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || (area != nullptr && margins == nullptr)) return 0;
  axes->hidden = area == nullptr;
  axes->system.area = axes->hidden ? TvRect{} : *area;
  axes->system.margins = axes->hidden ? TvRect{} : *margins;
  LayOut(axes);
  return axes->system.row_count;
}

extern "C" int32_t TERVALON_CALL AxsSetRanges(int32_t handle, float x_low, float x_high,
                                              float y_low, float y_high) {
  Axes* axes = FindAxes(handle);
  const AxsRange x = {x_low, x_high, x_low};
  const AxsRange y = {y_low, y_high, y_low >= 0.0F ? y_low : 0.0F};
  if (axes == nullptr || !IsUsable(x, AXS_X_AXIS) || !IsUsable(y, AXS_Y_AXIS)) return 0;
  SetRange(&axes->system, x, AXS_X_AXIS);
  SetRange(&axes->system, y, AXS_Y_AXIS);
  LayOut(axes);
  return 1;
}

extern "C" int32_t TERVALON_CALL AxsSetAxisRange(int32_t handle, const AxsRange* range,
                                                 int32_t axis) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || range == nullptr || !IsUsable(*range, axis)) return 0;
  SetRange(&axes->system, *range, axis);
  LayOut(axes);
  return 1;
}

extern "C" int32_t TERVALON_CALL AxsGetSystem(int32_t handle, AxsSystem* system) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || system == nullptr) return 0;
  *system = axes->system;
  return 1;
}
