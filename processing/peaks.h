// The peaks of a trace that is smoothed and measured.

#ifndef PROCESSING_PEAKS_H_
#define PROCESSING_PEAKS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tervalon/processing_peaks.h"

namespace tervalon::processing {

struct Trace {
  const float* times;
  const float* intensities;
  const float* smoothed;
  size_t count;
  double noise;
};

struct PeakRules {
  double least_rise;
  int32_t baseline;  // PRC_BASELINE_...
  double rider;
};

// A straight line in a trace.
struct Line {
  double time;
  double intensity;
  double slope;

  double At(double t) const { return intensity + slope * (t - time); }
};

// Peaks as PrcFindPeaks describes them, but for the retention indices.
std::vector<PrcPeak> FindPeaks(const Trace& trace, const PeakRules& rules);

}  // namespace tervalon::processing

#endif  // PROCESSING_PEAKS_H_
