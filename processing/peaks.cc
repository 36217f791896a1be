// Peaks of chromatograms.

#include "processing/peaks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <optional>

#include "processing/arrays.h"
#include "processing/tops.h"

namespace tervalon::processing {
namespace {

constexpr double kReach = 0.002;      // of the height: what is left of a flank at a peak's ends
constexpr double kTrusted = 0.1;      // of the height: down to there a flank is followed,
constexpr double kNoises = 2;         // but only as far as it is so many times the noise,
constexpr double kUpper = 0.5;        // from here
constexpr double kLowest = 0.45;      // and to here in any case
constexpr double kDeepValley = 0.25;  // or to a valley that is no higher
constexpr double kHalfWidths = 10;    // from the apex, where the ground is looked for

// A peak's place in the trace.
struct Found {
  size_t apex;
  size_t start;
  size_t end;
  int32_t group;
  int32_t baseline = PRC_BASELINE_DROPPED;
  Line line = {};
  double riders_area = 0;  // of those that stand on it
};

enum class Side : int8_t { kBefore = -1, kBehind = 1 };

size_t Next(size_t point, Side side) { return side == Side::kBehind ? point + 1 : point - 1; }

// The time at which the trace comes down to a level above the line, going from the apex as far as
// `last`.
std::optional<double> Crossing(const Trace& trace, const Line& line, double level, size_t apex,
                               size_t last, Side side) {
  const auto above = [&](size_t i) { return trace.smoothed[i] - line.At(trace.times[i]) - level; };
  for (size_t i = apex; i != last;) {
    const size_t inner = i;
    i = Next(i, side);
    const double outside = above(i);
    if (outside > 0) continue;
    const double inside = above(inner);
    const double part = inside > 0 ? inside / (inside - outside) : 0;
    return trace.times[inner] + part * (static_cast<double>(trace.times[i]) - trace.times[inner]);
  }
  return std::nullopt;
}

// The natural logarithm, the same on every platform: those of their libraries differ in last bits.
double Logarithm(double value) {
  constexpr double kLogarithmOfTwo = 0.693147180559945309417;
  int exponent = 0;
  const double mantissa = std::frexp(value, &exponent);  // 0.5..1
  const double ratio = (mantissa - 0.75) / (mantissa + 0.75);
  double sum = 0;
  for (int n = 23; n > 0; n -= 2) sum = sum * ratio * ratio + 1.0 / n;
  constexpr double kLogarithmOfThreeQuarters = -0.287682072451780927439;
  return 2 * ratio * sum + kLogarithmOfThreeQuarters + exponent * kLogarithmOfTwo;
}

// The first point at or behind a time.
size_t PointAt(const Trace& trace, double time) {
  const auto at = std::partition_point(trace.times, trace.times + trace.count,
                                       [time](float t) { return t < time; });
  return std::min(static_cast<size_t>(at - trace.times), trace.count - 1);
}

// A side of a peak.
struct Flank {
  size_t last;         // as far as it is looked at
  bool meets = false;  // there is the lowest point towards another peak
  double lowest = 0;   // of the points up to there
};

// Looks some half widths away from the apex: farther away another baseline may be.
Flank FlankOf(const Trace& trace, const Top& top, bool has_neighbour, Side side) {
  const size_t bound = side == Side::kBehind ? top.last : top.first;
  const double height = trace.smoothed[top.at] - top.base;
  const auto half = Crossing(trace, {0, top.base, 0}, height / 2, top.at, bound, side);
  const double apex = trace.times[top.at];
  size_t last = bound;
  if (half) {
    const size_t far = PointAt(trace, apex + kHalfWidths * (*half - apex));
    last = side == Side::kBehind ? std::clamp(far, top.at + 1, bound)
                                 : std::clamp(far, bound, top.at - 1);
  }
  const auto [first, end] = std::minmax(top.at, last);
  const float lowest = *std::min_element(trace.smoothed + first, trace.smoothed + end + 1);
  return {last, has_neighbour && last == bound, lowest};
}

// Where a flank has come down to kReach of the height. Nothing where it does not come down far
// enough before it meets another peak.
std::optional<size_t> ReachOf(const Trace& trace, const Top& top, const Flank& flank,
                              const Flank& other, Side side) {
  const double base = flank.meets ? std::min(flank.lowest, other.lowest) : flank.lowest;
  const double height = trace.smoothed[top.at] - base;
  double lower = std::clamp(kNoises * trace.noise / height, kTrusted, kLowest);
  const Line line = {0, base, 0};
  const auto upper_time = Crossing(trace, line, kUpper * height, top.at, flank.last, side);
  auto lower_time = Crossing(trace, line, lower * height, top.at, flank.last, side);
  if (!lower_time && flank.lowest - base <= kDeepValley * height) {
    lower = (flank.lowest - base) / height;
    lower_time = trace.times[flank.last];
  }
  if (!upper_time || !lower_time) return std::nullopt;
  const double a_fold = (*lower_time - *upper_time) / Logarithm(kUpper / lower);
  const size_t reach = PointAt(trace, *lower_time + a_fold * Logarithm(lower / kReach));
  return side == Side::kBehind ? std::max(reach, top.at + 1) : std::min(reach, top.at - 1);
}

// Peaks that overlap, by their places in the list, and the points that they reach.
struct Group {
  size_t first_peak;
  size_t start;
  size_t end;
  bool meets_next;
};

// A peak that is added to groups in front of it.
void AddToGroups(size_t peak, const Trace& trace, const std::vector<Top>& tops,
                 std::vector<Group>* groups) {
  const Top& top = tops[peak];
  const Flank before = FlankOf(trace, top, peak > 0, Side::kBefore);
  const Flank behind = FlankOf(trace, top, peak + 1 < tops.size(), Side::kBehind);
  const auto start = ReachOf(trace, top, before, behind, Side::kBefore);
  const auto end = ReachOf(trace, top, behind, before, Side::kBehind);
  Group group = {peak, start.value_or(top.first), end.value_or(top.last), !end};
  bool joins = !start;
  while (!groups->empty() &&
         (joins || groups->back().meets_next || groups->back().end > group.start)) {
    const Group& last = groups->back();
    group.first_peak = last.first_peak;
    group.start = std::min(group.start, last.start);
    group.end = std::max(group.end, last.end);
    groups->pop_back();
    joins = false;
  }
  groups->push_back(group);
}

std::vector<Found> Place(const Trace& trace, const std::vector<Top>& tops) {
  std::vector<Group> groups;
  for (size_t i = 0; i < tops.size(); ++i) AddToGroups(i, trace, tops, &groups);
  std::vector<Found> peaks;
  for (size_t g = 0; g < groups.size(); ++g) {
    const size_t end = g + 1 < groups.size() ? groups[g + 1].first_peak : tops.size();
    for (size_t i = groups[g].first_peak; i < end; ++i) {
      peaks.push_back({tops[i].at, i == groups[g].first_peak ? groups[g].start : tops[i].first,
                       i + 1 == end ? groups[g].end : tops[i].last, static_cast<int32_t>(g)});
    }
  }
  return peaks;
}

struct Mean {
  double time;
  double intensity;
};

Mean MeanOf(const Trace& trace, size_t first, size_t last) {
  const auto count = static_cast<double>(last - first + 1);
  return {std::accumulate(trace.times + first, trace.times + last + 1, 0.0) / count,
          std::accumulate(trace.intensities + first, trace.intensities + last + 1, 0.0) / count};
}

// The line below points start .. end, which are those of a group; other groups are not nearer than
// the points `first` and `last`.
Line LineBelow(const Trace& trace, size_t start, size_t end, size_t first, size_t last) {
  const double half = (static_cast<double>(trace.times[end]) - trace.times[start]) / 2;
  first = std::max(first, PointAt(trace, trace.times[start] - half));
  const double until = trace.times[end] + half;
  size_t behind = PointAt(trace, until);
  if (trace.times[behind] > until) --behind;
  last = std::min(last, behind);
  const Mean a = MeanOf(trace, first, start);
  const Mean b = MeanOf(trace, end, last);
  return {a.time, a.intensity, (b.intensity - a.intensity) / (b.time - a.time)};
}

Line LineBetween(const Trace& trace, size_t a, size_t b) {
  const double run = static_cast<double>(trace.times[b]) - trace.times[a];
  const double rise = static_cast<double>(trace.smoothed[b]) - trace.smoothed[a];
  return {trace.times[a], trace.smoothed[a], rise / run};
}

double AreaAbove(const Trace& trace, const Line& line, size_t start, size_t end) {
  double twice = 0;
  const auto above = [&](size_t i) { return trace.intensities[i] - line.At(trace.times[i]); };
  double before = above(start);
  for (size_t i = start + 1; i <= end; ++i) {
    const double here = above(i);
    twice += (before + here) * (static_cast<double>(trace.times[i]) - trace.times[i - 1]);
    before = here;
  }
  return twice / 2;
}

using Peaks = std::vector<Found>;

// Each peak of the group on a line of its own, between the valleys.
void StandOnValleys(const Trace& trace, Peaks::iterator begin, Peaks::iterator end) {
  const Line below = begin->line;
  for (auto peak = begin; peak != end; ++peak) {
    const auto level = [&](size_t point, bool outside) {
      return outside ? below.At(trace.times[point]) : trace.smoothed[point];
    };
    const double from = level(peak->start, peak == begin);
    const double to = level(peak->end, std::next(peak) == end);
    const double start = trace.times[peak->start];
    peak->line = {start, from, (to - from) / (trace.times[peak->end] - start)};
    peak->baseline = PRC_BASELINE_VALLEYS;
  }
}

// Puts a peak on the tangent from the valley between it and a larger one.
void Ride(const Trace& trace, Side side, Found* rider, Found* large) {
  const size_t valley = side == Side::kBehind ? rider->start : rider->end;
  const size_t last = side == Side::kBehind ? rider->end : rider->start;
  size_t touched = last;
  double least = HUGE_VAL;
  for (size_t i = rider->apex; i != last;) {
    i = Next(i, side);
    const double slope = (static_cast<double>(trace.smoothed[i]) - trace.smoothed[valley]) /
                         std::abs(static_cast<double>(trace.times[i]) - trace.times[valley]);
    if (slope > least) continue;
    least = slope;
    touched = i;
  }
  if (side == Side::kBehind) {
    rider->end = touched;
    large->end = last;
  } else {
    rider->start = touched;
    large->start = last;
  }
  rider->line = LineBetween(trace, rider->start, rider->end);
  rider->baseline = PRC_BASELINE_TANGENT;
  large->riders_area += AreaAbove(trace, rider->line, rider->start, rider->end);
}

// From the group's highest peak outwards, small peaks ride on the large one before them.
void FindRiders(const Trace& trace, double share, Peaks::iterator begin, Peaks::iterator end) {
  const auto height = [&trace](const Found& peak) {
    return trace.smoothed[peak.apex] - peak.line.At(trace.times[peak.apex]);
  };
  const auto highest = std::max_element(
      begin, end, [&](const Found& a, const Found& b) { return height(a) < height(b); });
  const auto go = [&](auto first, auto last, Side side) {
    auto large = first;
    for (auto peak = std::next(first); peak != last; ++peak) {
      if (height(*peak) < share * height(*large)) {
        Ride(trace, side, &*peak, &*large);
      } else {
        large = peak;
      }
    }
  };
  go(highest, end, Side::kBehind);
  go(std::make_reverse_iterator(std::next(highest)), std::make_reverse_iterator(begin),
     Side::kBefore);
}

void FindBaselines(const Trace& trace, int32_t kind, double rider, Peaks* peaks) {
  size_t first = 0;  // behind the group before
  for (auto begin = peaks->begin(); begin != peaks->end();) {
    const auto end = std::find_if(begin, peaks->end(),
                                  [&](const Found& peak) { return peak.group != begin->group; });
    const size_t group_end = std::prev(end)->end;
    const size_t last = end != peaks->end() ? end->start : trace.count - 1;
    const Line line = LineBelow(trace, begin->start, group_end, first, last);
    std::for_each(begin, end, [&line](Found& peak) { peak.line = line; });
    if (std::next(begin) != end && kind == PRC_BASELINE_VALLEYS) StandOnValleys(trace, begin, end);
    if (std::next(begin) != end && kind == PRC_BASELINE_TANGENT) {
      FindRiders(trace, rider, begin, end);
    }
    first = group_end;
    begin = end;
  }
}

struct Apex {
  double time;
  double intensity;
};

// That of the parabola through the highest point and its neighbours.
Apex ApexOf(const Trace& trace, size_t at) {
  const double t0 = trace.times[at - 1];
  const double t1 = trace.times[at];
  const double t2 = trace.times[at + 1];
  const double y0 = trace.smoothed[at - 1];
  const double y1 = trace.smoothed[at];
  const double y2 = trace.smoothed[at + 1];
  const double slope = (y1 - y0) / (t1 - t0);
  const double bend = ((y2 - y1) / (t2 - t1) - slope) / (t2 - t0);
  if (!(bend < 0)) return {t1, y1};
  const double time = std::clamp((t0 + t1) / 2 - slope / (2 * bend), t0, t2);
  return {time, y0 + slope * (time - t0) + bend * (time - t0) * (time - t1)};
}

PrcPeak Measure(const Trace& trace, const Found& found) {
  const Apex apex = ApexOf(trace, found.apex);
  const Line& line = found.line;
  const double height = apex.intensity - line.At(apex.time);
  PrcPeak peak = {};
  peak.area = AreaAbove(trace, line, found.start, found.end) - found.riders_area;
  peak.start = static_cast<int32_t>(found.start) + 1;
  peak.apex = static_cast<int32_t>(found.apex) + 1;
  peak.end = static_cast<int32_t>(found.end) + 1;
  peak.group = found.group + 1;
  peak.baseline = found.baseline;
  peak.start_time = trace.times[found.start];
  peak.time = ToFloat(apex.time);
  peak.end_time = trace.times[found.end];
  peak.start_intensity = ToFloat(line.At(trace.times[found.start]));
  peak.end_intensity = ToFloat(line.At(trace.times[found.end]));
  peak.height = ToFloat(height);
  const auto crossing = [&](double share, Side side) {
    return Crossing(trace, line, share * height, found.apex,
                    side == Side::kBefore ? found.start : found.end, side);
  };
  const auto before = crossing(0.5, Side::kBefore);
  const auto behind = crossing(0.5, Side::kBehind);
  if (before && behind) peak.width = ToFloat(*behind - *before);
  const auto front = crossing(0.1, Side::kBefore);
  const auto tail = crossing(0.1, Side::kBehind);
  if (front && tail && *front < apex.time && apex.time < *tail) {
    peak.asymmetry = ToFloat((*tail - apex.time) / (apex.time - *front));
  }
  if (trace.noise > 0) peak.signal_to_noise = ToFloat(height / trace.noise);
  return peak;
}

}  // namespace

std::vector<PrcPeak> FindPeaks(const Trace& trace, const PeakRules& rules) {
  TopRules tops;
  tops.least_rise = rules.least_rise;
  Peaks found = Place(trace, FindTops(trace.smoothed, trace.count, tops));
  FindBaselines(trace, rules.baseline, rules.rider, &found);
  std::vector<PrcPeak> peaks;
  for (const Found& peak : found) {
    peaks.push_back(Measure(trace, peak));
    if (!(peaks.back().height > 0)) peaks.pop_back();  // below its baseline
  }
  return peaks;
}

}  // namespace tervalon::processing
