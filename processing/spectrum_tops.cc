#include "processing/spectrum_tops.h"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>

#include "platform/little_endian.h"
#include "processing/arrays.h"

namespace tervalon::processing {
namespace {

constexpr float kNothing = std::numeric_limits<float>::infinity();  // the lowest of no values
constexpr size_t kWord = 64;
constexpr size_t kGroup = 16;  // points whose bits are found at once

// A bit for each value: whether it is the first of a top that is high enough, or of equal values
// that may be one, and whether it is above 0.
struct Bits {
  explicit Bits(size_t count) : tops(8 * (count / kWord + 1)), positive(tops.size()) {}

  std::vector<uint8_t> tops;
  std::vector<uint8_t> positive;
};

// Of lanes that are all ones or none.
uint16_t BitsOf(const __m128i* lanes) {
  const __m128i low = _mm_packs_epi32(lanes[0], lanes[1]);
  const __m128i high = _mm_packs_epi32(lanes[2], lanes[3]);
  return static_cast<uint16_t>(_mm_movemask_epi8(_mm_packs_epi16(low, high)));
}

// Returns whether all values are finite.
bool FindBits(const float* values, size_t count, float least, Bits* bits) {
  const __m128 leasts = _mm_set1_ps(least);
  const __m128i exponents = _mm_set1_epi32(0x7F800000);
  __m128i specials = _mm_setzero_si128();
  size_t begin = kGroup;
  for (; begin + kGroup < count; begin += kGroup) {
    __m128i tops[4];
    __m128i positive[4];
    for (size_t i = 0; i < 4; ++i) {
      const float* const at = values + begin + 4 * i;
      const __m128 now = _mm_loadu_ps(at);
      const __m128 rises = _mm_cmplt_ps(_mm_loadu_ps(at - 1), now);
      const __m128 stays = _mm_cmple_ps(_mm_max_ps(_mm_loadu_ps(at + 1), leasts), now);
      const __m128i exponent = _mm_and_si128(_mm_castps_si128(now), exponents);
      specials = _mm_or_si128(specials, _mm_cmpeq_epi32(exponent, exponents));
      tops[i] = _mm_castps_si128(_mm_and_ps(rises, stays));
      positive[i] = _mm_castps_si128(_mm_cmplt_ps(_mm_setzero_ps(), now));
    }
    Store(&bits->tops[begin / 8], BitsOf(tops));
    Store(&bits->positive[begin / 8], BitsOf(positive));
  }
  bool finite = _mm_movemask_epi8(specials) == 0;
  const auto look_at = [&](size_t i) {
    const float value = values[i];
    const auto bit = static_cast<uint8_t>(1U << i % 8);
    finite = finite && std::isfinite(value);
    const bool rises = i == 0 || values[i - 1] < value;
    const bool stays = i + 1 == count || values[i + 1] <= value;
    if (rises && stays && value >= least) bits->tops[i / 8] |= bit;
    if (value > 0) bits->positive[i / 8] |= bit;
  };
  for (size_t i = 0; i < std::min(count, kGroup); ++i) look_at(i);
  for (size_t i = begin; i < count; ++i) look_at(i);
  return finite;
}

// Tops that are high enough.
struct Candidates {
  explicit Candidates(size_t most)
      : at(std::make_unique_for_overwrite<uint32_t[]>(most)),
        joined(std::make_unique_for_overwrite<uint8_t[]>(most + 1)) {}

  std::unique_ptr<uint32_t[]> at;
  // Whether all values since the candidate in front may be above 0; one more, which is not.
  std::unique_ptr<uint8_t[]> joined;
  size_t size = 0;
  bool at_start = false;  // the first one reaches the first value
  bool at_end = false;
};

// An addition of tops to the values above 0 carries from the first top of each island of these to
// its end, so that the other tops are where ones are left.
Candidates FindCandidates(const float* values, size_t count, const Bits& bits) {
  Candidates found((count + 1) / 2);
  size_t size = 0;
  uint64_t carry = 0;
  for (size_t word = 0; word < bits.tops.size() / 8; ++word) {
    auto tops = Load<uint64_t>(&bits.tops[8 * word]);
    const uint64_t sum = Load<uint64_t>(&bits.positive[8 * word]) + tops;
    const uint64_t joined = tops & (sum + carry);
    carry = (sum < tops ? 1U : 0U) | (sum + carry < sum ? 1U : 0U);
    for (; tops != 0; tops &= tops - 1) {
      const auto bit = static_cast<size_t>(std::countr_zero(tops));
      const size_t first = word * kWord + bit;
      size_t end = first + 1;
      if (end < count && values[end] == values[first]) {
        while (end < count && values[end] == values[first]) ++end;
        if (end < count && values[end] > values[first]) continue;
      }
      if (first == 0) found.at_start = true;
      if (end == count) found.at_end = true;
      found.at[size] = static_cast<uint32_t>((first + end - 1) / 2);
      found.joined[size] = joined >> bit & 1;
      ++size;
    }
  }
  found.joined[size] = 0;
  found.size = size;
  return found;
}

float Lowest(const float* values, size_t first, size_t last) {
  if (last - first < 4) {
    float lowest = values[last];
    for (size_t i = first; i < last; ++i) lowest = values[i] < lowest ? values[i] : lowest;
    return lowest;
  }
  __m128 four = _mm_loadu_ps(values + last - 3);
  for (size_t i = first; i + 4 <= last; i += 4) four = _mm_min_ps(four, _mm_loadu_ps(values + i));
  four = _mm_min_ps(four, _mm_movehl_ps(four, four));
  return _mm_cvtss_f32(_mm_min_ss(four, _mm_shuffle_ps(four, four, 1)));
}

bool Stands(const TopRules& rules, double height, double base) {
  const double rise = height - base;
  return rise >= rules.least_rise && rise >= rules.rise_share * height;
}

// Candidates between which no value may be 0 or lower.
class Island {
 public:
  Island(const float* values, size_t count, const TopRules& rules)
      : values_(values), last_(count - 1), rules_(rules) {}

  // The candidates from `first` on, and before `end`.
  void Look(const Candidates& candidates, size_t first, size_t end) {
    const uint32_t* const at = &candidates.at[first];
    size_ = end - first;
    points_.resize(std::max(points_.size(), size_ + 1));
    points_[0].lowest = 0;
    points_[size_].lowest = 0;
    for (size_t i = 0; i < size_; ++i) {
      points_[i].height = values_[at[i]];
      if (i > 0) points_[i].lowest = Lowest(values_, at[i - 1], at[i]);
    }
    if (first == 0) points_[0].lowest = candidates.at_start ? kNothing : Lowest(values_, 0, at[0]);
    if (end == candidates.size) {
      points_[size_].lowest = candidates.at_end ? kNothing : Lowest(values_, at[size_ - 1], last_);
    }
    LookBack();
    LookAhead();
  }

  float LowestBefore(size_t i) const { return points_[i].lowest; }

  bool Stands(size_t i) const {
    const Point& point = points_[i];
    float base = std::max(point.before, point.behind);
    if (base == kNothing) base = std::min(point.before, point.behind);
    return Stands(point.height, base == kNothing ? 0 : base);
  }

 private:
  struct Point {
    float height;
    float lowest;  // since the candidate in front of it
    float before;  // the lowest value as far as it has been looked for, towards a higher one
    float behind;
    size_t next;  // where it has been looked for on
  };

  bool Stands(double height, double base) const { return processing::Stands(rules_, height, base); }

  void LookBack() {
    for (size_t i = 0; i < size_; ++i) {
      Point& point = points_[i];
      point.before = point.lowest;
      size_t next = i;  // behind the one to be compared
      while (!Stands(point.height, point.before) && next > 0 &&
             points_[next - 1].height < point.height) {
        const Point& lower = points_[next - 1];
        point.before = std::min(point.before, lower.before);
        next = lower.next;
      }
      point.next = next;
    }
  }

  void LookAhead() {
    for (size_t i = size_; i-- > 0;) {
      Point& point = points_[i];
      point.behind = points_[i + 1].lowest;
      size_t next = i + 1;
      while (!Stands(point.height, point.behind) && next < size_ &&
             points_[next].height <= point.height) {
        const Point& lower = points_[next];
        point.behind = std::min(point.behind, lower.behind);
        next = lower.next;
      }
      point.next = next;
    }
  }

  const float* const values_;
  const size_t last_;
  const TopRules& rules_;
  std::vector<Point> points_;
  size_t size_ = 0;
};

}  // namespace

bool FindSpectrumTops(const float* values, size_t count, const TopRules& rules,
                      SpectrumTops* tops) {
  tops->at.clear();
  tops->lowest.assign(1, 0);
  Bits bits(count);
  if (!FindBits(values, count, CeilToFloat(rules.least_height), &bits)) return false;
  const Candidates candidates = FindCandidates(values, count, bits);
  const uint32_t* const at = candidates.at.get();
  tops->at.resize(candidates.size);
  tops->lowest.resize(candidates.size + 1);
  Island island(values, count, rules);
  size_t size = 0;
  for (size_t first = 0; first < candidates.size;) {
    size_t end = first + 1;
    if (candidates.joined[end] == 0 && first > 0 && end < candidates.size) {
      tops->at[size] = at[first];
      tops->lowest[size++] = 0;
      first = end;
      continue;
    }
    while (candidates.joined[end] != 0) ++end;
    if (end - first == 2 && first > 0 && end < candidates.size) {  // most islands
      const float one = values[at[first]];
      const float other = values[at[first + 1]];
      const float valley = Lowest(values, at[first], at[first + 1]);
      const bool one_stands = one >= other || Stands(rules, one, valley);
      tops->at[size] = at[first];
      tops->lowest[size] = 0;
      size += one_stands ? 1 : 0;
      tops->at[size] = at[first + 1];
      tops->lowest[size] = one_stands ? std::max(valley, 0.0F) : 0;
      size += other > one || Stands(rules, other, valley) ? 1 : 0;
      first = end;
      continue;
    }
    island.Look(candidates, first, end);
    float lowest = 0;
    for (size_t i = first; i < end; ++i) {
      if (i > first) lowest = std::min(lowest, island.LowestBefore(i - first));
      if (!island.Stands(i - first)) continue;
      tops->at[size] = at[i];
      tops->lowest[size++] = std::max(lowest, 0.0F);
      lowest = kNothing;
    }
    first = end;
  }
  tops->at.resize(size);
  tops->lowest.resize(size + 1);
  tops->lowest[0] = 0;
  tops->lowest[size] = 0;
  return true;
}

size_t LowestAt(const float* values, size_t top, float lowest) {
  size_t first = top + 1;
  while (values[first] != lowest) ++first;
  size_t last = first;
  while (values[last + 1] == lowest) ++last;
  return (first + last) / 2;
}

}  // namespace tervalon::processing
