// Centroids of continuum spectra.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "appsvc/export_guard.h"
#include "processing/arrays.h"
#include "processing/options.h"
#include "processing/peak_masses.h"
#include "processing/spectrum_tops.h"
#include "processing/thresholds.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

constexpr size_t kBlock = 256;  // peaks whose masses are found at once

constexpr PrcCentroiding kUsualCentroiding = {PRC_THRESHOLD_NOISE, 3, 0.1F, 0.8F, 0,
                                              PRC_INTENSITY_HEIGHT};

// One peak of a spectrum.
class Peak {
 public:
  Peak(const Spectrum& spectrum, const SpectrumTops& tops, size_t peak, double threshold)
      : spectrum_(spectrum),
        at_(tops.at[peak]),
        shares_first_(tops.lowest[peak] > 0),
        shares_last_(tops.lowest[peak + 1] > 0),
        threshold_(threshold) {
    const size_t next = peak + 1;
    first_ = peak > 0 ? End(tops.at[peak - 1], tops.lowest[peak], tops.at[peak - 1]) : 0;
    last_ = next < tops.at.size() ? End(at_, tops.lowest[next], tops.at[next]) : spectrum.count - 1;
  }

  double height() const { return spectrum_.intensities[at_]; }

  double Area() const {
    double area = height();
    ForEachBeside([&](double intensity, double share, size_t /*at*/) {
      area += intensity * share;
      return true;
    });
    return area;
  }

  // Of what is above a level, as far as it reaches: of all but a share of the height.
  double Mass(double top) const {
    const double level = height() * (1 - top);
    const double mass = spectrum_.masses[at_];
    double weights = height() - level;
    double moment = 0;
    ForEachBeside([&](double intensity, double share, size_t at) {
      if (intensity <= level) return false;
      const double weight = (intensity - level) * share;
      weights += weight;
      moment += weight * (spectrum_.masses[at] - mass);
      return true;
    });
    return weights > 0 ? mass + moment / weights : mass;
  }

  // At half of the height, between points by straight lines.
  double Width() const {
    const double half = height() / 2;
    size_t left = at_;
    while (left > first_ && spectrum_.intensities[left] > half) --left;
    size_t right = at_;
    while (right < last_ && spectrum_.intensities[right] > half) ++right;
    return MassAt(half, right, right - 1) - MassAt(half, left, left + 1);
  }

 private:
  // Calls `take` for the points of the peak on each side, from the top on until it returns false,
  // with the share of the peak in their intensity.
  template <typename Take>
  void ForEachBeside(Take take) const {
    const float* const intensities = spectrum_.intensities;
    const auto takes = [&](size_t i, double inner, bool shared) {
      const double outer = intensities[i];
      return outer > 0 && (inner >= threshold_ || outer <= inner) &&
             take(outer, shared ? 0.5 : 1.0, i);
    };
    for (size_t i = at_; i > first_; --i) {
      if (!takes(i - 1, intensities[i], shares_first_ && i - 1 == first_)) break;
    }
    for (size_t i = at_; i < last_; ++i) {
      if (!takes(i + 1, intensities[i], shares_last_ && i + 1 == last_)) break;
    }
  }

  // Where the line from the point `outer` to `inner` has that height, which is above `outer`'s;
  // `outer` itself where it is not.
  double MassAt(double level, size_t outer, size_t inner) const {
    const double mass = spectrum_.masses[outer];
    const double intensity = spectrum_.intensities[outer];
    if (intensity >= level) return mass;
    const double part = (level - intensity) / (spectrum_.intensities[inner] - intensity);
    return mass + part * (spectrum_.masses[inner] - mass);
  }

  // The lowest point behind a top, or any point from which on none is above 0.
  size_t End(size_t top, float lowest, size_t other) const {
    return lowest > 0 ? LowestAt(spectrum_.intensities, top, lowest) : other;
  }

  const Spectrum& spectrum_;
  const size_t at_;
  size_t first_ = 0;
  size_t last_ = 0;
  const bool shares_first_;
  const bool shares_last_;
  const double threshold_;
};

bool IsShare(float value) { return value >= 0 && value <= 1; }

}  // namespace

bool IsValid(const PrcCentroiding& how) {
  return IsThreshold(how.threshold_unit, how.threshold) && IsShare(how.rise) && IsShare(how.top) &&
         how.top > 0 && how.resolution >= 0 && std::isfinite(how.resolution) &&
         (how.intensity == PRC_INTENSITY_HEIGHT || how.intensity == PRC_INTENSITY_AREA);
}

namespace {

int32_t Centroid(const PrcCentroiding& how, const Spectrum& spectrum, float* peak_masses,
                 float* peak_intensities, int32_t* peak_count) {
  const bool above_noise = how.threshold_unit == PRC_THRESHOLD_NOISE;
  float noise = 0;
  if (above_noise && how.threshold > 0) {
    const int32_t error = FindSpectrumNoise(spectrum.intensities, spectrum.count, &noise);
    if (error != PRC_OK) return error;
  }
  const double threshold =
      ThresholdOf(how.threshold_unit, how.threshold, spectrum.intensities, spectrum.count, noise);
  constexpr double kAboveZero = std::numeric_limits<float>::denorm_min();
  SpectrumTops tops;
  const TopRules rules = {std::max(threshold, kAboveZero), above_noise ? threshold : 0,
                          static_cast<double>(how.rise), true};
  if (!FindSpectrumTops(spectrum.intensities, spectrum.count, rules, &tops)) return PRC_NOT_FINITE;
  const double top = how.top;
  const bool is_measured = how.resolution > 0 || how.intensity == PRC_INTENSITY_AREA;
  int32_t count = 0;
  for (size_t first = 0; first < tops.at.size(); first += kBlock) {
    const size_t end = std::min(first + kBlock, tops.at.size());
    std::array<float, kBlock> masses;
    std::array<size_t, kBlock> others;
    const size_t other_count =
        FindMasses(spectrum, tops, {top, threshold}, first, end, masses.data(), others.data());
    for (size_t i = 0; i < other_count; ++i) {
      masses[others[i]] = ToFloat(Peak(spectrum, tops, first + others[i], threshold).Mass(top));
    }
    // Into arrays that may be the spectrum's: what the peaks to come need is behind.
    if (!is_measured) {
      for (size_t i = first; i < end; ++i) {
        peak_intensities[i] = spectrum.intensities[tops.at[i]];
        peak_masses[i] = masses[i - first];
      }
      count = static_cast<int32_t>(end);
      continue;
    }
    for (size_t i = first; i < end; ++i) {
      const Peak peak(spectrum, tops, i, threshold);
      if (how.resolution > 0 && peak.Width() < peak.Mass(top) / how.resolution) continue;
      const bool has_area = how.intensity == PRC_INTENSITY_AREA;
      peak_intensities[count] = ToFloat(has_area ? peak.Area() : peak.height());
      peak_masses[count++] = masses[i - first];
    }
  }
  *peak_count = count;
  return PRC_OK;
}

}  // namespace
}  // namespace tervalon::processing

using tervalon::Guarded;
namespace processing = tervalon::processing;

extern "C" int32_t TERVALON_CALL PrcCentroid(const PrcCentroiding* centroiding, const float* masses,
                                             const float* intensities, int32_t count,
                                             float* peak_masses, float* peak_intensities,
                                             int32_t* peak_count) {
  const PrcCentroiding how = centroiding != nullptr ? *centroiding : processing::kUsualCentroiding;
  if (masses == nullptr || intensities == nullptr || count < 0 || peak_masses == nullptr ||
      peak_intensities == nullptr || peak_count == nullptr || !processing::IsValid(how)) {
    return PRC_BAD_ARGUMENT;
  }
  if (count == 0) return PRC_TOO_FEW_POINTS;
  const processing::Spectrum spectrum = {masses, intensities, static_cast<size_t>(count)};
  const int32_t error = processing::CheckPositions(masses, spectrum.count);
  if (error != PRC_OK) return error;
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::Centroid(how, spectrum, peak_masses, peak_intensities, peak_count);
  });
}
