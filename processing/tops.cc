#include "processing/tops.h"

#include <algorithm>

namespace tervalon::processing {
namespace {

constexpr float kNothing = std::numeric_limits<float>::infinity();  // the lowest of no values

// Equal values, before `end`, between lower ones (or higher ones, a valley).
struct Turn {
  uint32_t first;
  uint32_t end;

  uint32_t Middle() const { return (first + end - 1) / 2; }
};

// Calls `take` for the turns of values, with whether it is a top, in their order. The first values
// count as a top where those behind them fall, and else as no turn; the last ones as what they are.
// Looks for them in blocks without branches, of which none could be foretold.
template <typename Take>
void FindTurns(const float* values, uint32_t count, Take take) {
  constexpr uint32_t kBlock = 2048;
  uint32_t codes[kBlock];
  uint32_t differ[kBlock];
  // Where values differ from those in front of them, times 2, and 1 where they rise.
  uint32_t steps[kBlock + 1];
  uint32_t turns[kBlock];
  steps[0] = 1;
  for (uint32_t begin = 1; begin < count; begin += kBlock) {
    const uint32_t size = std::min(kBlock, count - begin);
    const float* const before = values + begin - 1;
    const float* const now = values + begin;
    for (uint32_t i = 0; i < size; ++i) {
      codes[i] = (begin + i) << 1 | (now[i] > before[i] ? 1U : 0U);
      differ[i] = now[i] != before[i] ? 1 : 0;
    }
    size_t step_count = 1;
    for (uint32_t i = 0; i < size; ++i) {
      steps[step_count] = codes[i];
      step_count += differ[i];
    }
    size_t turn_count = 0;
    for (uint32_t i = 0; i + 1 < step_count; ++i) {
      turns[turn_count] = i;
      turn_count += (steps[i] ^ steps[i + 1]) & 1;
    }
    for (size_t i = 0; i < turn_count; ++i) {
      const uint32_t* const step = &steps[turns[i]];
      take((step[0] & 1) != 0, Turn{step[0] >> 1, step[1] >> 1});
    }
    steps[0] = steps[step_count - 1];
  }
  take((steps[0] & 1) != 0, Turn{steps[0] >> 1, count});
}

// The first of equal lowest values.
struct Valley {
  float value = kNothing;
  uint32_t at = 0;

  void Take(const Valley& other) {
    if (other.value < value) *this = other;
  }
};

// A top that is high enough.
struct Candidate {
  uint32_t at;
  float height;
  Valley before;  // since the candidate in front of it
  float base;
};

// The bases of candidates, for which each is compared with those that are higher than all between.
class Bases {
 public:
  explicit Bases(std::vector<Candidate>* candidates) : candidates_(candidates) {}

  // The next candidate has this height; `lowest` is the lowest value in front of it, since the one
  // before.
  void Add(float height, float lowest) {
    lowest = EndLower(height, lowest);
    higher_.push_back({height, lowest, next_++});
  }

  void End(float lowest) { EndLower(kNothing, lowest); }

 private:
  struct Higher {
    float height;
    float lowest;  // between it and the one in front of it here
    size_t candidate;
  };

  // Returns the lowest value since the last candidate that is as high.
  float EndLower(float height, float lowest) {
    while (!higher_.empty() && higher_.back().height < height) {
      const Higher& lower = higher_.back();
      (*candidates_)[lower.candidate].base = BaseOf(lower.lowest, lowest);
      lowest = std::min(lowest, lower.lowest);
      higher_.pop_back();
    }
    return lowest;
  }

  static float BaseOf(float before, float behind) {
    if (before == kNothing) return behind == kNothing ? 0 : behind;
    return behind == kNothing ? before : std::max(before, behind);
  }

  std::vector<Candidate>* candidates_;
  std::vector<Higher> higher_;
  size_t next_ = 0;
};

std::vector<Candidate> FindCandidates(const float* values, uint32_t count, const TopRules& rules) {
  std::vector<Candidate> candidates;
  Bases bases(&candidates);
  Valley valley = {values[0], 0};
  FindTurns(values, count, [&](bool is_top, const Turn& turn) {
    const float value = values[turn.first];
    if (!is_top) {
      valley.Take({value, turn.Middle()});
      return;
    }
    const bool at_end = turn.first == 0 || turn.end == count;
    if (value < rules.least_height || (at_end && !rules.ends)) return;
    if (turn.first == 0) valley = {};
    candidates.push_back({turn.Middle(), value, valley, 0});
    bases.Add(value, valley.value);
    valley = {};
  });
  bases.End(valley.value);
  return candidates;
}

}  // namespace

std::vector<Top> FindTops(const float* values, size_t count, const TopRules& rules) {
  std::vector<Top> tops;
  if (count == 0) return tops;
  const auto last = static_cast<uint32_t>(count - 1);
  const std::vector<Candidate> candidates = FindCandidates(values, last + 1, rules);
  tops.reserve(candidates.size());
  Valley valley;  // since the last top
  for (const Candidate& candidate : candidates) {
    valley.Take(candidate.before);
    const double height = candidate.height;
    const double rise = height - static_cast<double>(candidate.base);
    if (rise < rules.least_rise || rise < rules.rise_share * height) continue;
    if (!tops.empty()) tops.back().last = valley.at;
    tops.push_back({candidate.at, candidate.base, tops.empty() ? 0 : valley.at, last});
    valley = {};
  }
  return tops;
}

}  // namespace tervalon::processing
