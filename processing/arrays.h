// What every operation on arrays asks of them and does with its results.

#ifndef PROCESSING_ARRAYS_H_
#define PROCESSING_ARRAYS_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "tervalon/processing.h"

namespace tervalon::processing {

// Both look at several values at a time, for vector code: a loop that ends early has none.
constexpr size_t kLanes = 8;

inline bool AllFinite(const float* values, size_t count) {
  float sums[kLanes] = {};  // of zeros, but for what is not finite
  size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    for (size_t lane = 0; lane < kLanes; ++lane) sums[lane] += values[i + lane] * 0.0F;
  }
  for (; i < count; ++i) sums[0] += values[i] * 0.0F;
  return std::all_of(sums, sums + kLanes, [](float sum) { return sum == 0; });
}

// False also where one is not a number.
inline bool DoNotDescend(const float* positions, size_t count) {
  int32_t in_order[kLanes];
  std::fill_n(in_order, kLanes, -1);
  size_t i = 1;
  for (; i + kLanes <= count; i += kLanes) {
    for (size_t lane = 0; lane < kLanes; ++lane) {
      in_order[lane] &= positions[i + lane] >= positions[i + lane - 1] ? -1 : 0;
    }
  }
  for (; i < count; ++i) in_order[0] &= positions[i] >= positions[i - 1] ? -1 : 0;
  return std::all_of(in_order, in_order + kLanes, [](int32_t all) { return all != 0; });
}

// PRC_OK; PRC_NOT_FINITE; PRC_NOT_ASCENDING. There are positions.
inline int32_t CheckPositions(const float* positions, size_t count) {
  const bool in_order = DoNotDescend(positions, count);
  if (in_order && std::isfinite(positions[0]) && std::isfinite(positions[count - 1])) return PRC_OK;
  return AllFinite(positions, count) ? PRC_NOT_ASCENDING : PRC_NOT_FINITE;
}

// The nearest value that a float holds.
inline float ToFloat(double value) {
  constexpr double kMost = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

}  // namespace tervalon::processing

#endif  // PROCESSING_ARRAYS_H_
