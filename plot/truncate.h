// Conversions to device units, which never overflow.

#ifndef PLOT_TRUNCATE_H_
#define PLOT_TRUNCATE_H_

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tervalon::plot {

// Toward zero; beyond the type the nearest limit, not-a-number 0.
inline int32_t Truncate(double value) {
  constexpr double kLowest = std::numeric_limits<int32_t>::min();
  constexpr double kHighest = std::numeric_limits<int32_t>::max();
  if (!(value > kLowest)) return value <= kLowest ? std::numeric_limits<int32_t>::min() : 0;
  return value >= kHighest ? std::numeric_limits<int32_t>::max() : static_cast<int32_t>(value);
}

inline bool Fits(int64_t value) { return value == static_cast<int32_t>(value); }

// The nearest 32-bit value.
inline int32_t Saturate(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

}  // namespace tervalon::plot

#endif  // PLOT_TRUNCATE_H_
