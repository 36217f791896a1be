// Noise of values, as ChroStatCalcNoiseLevel gives it.

#ifndef NUMERICS_NOISE_LEVEL_H_
#define NUMERICS_NOISE_LEVEL_H_

#include <array>
#include <cstddef>

namespace tervalon::numerics {

constexpr size_t kShortRun = 64;  // values
constexpr size_t kShortRuns = 10;

// The noise of short runs, each of which begins there, in order 2: of all in the time of few.
std::array<float, kShortRuns> ShortNoiseLevels(const std::array<const float*, kShortRuns>& runs);

}  // namespace tervalon::numerics

#endif  // NUMERICS_NOISE_LEVEL_H_
