// What every operation on arrays asks of them and does with its results.

#ifndef PROCESSING_ARRAYS_H_
#define PROCESSING_ARRAYS_H_

#include <emmintrin.h>

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
  constexpr size_t kFours = 4;  // looked at without a step of the loop
  __m128i descend = _mm_setzero_si128();
  size_t i = 1;
  for (; i + 4 * kFours <= count; i += 4 * kFours) {
    for (size_t k = 0; k < 4 * kFours; k += 4) {
      const __m128 before = _mm_loadu_ps(positions + i + k - 1);
      const __m128 below = _mm_cmpnge_ps(_mm_loadu_ps(positions + i + k), before);
      descend = _mm_or_si128(descend, _mm_castps_si128(below));
    }
  }
  bool any = _mm_movemask_epi8(descend) != 0;
  for (; i < count; ++i) any = any || !(positions[i] >= positions[i - 1]);
  return !any;
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
