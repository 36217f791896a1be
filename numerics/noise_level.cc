// Noise of an array of values.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
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

// Quantiles of a series, as a search defines them that starts from an estimate between the extremes
// and goes on to the mean of the terms on the side where the quantile lies: it ends on the term of
// that rank, or half way between the two next to it. Selecting these costs the same whatever the
// values, where means creep towards a quantile far from outliers. All are not-a-numbers where a
// term is.
class Quantiles {
 public:
  explicit Quantiles(std::vector<double> terms)
      : terms_(std::move(terms)), low_(terms_[0]), high_(terms_[0]) {
    for (const double term : terms_) {
      low_ = term < low_ ? term : low_;
      high_ = term > high_ ? term : high_;
      if (std::isnan(term)) ordered_ = false;
    }
  }

  // To be asked for ascending `p`.
  double At(double p) {
    if (!ordered_) return std::numeric_limits<double>::quiet_NaN();
    const double estimate = p * high_ + (1 - p) * low_;
    if (!(estimate > low_ && estimate < high_)) return estimate;
    const double rank = static_cast<double>(terms_.size()) * p + 0.5;
    const size_t below = static_cast<size_t>(std::ceil(rank)) - 1;
    const size_t above = terms_.size() - static_cast<size_t>(std::floor(rank));
    const auto begin = terms_.begin();
    const auto upper = begin + static_cast<ptrdiff_t>(below);
    std::nth_element(begin + static_cast<ptrdiff_t>(selected_), upper, terms_.end());
    selected_ = below;
    if (below + above < terms_.size()) return *upper;
    return (*upper + *std::max_element(begin, upper)) / 2;
  }

 private:
  std::vector<double> terms_;
  double low_;
  double high_;
  bool ordered_ = true;
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
