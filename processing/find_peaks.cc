// The export that finds peaks: what it asks of its arguments, and its block of results.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/memory.h"
#include "processing/arrays.h"
#include "processing/peaks.h"
#include "processing/thresholds.h"
#include "tervalon/processing_peaks.h"

namespace tervalon::processing {
namespace {

constexpr PrcPeakSearch kUsualSearch = {
    {PRC_SMOOTH_SAVITZKY_GOLAY, 3, 1, 2}, PRC_THRESHOLD_NOISE, 5, PRC_BASELINE_DROPPED, 0};

bool IsValid(const PrcPeakSearch& search) {
  return IsThreshold(search.threshold_unit, search.threshold) &&
         search.baseline >= PRC_BASELINE_DROPPED && search.baseline <= PRC_BASELINE_TANGENT &&
         search.rider >= 0 && search.rider <= 1;
}

bool Ascend(const float* positions, size_t count) {
  return std::adjacent_find(positions, positions + count,
                            [](float a, float b) { return a >= b; }) == positions + count;
}

// A movable block with the peaks; nullptr when there is no memory.
TvMemory BlockOf(const std::vector<PrcPeak>& peaks) {
  const size_t size = peaks.size() * sizeof(PrcPeak);
  const TvMemory block = platform::Memory().Allocate(std::max(size, sizeof(PrcPeak)));
  if (block == nullptr) return nullptr;
  void* const data = platform::Memory().Lock(block);
  if (data == nullptr) {
    platform::Memory().Free(block);
    return nullptr;
  }
  if (size != 0) std::memcpy(data, peaks.data(), size);
  platform::Memory().Unlock(block);
  return block;
}

int32_t Find(const PrcPeakSearch& search, Trace trace, const RTCalibration* calibration,
             PrcPeaks* result) {
  std::vector<float> smoothed(trace.intensities, trace.intensities + trace.count);
  const auto count = static_cast<int32_t>(trace.count);
  if (search.smoothing.passes != 0) {
    const int32_t error =
        PrcSmooth(&search.smoothing, nullptr, trace.intensities, count, smoothed.data());
    if (error != PRC_OK) return error;
  }
  trace.smoothed = smoothed.data();
  float noise = 0;
  const int32_t error = FindNoise(trace.intensities, trace.count, &noise);
  if (error != PRC_OK) return error;
  trace.noise = noise;
  const double threshold =
      ThresholdOf(search.threshold_unit, search.threshold, trace.intensities, trace.count, noise);
  std::vector<PrcPeak> peaks =
      FindPeaks(trace, {threshold, search.baseline, static_cast<double>(search.rider)});
  if (calibration != nullptr) {
    for (PrcPeak& peak : peaks) {
      RTIndicesCalculateIndex(peak.time, calibration, &peak.retention_index);
    }
  }
  const TvMemory block = BlockOf(peaks);
  if (block == nullptr) return PRC_NO_MEMORY;
  *result = {block, static_cast<int32_t>(peaks.size()), noise};
  return PRC_OK;
}

}  // namespace
}  // namespace tervalon::processing

using tervalon::Guarded;
namespace processing = tervalon::processing;

extern "C" int32_t TERVALON_CALL PrcFindPeaks(const PrcPeakSearch* search, const float* times,
                                              const float* intensities, int32_t count,
                                              const RTCalibration* calibration, PrcPeaks* result) {
  const PrcPeakSearch how = search != nullptr ? *search : processing::kUsualSearch;
  if (times == nullptr || intensities == nullptr || count < 0 || result == nullptr ||
      !processing::IsValid(how)) {
    return PRC_BAD_ARGUMENT;
  }
  if (count < 3) return PRC_TOO_FEW_POINTS;
  const auto size = static_cast<size_t>(count);
  if (!processing::AllFinite(times, size) || !processing::AllFinite(intensities, size)) {
    return PRC_NOT_FINITE;
  }
  if (!processing::Ascend(times, size)) return PRC_NOT_ASCENDING;
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::Find(how, {times, intensities, nullptr, size, 0}, calibration, result);
  });
}
