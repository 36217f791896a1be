#include "raw/mass_window.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

namespace tervalon::raw {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr MassRange kNoMasses = {kInfinity, -kInfinity};

// A polynomial's own coefficients, lowest first, or those of its derivative.
using Polynomial = std::vector<double>;

Polynomial Derivative(const Polynomial& polynomial) {
  Polynomial derivative;
  for (size_t k = 1; k < polynomial.size(); ++k) {
    derivative.push_back(static_cast<double>(k) * polynomial[k]);
  }
  return derivative;
}

double Evaluate(const Polynomial& polynomial, double x) {
  double y = 0;
  for (size_t k = polynomial.size(); k-- > 0;) y = y * x + polynomial[k];
  return y;
}

// Proves polynomial > least on low..high (0 <= low): from its value in the middle and a bound of
// its slope, halving the range while that does not suffice.
bool ProveAbove(const Polynomial& polynomial, double least, double low, double high,
                int32_t halvings) {
  double steepest = 0;
  double power = 1;
  for (const double coefficient : Derivative(polynomial)) {
    steepest += std::fabs(coefficient) * power;
    power *= high;
  }
  const double middle = low + (high - low) / 2;
  const double value = Evaluate(polynomial, middle);
  if (value - steepest * (high - middle) > least) return true;
  if (!(value > least) || halvings == 0) return false;
  return ProveAbove(polynomial, least, low, middle, halvings - 1) &&
         ProveAbove(polynomial, least, middle, high, halvings - 1);
}

// Proves that a coefficient set grows over low..high, steeply enough that the rounding of double
// arithmetic cannot change the order of two masses that differ as floats.
bool ProveGrowing(const RawCaliCoeffs& set, double low, double high) {
  constexpr double kLeastSlope = 1e-3;
  constexpr int32_t kHalvings = 10;
  if (!(low >= 0) || !(high >= low) || !std::isfinite(high)) return false;
  if (set.order < 0) return true;
  const Polynomial polynomial(set.coefficients, set.coefficients + std::min(set.order, 5) + 1);
  if (set.type != 1) {
    return ProveAbove(Derivative(polynomial), kLeastSlope, low, high, kHalvings);
  }
  const double low_root = std::sqrt(low);
  const double high_root = std::sqrt(high);
  return ProveAbove(Derivative(polynomial), kLeastSlope, low_root, high_root, kHalvings) &&
         ProveAbove(polynomial, kLeastSlope, low_root, high_root, kHalvings);
}

bool ProveGrowing(const MassCalibration& calibration, const MassRange& range) {
  double low = range.low;
  double high = range.high;
  for (const RawCaliCoeffs& set : calibration.sets()) {
    if (!ProveGrowing(set, low, high)) return false;
    low = ApplyCoefficients(set, low);
    high = ApplyCoefficients(set, high);
  }
  return std::isfinite(static_cast<float>(high));
}

// The smallest element of low..high (ordered like the integers) for which `reached` holds, high + 1
// when there is none; `reached` stays true once it is.
template <typename Reached>
uint32_t FindFirst(uint32_t low, uint32_t high, Reached reached) {
  uint32_t end = high + 1;
  while (low < end) {
    const uint32_t middle = low + (end - low) / 2;
    if (reached(middle)) {
      end = middle;
    } else {
      low = middle + 1;
    }
  }
  return end;
}

std::vector<PointRun> FindRunsByPoint(const MassCalibration& calibration, const MassAxis& axis,
                                      uint32_t points, float low, float high) {
  std::vector<PointRun> runs;
  std::array<float, 2048> masses;
  for (uint32_t first = 0; first < points; first += static_cast<uint32_t>(masses.size())) {
    const auto count = std::min(points - first, static_cast<uint32_t>(masses.size()));
    axis.Fill(first, count, masses.data());
    calibration.Apply(masses.data(), count);
    for (uint32_t i = 0; i < count; ++i) {
      if (masses[i] >= low && masses[i] <= high) AppendPoint(first + i, &runs);
    }
  }
  return runs;
}

}  // namespace

GrowingCalibration::GrowingCalibration(const MassCalibration& calibration, const MassRange& range)
    : calibration_(calibration), proven_(kNoMasses) {
  if (calibration.identity()) {
    proven_ = {-kInfinity, kInfinity};
    return;
  }
  const MassRange candidates[] = {{range.low * 0.5f, range.high * 2}, range};
  for (const MassRange& candidate : candidates) {
    if (!ProveGrowing(calibration, candidate)) continue;
    proven_ = candidate;
    return;
  }
}

bool GrowingCalibration::CoversAll(const float* masses, uint32_t count) const {
  if (calibration_.identity()) return true;
  int32_t outside = 0;
  for (uint32_t i = 0; i < count; ++i) {
    outside += static_cast<int32_t>(masses[i] < proven_.low) |
               static_cast<int32_t>(masses[i] > proven_.high);
  }
  return outside == 0;
}

MassRange GrowingCalibration::StoredWindow(float low, float high) const {
  if (calibration_.identity()) return {low, high};
  if (!(proven_.low <= proven_.high)) return kNoMasses;
  // Floats that are not negative are ordered like their bits.
  const auto bits = [](float mass) { return std::bit_cast<uint32_t>(mass + 0.0f); };
  const auto mass = [](uint32_t pattern) { return std::bit_cast<float>(pattern); };
  const uint32_t begin = FindFirst(bits(proven_.low), bits(proven_.high), [&](uint32_t pattern) {
    return calibration_.Apply(mass(pattern)) >= low;
  });
  const uint32_t end = FindFirst(bits(proven_.low), bits(proven_.high), [&](uint32_t pattern) {
    return !(calibration_.Apply(mass(pattern)) <= high);
  });
  return begin < end ? MassRange{mass(begin), mass(end - 1)} : kNoMasses;
}

void AppendPoint(uint32_t point, std::vector<PointRun>* runs) {
  if (!runs->empty() && runs->back().first + runs->back().count == point) {
    ++runs->back().count;
  } else {
    runs->push_back({point, 1});
  }
}

std::vector<PointRun> FindRuns(const GrowingCalibration& calibration, const MassAxis& axis,
                               uint32_t points, float low, float high) {
  if (points == 0) return {};
  if (!axis.ascending() || !calibration.Covers(axis.At(0), axis.At(points - 1))) {
    return FindRunsByPoint(calibration.calibration(), axis, points, low, high);
  }
  const auto mass = [&](uint32_t point) { return calibration.calibration().Apply(axis.At(point)); };
  const uint32_t begin =
      FindFirst(0, points - 1, [&](uint32_t point) { return mass(point) >= low; });
  const uint32_t end =
      FindFirst(0, points - 1, [&](uint32_t point) { return !(mass(point) <= high); });
  if (begin >= end) return {};
  return {{begin, end - begin}};
}

}  // namespace tervalon::raw
