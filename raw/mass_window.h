// Mass windows brought back from calibrated masses to what is stored, so that a trace compares
// stored masses, or reads only the points that a window covers, instead of calibrating every point.

#ifndef RAW_MASS_WINDOW_H_
#define RAW_MASS_WINDOW_H_

#include <cstdint>
#include <vector>

#include "raw/calibration.h"
#include "raw/function_reader.h"

namespace tervalon::raw {

// A calibration, and a range of stored masses within which calibrated masses provably grow with
// stored ones. The range is empty when nothing can be proven.
class GrowingCalibration {
 public:
  // Tries `range` with a margin on both sides, then `range` itself.
  GrowingCalibration(const MassCalibration& calibration, const MassRange& range);

  const MassCalibration& calibration() const { return calibration_; }
  const MassRange& proven() const { return proven_; }
  bool Covers(float low, float high) const { return low >= proven_.low && high <= proven_.high; }
  bool CoversAll(const float* masses, uint32_t count) const;

  // Stored masses within proven() whose calibrated mass lies from low to high: exactly those from
  // .low to .high of the result, none when low > high there. The identity covers all masses.
  MassRange StoredWindow(float low, float high) const;

 private:
  MassCalibration calibration_;
  MassRange proven_;
};

// Points `first` .. `first + count - 1` of a scan, 0-based.
struct PointRun {
  uint32_t first;
  uint32_t count;
};

// Adds the point behind those of `runs`.
void AppendPoint(uint32_t point, std::vector<PointRun>* runs);

// Those of the first `points` points of an evenly spaced scan whose calibrated mass lies from low
// to high.
std::vector<PointRun> FindRuns(const GrowingCalibration& calibration, const MassAxis& axis,
                               uint32_t points, float low, float high);

}  // namespace tervalon::raw

#endif  // RAW_MASS_WINDOW_H_
