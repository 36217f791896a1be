#include "plot/coordinate_systems.h"

#include <array>
#include <cmath>

#include "platform/lock.h"
#include "tervalon/coordinate_systems.h"

namespace tervalon::plot {
namespace {

constexpr int32_t kSystems = 120;  // slot 0 is not used

platform::Places<kSystems> places;
std::array<CoordinateSystem, kSystems> systems;

// The whole sum is truncated, the origin included.
int32_t ZPosition(int32_t origin, double shift) {
  return std::isnan(shift) ? origin : Truncate(origin + 0.5 + shift);
}

bool Finite(double value) { return std::isfinite(static_cast<float>(value)); }

}  // namespace

int32_t CoordinateSystem::ZPositionX(double z) const {
  return ZPosition(origin_x, (z - z_offset) * z_to_x_scale);
}

int32_t CoordinateSystem::ZPositionY(double z) const {
  return ZPosition(origin_y, -((z - z_offset) * z_to_y_scale));
}

void CoordinateSystem::SetZ(double z) {
  z_shift_x = Saturate(int64_t{ZPositionX(z)} - origin_x);
  z_shift_y = Saturate(int64_t{ZPositionY(z)} - origin_y);
}

void CoordinateSystem::SetZAxis(double offset, double scale_x, double scale_y) {
  z_offset = static_cast<float>(offset);
  z_to_x_scale = static_cast<float>(scale_x);
  z_to_y_scale = static_cast<float>(scale_y);
  z_shift_x = 0;
  z_shift_y = 0;
}

CoordinateSystem* FindSystem(int32_t handle) {
  if (handle < 1 || handle >= kSystems) return nullptr;
  const auto place = static_cast<size_t>(handle);
  return places.IsTaken(place) ? &systems[place] : nullptr;
}

}  // namespace tervalon::plot

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL CosCreate(int32_t origin_x, int32_t origin_y) {
  const int32_t handle = places.Take(1);
  if (handle < 0) return 0;
  CoordinateSystem& system = systems[static_cast<size_t>(handle)];
  system = {};
  system.origin_x = origin_x;
  system.origin_y = origin_y;
  return handle;
}

extern "C" int32_t TERVALON_CALL CosDelete(int32_t handle) {
  if (FindSystem(handle) == nullptr) return -1;
  places.GiveBack(static_cast<size_t>(handle));
  return 0;
}

extern "C" int32_t TERVALON_CALL CosValidHandle(int32_t handle) {
  return FindSystem(handle) != nullptr ? 0 : -1;
}

extern "C" int32_t TERVALON_CALL CosAvailable() {
  int32_t available = 0;
  for (size_t place = 1; place < kSystems; ++place) available += places.IsTaken(place) ? 0 : 1;
  return available;
}

extern "C" int32_t TERVALON_CALL CosModifyOrigin(int32_t handle, int32_t origin_x,
                                                 int32_t origin_y) {
  CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr) return -1;
  system->origin_x = origin_x;
  system->origin_y = origin_y;
  return 0;
}

extern "C" int32_t TERVALON_CALL CosModifyXAxis(int32_t handle, double offset, double scale) {
  CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr || !Finite(offset) || !Finite(scale)) return -1;
  system->x_offset = static_cast<float>(offset);
  system->x_scale = static_cast<float>(scale);
  return 0;
}

extern "C" int32_t TERVALON_CALL CosModifyYAxis(int32_t handle, double offset, double scale) {
  CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr || !Finite(offset) || !Finite(scale)) return -1;
  system->y_offset = static_cast<float>(offset);
  system->y_scale = static_cast<float>(scale);
  return 0;
}

extern "C" int32_t TERVALON_CALL CosModifyZAxis(int32_t handle, double offset, double scale_x,
                                                double scale_y) {
  CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr || !Finite(offset) || !Finite(scale_x) || !Finite(scale_y)) return -1;
  system->SetZAxis(offset, scale_x, scale_y);
  return 0;
}

extern "C" int32_t TERVALON_CALL CosSetZValue(int32_t handle, double z) {
  CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr || !std::isfinite(z)) return -1;
  system->SetZ(z);
  return 0;
}

extern "C" int32_t TERVALON_CALL CosPosOfZValue(int32_t handle, double z, int32_t which) {
  const CoordinateSystem* system = FindSystem(handle);
  if (system == nullptr) return 0;
  return which == 0 ? system->ZPositionX(z) : system->ZPositionY(z);
}

extern "C" int32_t TERVALON_CALL CosXPosOfValue(int32_t handle, double value) {
  const CoordinateSystem* system = FindSystem(handle);
  return system != nullptr ? system->XPosition(value) : 0;
}

extern "C" int32_t TERVALON_CALL CosYPosOfValue(int32_t handle, double value) {
  const CoordinateSystem* system = FindSystem(handle);
  return system != nullptr ? system->YPosition(value) : 0;
}

extern "C" double TERVALON_CALL CosValueAtXPos(int32_t handle, int32_t x) {
  const CoordinateSystem* system = FindSystem(handle);
  return system != nullptr ? system->XValue(x) : 0.0;
}

extern "C" double TERVALON_CALL CosValueAtYPos(int32_t handle, int32_t y) {
  const CoordinateSystem* system = FindSystem(handle);
  return system != nullptr ? system->YValue(y) : 0.0;
}
