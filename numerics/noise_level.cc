#include "numerics/noise_level.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "tervalon/noise_statistics.h"

namespace tervalon::numerics {
namespace {

constexpr int32_t kMaxOrder = 20;
constexpr int32_t kShortOrder = 2;
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

// A quantile of a series, as a search defines it that starts from an estimate between the extremes
// and goes on to the mean of the terms on the side where the quantile lies: it ends on the term of
// that rank, or half way between the two next to it. Selecting these costs the same whatever the
// values, where means creep towards a quantile far from outliers. `term_at(rank)` counts from 0;
// what it is asked for never falls below an earlier rank by more than one.
template <typename TermAt>
double Quantile(double p, size_t count, double low, double high, TermAt term_at) {
  const double estimate = p * high + (1 - p) * low;
  if (!(estimate > low && estimate < high)) return estimate;
  const double rank = static_cast<double>(count) * p + 0.5;
  const size_t below = static_cast<size_t>(std::ceil(rank)) - 1;
  const size_t above = count - static_cast<size_t>(std::floor(rank));
  const double upper = term_at(below);
  return below + above < count ? upper : (upper + term_at(below - 1)) / 2;
}

// Quantiles of a series; all are not-a-numbers where a term is.
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
    return Quantile(p, terms_.size(), low_, high_, [this](size_t rank) { return Select(rank); });
  }

 private:
  double Select(size_t rank) {
    const auto begin = terms_.begin();
    const auto at = begin + static_cast<ptrdiff_t>(rank);
    if (rank < selected_) return *std::max_element(begin, at + 1);
    std::nth_element(begin + static_cast<ptrdiff_t>(selected_), at, terms_.end());
    selected_ = rank;
    return *at;
  }

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

// --- Short runs, a column each: sorted by a network of comparisons that no value changes

constexpr size_t kTerms = kShortRun - kShortOrder;
using Columns = std::array<std::array<double, kShortRuns>, kTerms>;

struct Comparison {
  uint8_t lower;
  uint8_t higher;
};

// Calls `take` for each comparison of K. E. Batcher's odd-even merge sort (AFIPS 32 (1968) 307).
template <typename Take>
constexpr void ForEachComparison(Take take) {
  for (size_t p = 1; p < kShortRun; p *= 2) {
    for (size_t k = p; k >= 1; k /= 2) {
      for (size_t j = k % p; j + k < kShortRun; j += 2 * k) {
        for (size_t i = j; i < j + k && i + k < kTerms; ++i) {
          if (i / (2 * p) == (i + k) / (2 * p)) take(i, i + k);
        }
      }
    }
  }
}

constexpr size_t kComparisons = [] {
  size_t count = 0;
  ForEachComparison([&](size_t, size_t) { ++count; });
  return count;
}();

constexpr auto kNetwork = [] {
  std::array<Comparison, kComparisons> network = {};
  size_t count = 0;
  ForEachComparison([&](size_t lower, size_t higher) {
    network[count++] = {static_cast<uint8_t>(lower), static_cast<uint8_t>(higher)};
  });
  return network;
}();

void Sort(Columns* columns) {
  for (const Comparison& comparison : kNetwork) {
    double* const lower = (*columns)[comparison.lower].data();
    double* const higher = (*columns)[comparison.higher].data();
    for (size_t i = 0; i < kShortRuns; i += 2) {
      const __m128d a = _mm_loadu_pd(lower + i);
      const __m128d b = _mm_loadu_pd(higher + i);
      _mm_storeu_pd(lower + i, _mm_min_pd(a, b));
      _mm_storeu_pd(higher + i, _mm_max_pd(a, b));
    }
  }
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

std::array<float, kShortRuns> ShortNoiseLevels(const std::array<const float*, kShortRuns>& runs) {
  Columns columns;
  for (size_t i = 0; i < kTerms; ++i) {
    for (size_t run = 0; run < kShortRuns; ++run) {
      const float* const at = runs[run] + i;
      columns[i][run] = (double{at[2]} - at[1]) - (double{at[1]} - at[0]);
    }
  }
  Sort(&columns);
  std::array<float, kShortRuns> levels;
  for (size_t run = 0; run < kShortRuns; ++run) {
    const auto quantile = [&](double p) {
      return Quantile(p, kTerms, columns.front()[run], columns.back()[run],
                      [&](size_t rank) { return columns[rank][run]; });
    };
    const double low = quantile(kLowQuantile);
    levels[run] =
        static_cast<float>((quantile(kHighQuantile) - low) / SpreadOfDifferences(kShortOrder));
  }
  return levels;
}

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
