// Noise of an array of values.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "tervalon/noise_statistics.h"

namespace tervalon::numerics {
namespace {

constexpr int32_t kMaxOrder = 20;
constexpr double kLowQuantile = 0.3085;   // of a normal distribution, half a standard
constexpr double kHighQuantile = 0.6915;  // deviation below and above its mean

std::vector<double> Differences(const float* values, size_t n, size_t order) {
  std::vector<double> terms(values, values + n);
  for (size_t k = 0; k < order; ++k) {
    for (size_t i = 0; i + 1 < terms.size(); ++i) terms[i] = terms[i + 1] - terms[i];
    terms.pop_back();
  }
  return terms;
}

// How far differences of that order spread independent values.
double SpreadOfDifferences(int32_t order) {
  double binomial = 1;
  double sum = 1;
  for (int32_t k = 1; k <= order; ++k) {
    binomial = binomial * (order - k + 1) / k;
    sum += binomial * binomial;
  }
  return std::sqrt(sum);
}

// Quantiles of a series, as a search defines them: from an estimate between the extremes it goes on
// to the mean of the terms on the side where the quantile lies, until there are as many terms on
// both sides as there should be.
class Quantiles {
 public:
  explicit Quantiles(std::vector<double> terms)
      : terms_(std::move(terms)), low_(terms_[0]), high_(terms_[0]) {
    for (const double term : terms_) {
      low_ = term < low_ ? term : low_;
      high_ = term > high_ ? term : high_;
      comparable_ &= !std::isnan(term);
    }
  }

  // To be asked for ascending `p`.
  double At(double p) {
    const double estimate = p * high_ + (1 - p) * low_;
    if (estimate <= low_ || estimate >= high_) return estimate;
    const double rank = static_cast<double>(terms_.size()) * p + 0.5;
    const size_t below = static_cast<size_t>(std::ceil(rank)) - 1;
    const size_t above = terms_.size() - static_cast<size_t>(std::floor(rank));
    return comparable_ && !std::isnan(estimate) ? Select(below, above)
                                                : Search(estimate, below, above);
  }

 private:
  // Where the search ends when terms have an order: on the term of that rank, or half way between
  // the two next to it. Selecting costs the same whatever the values, where means creep towards a
  // quantile far from outliers.
  double Select(size_t below, size_t above) {
    const auto begin = terms_.begin();
    const auto upper = begin + static_cast<ptrdiff_t>(below);
    std::nth_element(begin + static_cast<ptrdiff_t>(selected_), upper, terms_.end());
    selected_ = below;
    if (below + above < terms_.size()) return *upper;
    return (*upper + *std::max_element(begin, upper)) / 2;
  }

  double Search(double estimate, size_t below, size_t above) const {
    double low = low_;
    double high = high_;
    while (!(estimate <= low || estimate >= high)) {
      Side lower = {low};
      Side upper = {high};
      for (const double term : terms_) {
        if (term < low || term > high) continue;
        if (term >= estimate) upper.Add(term, std::min(upper.nearest, term));
        if (term < estimate) lower.Add(term, std::max(lower.nearest, term));
      }
      if (upper.count > above) {
        below -= std::min(below, lower.count);
        low = upper.nearest;
        estimate = std::max(upper.Mean(), low);
      } else if (lower.count > below) {
        above -= upper.count;
        high = lower.nearest;
        estimate = std::min(lower.Mean(), high);
      } else {
        const double middle = (upper.nearest + lower.nearest) / 2;
        return std::max(std::min(middle, upper.nearest), lower.nearest);
      }
    }
    return estimate;
  }

  // The terms on one side of the estimate.
  struct Side {
    double nearest;
    size_t count = 0;
    double sum = 0;

    void Add(double term, double new_nearest) {
      nearest = new_nearest;
      sum += term;
      ++count;
    }
    double Mean() const { return sum / static_cast<double>(count); }
  };

  std::vector<double> terms_;
  double low_;
  double high_;
  bool comparable_ = true;
  size_t selected_ = 0;  // terms in front of it are not above those behind
};

double NoiseLevel(const float* values, size_t n, int32_t order) {
  Quantiles quantiles(Differences(values, n, static_cast<size_t>(order)));
  const double low = quantiles.At(kLowQuantile);
  return (quantiles.At(kHighQuantile) - low) / SpreadOfDifferences(order);
}

constexpr double kLeastThreshold = 2500;

double MassThreshold(const float* values, size_t n) {
  const auto count = static_cast<double>(n);
  const double mean = std::accumulate(values, values + n, 0.0) / count;
  const double squares = std::accumulate(values, values + n, 0.0, [mean](double sum, double value) {
    return sum + (value - mean) * (value - mean);
  });
  const double deviation = n > 1 ? std::sqrt(squares / (count - 1)) : 0;
  const double threshold = mean + 4 * deviation;
  return threshold < kLeastThreshold ? kLeastThreshold : threshold;
}

}  // namespace
}  // namespace tervalon::numerics

using tervalon::Guarded;
namespace numerics = tervalon::numerics;

extern "C" int32_t TERVALON_CALL ChroStatCalcNoiseLevel(const float* values, int32_t n,
                                                        int32_t order, float* noise) {
  if (values == nullptr || order < 0 || noise == nullptr) return 0;
  order = std::min(order, numerics::kMaxOrder);
  if (n <= order) return 0;
  return Guarded(0, [=] {
    *noise = static_cast<float>(numerics::NoiseLevel(values, static_cast<size_t>(n), order));
    return 1;
  });
}

extern "C" int32_t TERVALON_CALL CalcMassChroNoiseLevel(const float* values, int32_t n,
                                                        float* noise) {
  if (values == nullptr || n < 1 || noise == nullptr) return 0;
  *noise = static_cast<float>(numerics::MassThreshold(values, static_cast<size_t>(n)));
  return 1;
}
