#include "plot/tick_marks.h"

#include <algorithm>
#include <cmath>

namespace tervalon::plot {
namespace {

// Values looked at, drawn or not: ticks far outside the range do not keep anybody waiting.
constexpr int32_t kMaxVisits = 100000;

bool HasSteps(const AxsTickInfo& info) {
  return std::isfinite(info.first) && std::isfinite(info.last) && std::isfinite(info.step) &&
         info.step > 0.0F;
}

// Positions are floats in the end: an increment that moves none would put ticks over each other.
bool Moves(double value, double increment) {
  return static_cast<float>(value + increment) != static_cast<float>(value);
}

bool IsLong(int64_t division, int32_t divisions) {
  return division == 0 || 2 * division == divisions;
}

// Collects ticks until there are too many.
class TickCollector {
 public:
  explicit TickCollector(const AxsTickInfo& info) : info_(info) {}

  bool full() const { return visits_ >= kMaxVisits || ticks_.size() >= kMaxTicks; }

  // Visits a major value and the divisions of the step that follows it (in the direction of
  // `step`): skips those before `from`, ends behind `to`, and calls `add` with the others.
  template <typename Add>
  void VisitStep(double major, double step, double from, double to, const Add& add) {
    const double direction = step < 0.0 ? -1.0 : 1.0;
    ++visits_;
    for (int32_t n = 0; n < info_.divisions && !full(); ++n, ++visits_) {
      const double value = major + n * (step / info_.divisions);
      if (direction * value < direction * from - kRangeTolerance) continue;
      if (direction * value > direction * to + kRangeTolerance) return;
      add(value, IsLong(n, info_.divisions));
    }
  }

  void Add(int32_t row, double value, bool is_long) {
    if (ticks_.size() < kMaxTicks) ticks_.push_back({row, value, is_long});
  }

  std::vector<TickMark> Take() { return std::move(ticks_); }

 private:
  AxsTickInfo info_;
  int32_t visits_ = 0;
  std::vector<TickMark> ticks_;
};

}  // namespace

std::vector<TickMark> XTicks(const Axes& axes, const AxsTickInfo& info) {
  TickCollector ticks(info);
  if (!HasSteps(info)) return {};
  const double step = info.step;
  double value = info.first - step;
  for (int32_t row = 0; row < axes.system.row_count && !ticks.full();) {
    const AxsRowRange& range = axes.RowRange(row);
    ticks.VisitStep(value, step, range.from, range.to,
                    [&](double tick, bool is_long) { ticks.Add(row, tick, is_long); });
    const double next = value + step;
    if (next > range.to + kRangeTolerance) {
      ++row;  // whose first ticks may belong to the same step
    } else if (!Moves(value, step)) {
      break;
    } else {
      value = next;
    }
  }
  return ticks.Take();
}

std::vector<TickMark> YTicks(const Axes& axes, const AxsTickInfo& info) {
  TickCollector ticks(info);
  if (!HasSteps(info)) return {};
  const AxsRange& range = axes.system.y;
  const double step = info.step;
  double value = info.last + step;
  while (value >= range.low - kRangeTolerance && !ticks.full()) {
    ticks.VisitStep(value, -step, range.high, range.low, [&](double tick, bool is_long) {
      for (int32_t row = 0; row < axes.system.row_count; ++row) ticks.Add(row, tick, is_long);
    });
    if (!Moves(value, -step)) break;
    value -= step;
  }
  return ticks.Take();
}

std::vector<double> XLabelValues(const AxsTickInfo& info) {
  std::vector<double> values;
  if (!HasSteps(info)) return values;
  double value = info.first;
  while (value <= info.last + kRangeTolerance && values.size() < kMaxTicks) {
    values.push_back(value);
    if (!Moves(value, info.step)) break;
    value += info.step;
  }
  return values;
}

std::vector<double> YLabelValues(const AxsTickInfo& info) {
  constexpr double kLeastIncrement = 0.0001;
  std::vector<double> values;
  if (!std::isfinite(info.first) || !std::isfinite(info.last)) return values;
  const double increment = std::max(double{info.last} - info.first, kLeastIncrement);
  double value = info.first;
  while (value <= info.last + kRangeTolerance) {
    values.push_back(value);
    if (!Moves(value, increment)) break;
    value += increment;
  }
  return values;
}

}  // namespace tervalon::plot
