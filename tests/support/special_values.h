// Values that formulas and texts have no ordinary answer for.

#ifndef TESTS_SUPPORT_SPECIAL_VALUES_H_
#define TESTS_SUPPORT_SPECIAL_VALUES_H_

#include <cstdint>
#include <limits>

namespace tervalon::testing {

inline constexpr float kInfinity = std::numeric_limits<float>::infinity();
inline constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
inline constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
inline constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_SPECIAL_VALUES_H_
