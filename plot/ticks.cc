// The choice of tick values.

#include <algorithm>
#include <cmath>

#include "plot/axes.h"

using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

// With these every power of ten on the way is a normal double. Powers are products of tens rather
// than from the C library, whose last bits differ between platforms.
constexpr int32_t kMaxDecimals = 300;

double PowerOfTen(int32_t exponent) {
  double power = 1.0;
  for (int32_t i = 0; i < exponent; ++i) power *= 10.0;
  return power;
}

// |trunc(log10(step))| of a step above 0. A step that misses a power of ten by rounding counts as
// that power, as its logarithm does.
int32_t Decades(double step) {
  constexpr double kSlack = 1e-15;
  const double ratio = (step >= 1.0 ? step : 1.0 / step) * (1.0 + kSlack);
  int32_t decades = 0;
  for (double power = 10.0; decades < kMaxDecimals && power <= ratio; power *= 10.0) ++decades;
  return decades;
}

struct Step {
  double step = 0.0;
  double finest = 0.0;
  int32_t divisions = 10;
};

// The smallest of 1, 2, 2.5 and 5 times a power of ten that is at least `minimum`. 2.5 only two or
// more decades above the finest step, where it needs no further decimal.
Step RoundStep(double minimum, int32_t decimals) {
  Step result;
  if (decimals < 0) decimals = Decades(minimum);
  result.finest = 1.0 / PowerOfTen(std::min(decimals, kMaxDecimals));
  minimum = std::max(minimum, result.finest);
  double p = result.finest;
  int32_t k = 0;
  while (p < minimum) {
    p *= 10.0;
    ++k;
  }

  if (minimum <= p / 5.0) {
    result.step = p / 5.0;
  } else if (k >= 2 && minimum <= p / 4.0) {
    result.step = p / 4.0;
    if (k == 2) result.divisions = 5;
  } else if (minimum <= p / 2.0) {
    result.step = p / 2.0;
  } else {
    result.step = p;
  }
  result.step = std::floor(result.step * 1000.0 + 0.5) / 1000.0;
  result.divisions = std::min(result.divisions, Truncate(result.step / result.finest + 0.5));
  return result;
}

void PlaceTicks(const AxsRange& range, const Step& choice, AxsTickInfo* info) {
  *info = {range.low, range.low, static_cast<float>(choice.step), choice.divisions, 0};
  if (choice.step == 0.0) return;  // below the resolution of ticks
  // Plus 0: a tick at minus zero would be labelled so.
  const double first = std::ceil(range.low / choice.step - 0.0001) * choice.step + 0.0;
  const double last = std::floor(range.high / choice.step + 0.0001) * choice.step + 0.0;
  info->first = static_cast<float>(first);
  info->last = static_cast<float>(last);
  info->count = std::max(0, Truncate((last - first) / choice.step + 1.5));
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsAxisAnnInfo(int32_t handle, int32_t decimals,
                                                int32_t minimum_distance, AxsTickInfo* info,
                                                int32_t side) {
  Axes* axes = FindAxes(handle);
  const CoordinateSystem* system = axes != nullptr ? axes->Row(0) : nullptr;
  if (system == nullptr || info == nullptr || (side != AXS_X_AXIS && side != AXS_Y_AXIS)) return -1;
  const double scale = side == AXS_X_AXIS ? system->x_scale : system->y_scale;
  if (scale == 0.0 || !std::isfinite(scale)) return -1;
  const double minimum = minimum_distance / scale;
  if (decimals < 0 && minimum <= 0.0) return -1;
  PlaceTicks(*RangeOf(&axes->system, side), RoundStep(minimum, decimals), info);
  return info->count;
}

extern "C" int32_t TERVALON_CALL AxsAxisAnnPercentInfo(int32_t handle, AxsTickInfo* info,
                                                       int32_t side) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || info == nullptr || (side != AXS_X_AXIS && side != AXS_Y_AXIS)) return -1;
  const AxsRange& range = *RangeOf(&axes->system, side);
  *info = {range.low, range.high, std::max(std::fabs(range.low), std::fabs(range.high)), 10, 2};
  return info->count;
}
