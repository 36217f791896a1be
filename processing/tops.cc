#include "processing/tops.h"

#include <algorithm>
#include <limits>

namespace tervalon::processing {
namespace {

constexpr double kNothing = std::numeric_limits<double>::infinity();  // the lowest of no values

struct Valley {
  double value = kNothing;
  size_t at = 0;

  void Take(double other, size_t other_at) {
    if (other < value) *this = {other, other_at};
  }
  void Take(const Valley& other) { Take(other.value, other.at); }
};

// A top that is high enough, or with a height of 0 what is behind the last one.
struct Candidate {
  size_t at;
  double height;
  Valley before;  // the lowest value since the candidate in front of it
};

std::vector<Candidate> FindCandidates(const float* values, size_t count, const TopRules& rules) {
  std::vector<Candidate> candidates;
  Valley valley;
  for (size_t begin = 0, end = 0; begin < count; begin = end) {
    const float value = values[begin];
    for (end = begin + 1; end < count && values[end] == value;) ++end;
    const size_t middle = (begin + end - 1) / 2;
    const bool falls_before = begin > 0 ? values[begin - 1] < value : rules.ends;
    const bool falls_behind = end < count ? values[end] < value : rules.ends;
    if (falls_before && falls_behind) {
      if (value >= rules.least_height) {
        candidates.push_back({middle, value, valley});
        valley = {};
      }
    } else if ((begin == 0 || !falls_before) && (end == count || !falls_behind)) {
      valley.Take(value, middle);
    }
  }
  candidates.push_back({count, 0, valley});
  return candidates;
}

// For each candidate the lowest value on one side, up to the next one that is higher than it; or,
// in front of it, as high.
class LowestAside {
 public:
  // `valley` is the lowest value between this candidate and the one added before it.
  double Add(double height, double valley, bool equal_is_higher) {
    while (!higher_.empty() &&
           (equal_is_higher ? higher_.back().height < height : higher_.back().height <= height)) {
      valley = std::min(valley, higher_.back().lowest);
      higher_.pop_back();
    }
    higher_.push_back({height, valley});
    return valley;
  }

 private:
  struct Higher {
    double height;
    double lowest;  // between it and the one in front of it here
  };
  std::vector<Higher> higher_;
};

double BaseOf(double before, double behind) {
  if (before == kNothing) return behind == kNothing ? 0 : behind;
  return behind == kNothing ? before : std::max(before, behind);
}

}  // namespace

std::vector<Top> FindTops(const float* values, size_t count, const TopRules& rules) {
  const std::vector<Candidate> candidates = FindCandidates(values, count, rules);
  const size_t number = candidates.size() - 1;
  std::vector<double> lowest_behind(number);
  LowestAside behind;
  for (size_t i = number; i-- > 0;) {
    lowest_behind[i] = behind.Add(candidates[i].height, candidates[i + 1].before.value, false);
  }

  std::vector<Top> tops;
  LowestAside before;
  Valley valley;  // since the last top
  for (size_t i = 0; i < number; ++i) {
    const Candidate& candidate = candidates[i];
    valley.Take(candidate.before);
    const double base =
        BaseOf(before.Add(candidate.height, candidate.before.value, true), lowest_behind[i]);
    const double rise = candidate.height - base;
    if (rise < rules.least_rise || rise < rules.rise_share * candidate.height) continue;
    if (!tops.empty()) tops.back().last = valley.at;
    tops.push_back({candidate.at, base, tops.empty() ? 0 : valley.at, count - 1});
    valley = {};
  }
  return tops;
}

}  // namespace tervalon::processing
