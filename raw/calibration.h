// Evaluation of mass calibrations, for the readers of spectra and chromatograms.

#ifndef RAW_CALIBRATION_H_
#define RAW_CALIBRATION_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "tervalon/raw_calibration.h"

namespace tervalon::raw {

// The identity: order 1, c0 = 0, c1 = 1.
RawCaliCoeffs DefaultCoefficients();

// No segments and no modification; the sets are the identity.
RawFunctionCalibration DefaultFunctionCalibration();

// No function calibrations; every set is the identity, every text empty.
void ResetCalibration(RawCalibration* calibration);

// The value of a set's polynomial at x, in root mass when its type is 1 (NaN then for a negative
// x). A set without coefficients gives x; an order above 5 is taken as 5.
double ApplyCoefficients(const RawCaliCoeffs& set, double x);

// What a scan's masses go through: the polynomial of its segment, then the function's modification.
// Works in double precision and rounds to float once. A mass that has no finite calibrated value,
// as a negative one in root mass, stays as it is.
class MassCalibration {
 public:
  // Leaves masses alone.
  MassCalibration() = default;

  // `segment` is the scan header's segment number: from 1, with 0 standing for the first. A segment
  // that the calibration does not have leaves masses alone.
  MassCalibration(const RawFunctionCalibration& calibration, int32_t segment);

  // Whether Apply would change nothing: the common case, worth skipping.
  bool identity() const { return set_count_ == 0; }

  // The coefficient sets that are applied in turn.
  std::span<const RawCaliCoeffs> sets() const { return {sets_, static_cast<size_t>(set_count_)}; }

  float Apply(float mass) const {
    Apply(&mass, 1);
    return mass;
  }

  // The same, bit for bit, for a whole array.
  void Apply(float* masses, size_t count) const;

 private:
  RawCaliCoeffs sets_[2] = {};  // applied in turn
  int set_count_ = 0;
};

}  // namespace tervalon::raw

#endif  // RAW_CALIBRATION_H_
