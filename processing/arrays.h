// What every operation on arrays asks of them and does with its results.

#ifndef PROCESSING_ARRAYS_H_
#define PROCESSING_ARRAYS_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace tervalon::processing {

inline bool AllFinite(const float* values, size_t count) {
  int other = 0;  // a vector of them, where a loop that ends early has none
  for (size_t i = 0; i < count; ++i) {
    other |= std::abs(values[i]) <= std::numeric_limits<float>::max() ? 0 : 1;
  }
  return other == 0;
}

inline bool DoNotDescend(const float* positions, size_t count) {
  int descents = 0;
  for (size_t i = 1; i < count; ++i) descents |= positions[i] < positions[i - 1] ? 1 : 0;
  return descents == 0;
}

// The nearest value that a float holds.
inline float ToFloat(double value) {
  constexpr double kMost = std::numeric_limits<float>::max();
  return static_cast<float>(std::clamp(value, -kMost, kMost));
}

}  // namespace tervalon::processing

#endif  // PROCESSING_ARRAYS_H_
