// What every operation on arrays asks of them and does with its results.

#ifndef PROCESSING_ARRAYS_H_
#define PROCESSING_ARRAYS_H_

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "tervalon/processing.h"

namespace tervalon::processing {

constexpr size_t kLanes = 8;  // values at a time, where the compiler is to make vector code of them

// Both look at all values: a loop that ends early makes no vector code.
inline bool AllFinite(const float* values, size_t count) {
  constexpr uint32_t kExponent = 0x7F800000;
  uint32_t special = 0;
  for (size_t i = 0; i < count; ++i) {
    special |= (std::bit_cast<uint32_t>(values[i]) & kExponent) == kExponent ? 1U : 0U;
  }
  return special == 0;
}

// False also where one is not a number.
inline bool DoNotDescend(const float* positions, size_t count) {
  uint32_t descends = 0;
  for (size_t i = 1; i < count; ++i) descends |= positions[i] >= positions[i - 1] ? 0U : 1U;
  return descends == 0;
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
