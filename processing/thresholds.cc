#include "processing/thresholds.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "numerics/noise_level.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

constexpr int32_t kNoiseOrder = 2;  // of the differences: neither baselines nor slopes count
// Reading a spectrum takes less time than the noise of all of it.
constexpr size_t kNoiseRuns = 9;

}  // namespace

bool IsThreshold(int32_t unit, float threshold) {
  return unit >= PRC_THRESHOLD_NOISE && unit <= PRC_THRESHOLD_PERCENT && threshold >= 0 &&
         std::isfinite(threshold);
}

int32_t FindNoise(const float* values, size_t count, float* noise) {
  *noise = 0;
  if (count <= kNoiseOrder) return PRC_OK;
  const int32_t done =
      ChroStatCalcNoiseLevel(values, static_cast<int32_t>(count), kNoiseOrder, noise);
  return done != 0 ? PRC_OK : PRC_NO_MEMORY;
}

int32_t FindSpectrumNoise(const float* intensities, size_t count, float* noise) {
  if (count <= kNoiseRuns * numerics::kShortRun) return FindNoise(intensities, count, noise);
  std::array<const float*, numerics::kShortRuns> runs;
  for (size_t i = 0; i < kNoiseRuns; ++i) {
    runs[i] = intensities + (count - numerics::kShortRun) * i / (kNoiseRuns - 1);
  }
  std::fill(runs.begin() + kNoiseRuns, runs.end(), intensities);  // not looked at
  std::array<float, numerics::kShortRuns> noises = numerics::ShortNoiseLevels(runs);
  std::nth_element(noises.begin(), noises.begin() + kNoiseRuns / 2, noises.begin() + kNoiseRuns);
  *noise = noises[kNoiseRuns / 2];
  return PRC_OK;
}

double ThresholdOf(int32_t unit, float threshold, const float* values, size_t count, float noise) {
  if (threshold == 0 || unit == PRC_THRESHOLD_INTENSITY) return threshold;
  const double one =
      unit == PRC_THRESHOLD_NOISE ? noise : *std::max_element(values, values + count) / 100.0;
  return threshold * one;
}

}  // namespace tervalon::processing
