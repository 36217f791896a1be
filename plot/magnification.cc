#include "tervalon/magnification.h"

#include <algorithm>
#include <cmath>

#include "plot/axes.h"
#include "plot/magnification.h"

namespace tervalon::plot {

const AxsMagnify* MagnifierAt(const AxsSystem& system, float x) {
  if ((system.flags & AXS_FLAG_MAGNIFIED) == 0) return nullptr;
  for (const AxsMagnify& range : system.magnify) {
    if (range.factor != 1.0F && Contains(range, x)) return &range;
  }
  return nullptr;
}

}  // namespace tervalon::plot

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

constexpr float kLargestFactor = 10000.0F;

bool IsIndex(int32_t index) { return index >= 0 && index < AXS_MAX_MAGNIFY_RANGES; }

bool IsFree(const AxsMagnify& range) { return range.factor == 1.0F || range.from == range.to; }
bool IsLive(const AxsMagnify& range) { return !IsFree(range) && range.factor > 0.0F; }

// The active range stays when it is live; otherwise the stored one follows, or the last live one.
void UpdateLive(AxsSystem* system, int32_t stored) {
  int32_t last_live = -1;
  for (int32_t i = 0; i < AXS_MAX_MAGNIFY_RANGES; ++i) {
    if (IsLive(system->magnify[i])) last_live = i;
  }
  system->flags &= static_cast<uint16_t>(~AXS_FLAG_MAGNIFIED);
  if (last_live >= 0) system->flags |= AXS_FLAG_MAGNIFIED;
  if (IsLive(system->magnify[system->active_magnify])) return;
  system->active_magnify = IsLive(system->magnify[stored]) ? stored : std::max(last_live, 0);
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsMagnifyRange(int32_t handle, double factor, double from,
                                                 double to, int32_t index) {
  Axes* axes = FindAxes(handle);
  const AxsMagnify range = {static_cast<float>(from), static_cast<float>(to),
                            static_cast<float>(factor)};
  if (axes == nullptr || !IsIndex(index) || !std::isfinite(range.from) ||
      !std::isfinite(range.to) || !std::isfinite(range.factor)) {
    return 0;
  }
  axes->system.magnify[index] = range;
  UpdateLive(&axes->system, index);
  return 1;
}

extern "C" int32_t TERVALON_CALL AxsMagnified(int32_t handle, float x) {
  const Axes* axes = FindAxes(handle);
  return axes != nullptr && MagnifierAt(axes->system, x) != nullptr ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL AxsGetAvailableMagnifyRange(int32_t handle) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr) return 0;
  for (int32_t i = 0; i < AXS_MAX_MAGNIFY_RANGES; ++i) {
    if (IsFree(axes->system.magnify[i])) return i;
  }
  return -1;
}

extern "C" int32_t TERVALON_CALL AxsGetActiveMagnifyRange(int32_t handle, float* from, float* to,
                                                          float* factor) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr) return 0;
  const AxsMagnify& range = axes->system.magnify[axes->system.active_magnify];
  if (from != nullptr) *from = range.from;
  if (to != nullptr) *to = range.to;
  if (factor != nullptr) *factor = range.factor;
  return axes->system.active_magnify;
}

extern "C" float TERVALON_CALL AxsAdjustMagnifyFactor(int32_t handle, int32_t index, int32_t delta,
                                                      int32_t reset) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || !IsIndex(index)) return 1.0F;
  float& factor = axes->system.magnify[index].factor;
  if (reset != 0) return factor = 1.0F;
  if (factor == 1.0F && delta >= 2) delta = 1;
  // Raised to a whole number: toward zero, then up where that cut something off.
  const float sum = static_cast<float>(double{factor} + delta);
  const float whole = std::trunc(sum);
  return factor = std::clamp(whole < sum ? whole + 1.0F : sum, 1.0F, kLargestFactor);
}
