// What every operation on arrays asks of them and does with its results.

#ifndef PROCESSING_ARRAYS_H_
#define PROCESSING_ARRAYS_H_

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
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
  uint32_t descend[2 * kLanes] = {};
  size_t i = 1;
  for (; i + 2 * kLanes <= count; i += 2 * kLanes) {
    for (size_t k = 0; k < 2 * kLanes; ++k) {
      descend[k] |= positions[i + k] >= positions[i + k - 1] ? 0U : 1U;
    }
  }
  for (; i < count; ++i) descend[0] |= positions[i] >= positions[i - 1] ? 0U : 1U;
  return std::all_of(std::begin(descend), std::end(descend), [](uint32_t d) { return d == 0; });
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

// The lowest float that is not below a value: what a float is compared with in its place.
inline float CeilToFloat(double value) {
  const float nearest = ToFloat(value);
  return nearest < value ? std::nextafter(nearest, std::numeric_limits<float>::infinity())
                         : nearest;
}

// The highest float that is not above a value, which is within 0 and the highest float.
inline float FloorToFloat(double value) {
  const auto nearest = static_cast<float>(value);
  return std::bit_cast<float>(std::bit_cast<uint32_t>(nearest) - (nearest > value ? 1U : 0U));
}

}  // namespace tervalon::processing

#endif  // PROCESSING_ARRAYS_H_
