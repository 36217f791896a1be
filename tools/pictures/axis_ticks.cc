#include "tools/pictures/axis_ticks.h"

#include <tervalon/axes.h>
#include <tervalon/number_format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tervalon::tools {
namespace {

constexpr int kDivisions = 5;  // of a step: no short tick stands in the middle, to be a long one
constexpr int kMostDecimals = 4;
constexpr int kFewestTicks = 3;

std::string Fixed(double value, int decimals) {
  char text[48];
  const std::string label = ftoa(value, text, decimals);
  return label.find_first_not_of("-0.") == std::string::npos && label[0] == '-' ? label.substr(1)
                                                                                : label;
}

// 1, 2 or 5 times a power of ten, not below.
double RoundStep(double least) {
  const double power = std::pow(10, std::floor(std::log10(least) - 1e-6));
  for (const double step : {1.0, 2.0, 5.0}) {
    if (step * power >= least * (1 - 1e-6)) {
      return step * power;
    }
  }
  return 10 * power;
}

// That a multiple of the step needs.
int DecimalsOf(double step) {
  int decimals = 0;
  for (double rest = step; decimals < 9 && std::abs(rest - std::round(rest)) > 1e-6 * rest;) {
    rest = step * std::pow(10, ++decimals);
  }
  return decimals;
}

std::vector<Tick> LinearTicks(double low, double high, double step, int decimals) {
  std::vector<Tick> ticks;
  const double minor = step / kDivisions;
  const double first = std::ceil(low / minor - 1e-4);
  const double last = std::floor(high / minor + 1e-4);
  for (double i = first; i <= last && ticks.size() < 10000; ++i) {
    const bool is_long = std::fmod(std::abs(i), kDivisions) == 0;
    ticks.push_back({i * minor, is_long ? Fixed(i * minor, decimals) : ""});
  }
  return ticks;
}

std::string Label(double value, const YUnit& unit, int decimals) {
  const double shown = (unit.mirrored ? std::abs(value) : value) / std::pow(10, unit.exponent);
  return Fixed(shown, decimals);
}

// As few digits as name a number of one digit, which stands beside others up to `top`.
std::string ShortLabel(double value, double top) {
  if (value != 0 && (top >= 1e5 || std::abs(value) < 1e-3)) {
    char text[48];
    std::string exponential = etoa(value, text, 0);
    std::erase(exponential, '.');
    return exponential;
  }
  return Fixed(value, DecimalsOf(std::abs(value) > 0 ? std::abs(value) : 1));
}

// Round values in the order in which they deserve a label: decades, then what is between.
std::vector<double> RoundValues(double low, double high) {
  std::vector<double> values;
  const double top = std::max(std::abs(low), std::abs(high));
  if (low <= 0 && high >= 0) {
    values.push_back(0);
  }
  const int first = static_cast<int>(std::floor(std::log10(std::max(top, 1e-30)))) + 1;
  for (const double digit : {1.0, 5.0, 2.0, 3.0, 4.0}) {
    for (int power = first; power > first - 13; --power) {
      const double value = digit * std::pow(10, power);
      values.push_back(value);
      values.push_back(-value);
    }
  }
  return values;
}

}  // namespace

float OnScale(YScale scale, float value) {
  if (scale == YScale::kSqrt) {
    return value < 0 ? -std::sqrt(-value) : std::sqrt(value);
  }
  return scale == YScale::kLinear ? value
         : value > 0              ? std::log10(value)
                                  : std::numeric_limits<float>::lowest();
}

std::vector<Tick> XTicks(int32_t axes, const Window& range, const TextMeasure& measure,
                         int* decimals) {
  AxsTickInfo info = {};
  int32_t count = 0;
  for (*decimals = 0; *decimals <= kMostDecimals; ++*decimals) {
    const int32_t label = std::max(measure.Width(Fixed(range.low, *decimals)),
                                   measure.Width(Fixed(range.high, *decimals)));
    count =
        AxsAxisAnnInfo(axes, *decimals, label + label / 2 + measure.Width("0"), &info, AXS_X_AXIS);
    if (count >= kFewestTicks) {
      break;
    }
  }
  *decimals = std::min(*decimals, kMostDecimals);
  if (count >= 2 && info.step > 0) {
    return LinearTicks(range.low, range.high, info.step, *decimals);
  }
  const double step = RoundStep((double{range.high} - range.low) / kFewestTicks);
  *decimals = DecimalsOf(step);
  return LinearTicks(range.low, range.high, step, *decimals);
}

float RoundEnd(float end, float other, int32_t most_ticks) {
  const double distance = std::abs(double{end} - other);
  if (!(distance > 0)) {
    return end;
  }
  const double step = RoundStep(distance / std::max(most_ticks, 1));
  const double steps = double{end} / step;
  return static_cast<float>(step *
                            (end > other ? std::ceil(steps - 1e-6) : std::floor(steps + 1e-6)));
}

std::vector<Tick> YTicks(YScale scale, const Window& range, const YUnit& unit,
                         int32_t most_labels) {
  if (scale == YScale::kLinear) {
    const double low = range.low / unit.unit;
    const double high = range.high / unit.unit;
    double step = RoundStep((high - low) / std::max(most_labels, 1));
    if (unit.percent && high - low > 99 && step < 20) {
      step = 20;
    }
    const int decimals = std::min(DecimalsOf(step / std::pow(10, unit.exponent)), 6);
    std::vector<Tick> ticks = LinearTicks(low, high, step, 0);
    for (Tick& tick : ticks) {
      tick.label = tick.label.empty() ? "" : Label(tick.position, unit, decimals);
      tick.position *= unit.unit;
    }
    return ticks;
  }
  std::vector<Tick> ticks;
  const double least = (double{range.high} - range.low) / std::max(most_labels, 1);
  const auto lowest = scale == YScale::kLog ? std::pow(10, range.low)
                                            : -double{range.low} * range.low * (range.low < 0);
  const auto highest =
      scale == YScale::kLog ? std::pow(10, range.high) : double{range.high} * range.high;
  for (const double value : RoundValues(lowest / unit.unit, highest / unit.unit)) {
    const double position = OnScale(scale, static_cast<float>(value * unit.unit));
    const bool inside =
        position >= range.low - least / 1000 && position <= range.high + least / 1000;
    const bool has_room = std::ranges::none_of(
        ticks, [&](const Tick& tick) { return std::abs(tick.position - position) < least; });
    if (inside && has_room) {
      ticks.push_back(
          {position, ShortLabel(unit.mirrored ? std::abs(value) : value, highest / unit.unit)});
    }
  }
  if (scale == YScale::kLog) {
    const int first = static_cast<int>(std::floor(std::log10(lowest / unit.unit)));
    const int last = static_cast<int>(std::floor(std::log10(highest / unit.unit) + 1e-6));
    for (int power = first; power <= last; ++power) {
      for (int digit = 1; digit < 10; ++digit) {
        const double position = std::log10(std::pow(10, power) * digit * unit.unit);
        if (position >= range.low && position <= range.high) {
          ticks.push_back({position, ""});
        }
      }
    }
  }
  return ticks;
}

int CommonExponent(double highest) {
  if (!(highest > 0) || !std::isfinite(highest) || (highest >= 0.01 && highest < 1e4)) {
    return 0;
  }
  return static_cast<int>(std::floor(std::log10(highest) / 3)) * 3;
}

std::string ExponentText(int exponent) {
  return exponent == 0 ? "" : "x 1e" + std::to_string(exponent);
}

}  // namespace tervalon::tools
