#include "processing/tops.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "processing/arrays.h"

namespace tervalon::processing {
namespace {

constexpr double kNothing = std::numeric_limits<double>::infinity();  // the lowest of no values

// The first of equal lowest values.
struct Valley {
  double value = kNothing;
  size_t at = 0;

  void Take(const Valley& other) {
    if (other.value < value) *this = other;
  }
};

struct Candidate {
  size_t at;
  double height;
  Valley before;  // the lowest value since the candidate in front of it
};

// The tops between which values fall by a distance and rise by it again: what is less is passed
// over, and no top with such a rise is lost. Behind them stands one of no height.
class Zigzag {
 public:
  Zigzag(const float* values, size_t count, double distance, const TopRules& rules)
      : values_(values),
        count_(count),
        distance_(distance),
        least_height_(rules.least_height),
        ends_(rules.ends) {}

  std::vector<Candidate> Candidates() {
    size_t i = 0;
    if (count_ != 0 && ends_) i = PassStart();
    while (i < count_) {
      i = PassValley(i);
      i = PassTop(i);
    }
    candidates_.push_back({count_, 0, valley_});
    return std::move(candidates_);
  }

 private:
  // Of equal values the middle one, given the first.
  size_t MiddleOf(size_t first) const {
    size_t end = first + 1;
    while (end < count_ && values_[end] == values_[first]) ++end;
    return (first + end - 1) / 2;
  }
  bool IsAtEnd(size_t first) const {
    return std::all_of(values_ + first, values_ + count_,
                       [&](float value) { return value == values_[first]; });
  }

  void Add(size_t top) {
    candidates_.push_back({MiddleOf(top), values_[top], valley_});
    valley_ = {};
  }

  // The first value can be a top when the values fall before any is above it.
  size_t PassStart() {
    const float height = values_[0];
    size_t i = 1;
    while (i < count_ && values_[i] <= height && !Falls(height, values_[i])) ++i;
    if (i < count_ ? values_[i] < height : IsAtEnd(0)) {
      Add(0);
      return i;
    }
    return 0;
  }

  // Both return where the other begins: behind the last value when there is none.
  size_t PassValley(size_t i) {
    size_t lowest = i;
    float value = values_[i];
    for (float limit = Above(value); ++i < count_;) {
      if (values_[i] >= value && values_[i] < limit) continue;
      if (values_[i] < value) {
        value = values_[i];
        limit = Above(value);
        lowest = i;
      } else if (values_[i] > value) {
        break;
      }
    }
    valley_.Take({value, MiddleOf(lowest)});
    return i;
  }
  size_t PassTop(size_t i) {
    if (i >= count_) return i;
    size_t highest = i;
    float value = values_[i];
    for (float limit = Below(value); ++i < count_;) {
      if (values_[i] <= value && values_[i] > limit) continue;
      if (values_[i] > value) {
        value = values_[i];
        limit = Below(value);
        highest = i;
      } else if (values_[i] < value) {
        Add(highest);
        return i;
      }
    }
    if (ends_ && IsAtEnd(highest)) Add(highest);
    return i;
  }

  // What is lower is no top yet, and what is higher no valley. Where they are rounded to less than
  // the distance, a candidate is too many.
  float Above(float value) const { return ToFloat(std::max(value + distance_, least_height_)); }
  float Below(float value) const { return ToFloat(value - distance_); }
  bool Falls(float top, float value) const { return value <= Below(top) && value < top; }

  const float* const values_;
  const size_t count_;
  const double distance_;
  const double least_height_;
  const bool ends_;
  Valley valley_;  // since the last candidate
  std::vector<Candidate> candidates_;
};

std::vector<Candidate> FindCandidates(const float* values, size_t count, const TopRules& rules) {
  // What is asked for of the lowest top that counts, and so of any; a little less for roundings.
  const double distance =
      std::max(rules.least_rise, rules.rise_share * std::max(rules.least_height, 0.0));
  return Zigzag(values, count, distance * (1 - 1e-9), rules).Candidates();
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
    if (candidate.height < rules.least_height || rise < rules.least_rise ||
        rise < rules.rise_share * candidate.height) {
      continue;
    }
    if (!tops.empty()) tops.back().last = valley.at;
    tops.push_back({candidate.at, base, tops.empty() ? 0 : valley.at, count - 1});
    valley = {};
  }
  return tops;
}

}  // namespace tervalon::processing
