#include "processing/peak_masses.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "processing/arrays.h"

namespace tervalon::processing {
namespace {

constexpr size_t kFour = 4;

// Which of four points are a peak's, by where it ends: one bit a point.
using Share = std::array<int64_t, kFour>;

using Shares = std::array<Share, 16>;

// Towards the first point, so that the last one of four is the nearest.
constexpr Shares SharesBefore() {
  Shares shares = {};
  for (size_t ends = 0; ends < shares.size(); ++ends) {
    for (size_t i = kFour; i-- > 0 && (ends >> i & 1) == 0;) shares[ends][i] = -1;
  }
  return shares;
}
alignas(16) constexpr Shares kBefore = SharesBefore();

constexpr Shares SharesBehind() {
  Shares shares = {};
  for (size_t ends = 0; ends < shares.size(); ++ends) {
    for (size_t i = 0; i < kFour && (ends >> i & 1) == 0; ++i) shares[ends][i] = -1;
  }
  return shares;
}
alignas(16) constexpr Shares kBehind = SharesBehind();

// Of the peaks that have no more than one point on either side, whether they have them. By where
// they end: a bit each for two points in front and two behind.
struct alignas(16) Single {
  int64_t share[2];
  bool is_single;
};

constexpr std::array<Single, 16> Singles() {
  std::array<Single, 16> singles = {};
  for (size_t ends = 0; ends < singles.size(); ++ends) {
    const bool before = (ends & 2) == 0;
    const bool behind = (ends & 4) == 0;
    singles[ends] = {{before ? -1 : 0, behind ? -1 : 0}, (ends & 3) != 0 && (ends & 12) != 0};
  }
  return singles;
}
constexpr std::array<Single, 16> kSingles = Singles();

// Two points at a time: weights above a level, and their moments around a mass.
struct Moments {
  __m128d first;  // a weight, and its moment
  __m128d second;
};

inline Moments MomentsOf(__m128 intensities, __m128 masses, double level, double center,
                         const int64_t* share) {
  const __m128d above = _mm_sub_pd(_mm_cvtps_pd(intensities), _mm_set1_pd(level));
  const __m128d weights =
      _mm_and_pd(above, _mm_castsi128_pd(_mm_load_si128(reinterpret_cast<const __m128i*>(share))));
  const __m128d distances = _mm_sub_pd(_mm_cvtps_pd(masses), _mm_set1_pd(center));
  const __m128d moments = _mm_mul_pd(weights, distances);
  return {_mm_unpacklo_pd(weights, moments), _mm_unpackhi_pd(weights, moments)};
}

// Where a peak ends, one bit a point: at the first that is not above the level, or behind a valley
// that is below the threshold.
inline uint32_t EndsOf(__m128 outer, __m128 inner, float level, __m128 threshold) {
  const __m128 low = _mm_cmple_ps(outer, _mm_set1_ps(level));
  const __m128 valley = _mm_cmplt_ps(inner, _mm_min_ps(outer, threshold));
  return static_cast<uint32_t>(_mm_movemask_ps(_mm_or_ps(low, valley)));
}

inline __m128 Upper(__m128 four) { return _mm_movehl_ps(four, four); }

constexpr size_t kBlock = 256;

// The masses of some peaks, step by step for all of them: the steps for one take longer than the
// processor looks ahead.
class Masses {
 public:
  Masses(const Spectrum& spectrum, const SpectrumTops& tops, const MassRules& rules, size_t first,
         size_t size)
      : spectrum_(spectrum),
        at_(&tops.at[first]),
        lowest_(&tops.lowest[first]),
        size_(size),
        threshold_(_mm_set1_ps(CeilToFloat(rules.threshold))) {
    for (size_t i = 0; i < size; ++i) {
      const double height = spectrum.intensities[at_[i]];
      levels_[i] = height * (1 - rules.top);
      weights_[i] = height - levels_[i];
    }
    for (size_t i = 0; i < size; ++i) float_levels_[i] = FloorToFloat(levels_[i]);
  }

  // Of peaks that have no more than one point on either side, as those of noise: without branches,
  // none of which could be foretold. Lists the others.
  size_t AddSingles(size_t* others) {
    size_t other_count = 0;
    for (size_t i = 0; i < size_; ++i) {
      const size_t top = at_[i];
      centers_[i] = spectrum_.masses[top];
      sums_[i] = 0;
      moments_[i] = 0;
      others[other_count] = i;
      if (top < 2 || top + 2 >= spectrum_.count) {
        ++other_count;
        continue;
      }
      constexpr int kHalves = 0b11'10'01'00;  // the lower of one, and the upper of the other
      const __m128 before = _mm_loadu_ps(spectrum_.intensities + top - 2);
      const __m128 behind = _mm_loadu_ps(spectrum_.intensities + top - 1);
      const __m128 outer = _mm_shuffle_ps(before, behind, kHalves);
      const __m128 inner = _mm_shuffle_ps(behind, before, kHalves);
      const Single& single = kSingles[EndsOf(outer, inner, float_levels_[i], threshold_)];
      const __m128 masses = _mm_loadu_ps(spectrum_.masses + top - 1);
      const Moments moments =
          MomentsOf(_mm_shuffle_ps(outer, outer, 0b10'01), _mm_shuffle_ps(masses, masses, 0b10'00),
                    levels_[i], centers_[i], single.share);
      const __m128d sums =
          _mm_add_pd(_mm_add_pd(_mm_set_sd(weights_[i]), moments.first), moments.second);
      _mm_storel_pd(&sums_[i], sums);
      _mm_storeh_pd(&moments_[i], sums);
      other_count += single.is_single && HasClearValleys(i) ? 0 : 1;
    }
    return other_count;
  }

  // Of any peak. False where a valley is above the level, or an end of the spectrum near.
  bool Add(size_t i) {
    if (!HasClearValleys(i)) return false;
    const float* const intensities = spectrum_.intensities;
    __m128d sums = _mm_set_sd(weights_[i]);
    for (size_t first = at_[i];; first -= kFour) {
      if (first < kFour) return false;
      const __m128 outer = _mm_loadu_ps(intensities + first - kFour);
      const __m128 inner = _mm_loadu_ps(intensities + first - kFour + 1);
      const uint32_t ends = EndsOf(outer, inner, float_levels_[i], threshold_);
      const __m128 masses = _mm_loadu_ps(spectrum_.masses + first - kFour);
      const int64_t* const share = kBefore[ends].data();
      const Moments far = MomentsOf(outer, masses, levels_[i], centers_[i], share);
      const Moments near =
          MomentsOf(Upper(outer), Upper(masses), levels_[i], centers_[i], share + 2);
      sums = _mm_add_pd(_mm_add_pd(sums, near.second), near.first);
      sums = _mm_add_pd(_mm_add_pd(sums, far.second), far.first);
      if (ends != 0) break;
    }
    for (size_t last = at_[i];; last += kFour) {
      if (last + kFour >= spectrum_.count) return false;
      const __m128 outer = _mm_loadu_ps(intensities + last + 1);
      const __m128 inner = _mm_loadu_ps(intensities + last);
      const uint32_t ends = EndsOf(outer, inner, float_levels_[i], threshold_);
      const __m128 masses = _mm_loadu_ps(spectrum_.masses + last + 1);
      const int64_t* const share = kBehind[ends].data();
      const Moments near = MomentsOf(outer, masses, levels_[i], centers_[i], share);
      const Moments far =
          MomentsOf(Upper(outer), Upper(masses), levels_[i], centers_[i], share + 2);
      sums = _mm_add_pd(_mm_add_pd(sums, near.first), near.second);
      sums = _mm_add_pd(_mm_add_pd(sums, far.first), far.second);
      if (ends != 0) break;
    }
    _mm_storel_pd(&sums_[i], sums);
    _mm_storeh_pd(&moments_[i], sums);
    return true;
  }

  void Get(float* masses) const {
    for (size_t i = 0; i < size_; ++i) {
      const double mean = centers_[i] + moments_[i] / sums_[i];
      masses[i] = static_cast<float>(sums_[i] > 0 ? mean : centers_[i]);
    }
  }

 private:
  bool HasClearValleys(size_t i) const {
    return !(std::max(lowest_[i], lowest_[i + 1]) > float_levels_[i]);
  }

  const Spectrum& spectrum_;
  const uint32_t* const at_;
  const float* const lowest_;
  const size_t size_;
  const __m128 threshold_;
  std::array<double, kBlock> levels_;
  std::array<float, kBlock> float_levels_;  // what intensities are compared with
  std::array<double, kBlock> centers_;      // masses of the tops
  std::array<double, kBlock> weights_;      // of the tops
  std::array<double, kBlock> sums_;         // of weights
  std::array<double, kBlock> moments_;
};

}  // namespace

size_t FindMasses(const Spectrum& spectrum, const SpectrumTops& tops, const MassRules& rules,
                  size_t first, size_t end, float* masses, size_t* others) {
  Masses found(spectrum, tops, rules, first, end - first);
  const size_t other_count = found.AddSingles(others);
  size_t left = 0;
  for (size_t i = 0; i < other_count; ++i) {
    if (!found.Add(others[i])) others[left++] = others[i];
  }
  found.Get(masses);
  return left;
}

}  // namespace tervalon::processing
