// Centroids of continuum spectra.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "appsvc/export_guard.h"
#include "processing/arrays.h"
#include "processing/options.h"
#include "processing/thresholds.h"
#include "processing/tops.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

constexpr PrcCentroiding kUsualCentroiding = {PRC_THRESHOLD_NOISE, 3, 0.1F, 0.8F, 0,
                                              PRC_INTENSITY_HEIGHT};

struct Spectrum {
  const float* masses;
  const float* intensities;
  size_t count;
};

// One peak of a spectrum.
class Peak {
 public:
  Peak(const Spectrum& spectrum, const Top& top, bool shares_first, bool shares_last,
       double threshold)
      : spectrum_(spectrum),
        top_(top),
        shares_first_(shares_first),
        shares_last_(shares_last),
        threshold_(threshold) {}

  double height() const { return spectrum_.intensities[top_.at]; }

  double Area() const {
    double area = height();
    ForEachBeside([&](double intensity, double share, size_t /*at*/) {
      area += intensity * share;
      return true;
    });
    return area;
  }

  // Of what is above the level, as far as it reaches.
  double Mass(double level) const {
    const double mass = spectrum_.masses[top_.at];
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
    size_t left = top_.at;
    while (left > top_.first && spectrum_.intensities[left] > half) --left;
    size_t right = top_.at;
    while (right < top_.last && spectrum_.intensities[right] > half) ++right;
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
    for (size_t i = top_.at; i > top_.first; --i) {
      if (!takes(i - 1, intensities[i], shares_first_ && i - 1 == top_.first)) break;
    }
    for (size_t i = top_.at; i < top_.last; ++i) {
      if (!takes(i + 1, intensities[i], shares_last_ && i + 1 == top_.last)) break;
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

  const Spectrum& spectrum_;
  const Top& top_;
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
  const std::vector<Top> tops =
      FindTops(spectrum.intensities, spectrum.count,
               {std::max(threshold, kAboveZero), above_noise ? threshold : 0,
                static_cast<double>(how.rise), true});
  int32_t count = 0;
  for (size_t i = 0; i < tops.size(); ++i) {
    const Peak peak(spectrum, tops[i], i > 0, i + 1 < tops.size(), threshold);
    const double mass = peak.Mass(peak.height() * (1 - static_cast<double>(how.top)));
    if (how.resolution > 0 && peak.Width() < mass / how.resolution) continue;
    const double intensity = how.intensity == PRC_INTENSITY_AREA ? peak.Area() : peak.height();
    // Into arrays that may be the spectrum's: what the peaks to come need is behind.
    peak_masses[count] = ToFloat(mass);
    peak_intensities[count] = ToFloat(intensity);
    ++count;
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
  if (!processing::AllFinite(intensities, spectrum.count)) return PRC_NOT_FINITE;
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::Centroid(how, spectrum, peak_masses, peak_intensities, peak_count);
  });
}
