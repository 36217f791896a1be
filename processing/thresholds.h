// Thresholds in the units of tervalon/processing.h.

#ifndef PROCESSING_THRESHOLDS_H_
#define PROCESSING_THRESHOLDS_H_

#include <cstddef>
#include <cstdint>

namespace tervalon::processing {

bool IsThreshold(int32_t unit, float threshold);

// The noise of values: 0 for too few. Returns PRC_OK or PRC_NO_MEMORY.
int32_t FindNoise(const float* values, size_t count, float* noise);

// The noise of a spectrum: of a long one, the median of what some runs of its points have.
int32_t FindSpectrumNoise(const float* intensities, size_t count, float* noise);

// A threshold as an intensity.
double ThresholdOf(int32_t unit, float threshold, const float* values, size_t count, float noise);

}  // namespace tervalon::processing

#endif  // PROCESSING_THRESHOLDS_H_
