#include "numerics/noise_level.h"

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <optional>
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

// A series of differences of that order, made anew for every pass over them.
class Series {
 public:
  Series(const float* values, size_t n, size_t order)
      : values_(values), order_(order), size_(n - order) {}

  size_t size() const { return size_; }

  // Calls `take` with all terms, some at a time.
  template <typename Take>
  void ForEachPart(Take take) const {
    std::array<double, kPart + kMaxOrder> terms;
    for (size_t begin = 0; begin < size_; begin += kPart) {
      const size_t count = std::min(kPart, size_ - begin);
      size_t values = count + order_;
      std::copy_n(values_ + begin, values, terms.begin());
      for (size_t k = 0; k < order_; ++k) {
        --values;
        for (size_t i = 0; i < values; ++i) terms[i] = terms[i + 1] - terms[i];
      }
      take(terms.data(), count);
    }
  }

  double At(size_t i) const {
    std::array<double, kMaxOrder + 1> terms;
    std::copy_n(values_ + i, order_ + 1, terms.begin());
    for (size_t left = order_; left > 0; --left) {
      for (size_t k = 0; k < left; ++k) terms[k] = terms[k + 1] - terms[k];
    }
    return terms[0];
  }

  std::vector<double> All() const {
    std::vector<double> all;
    all.reserve(size_);
    ForEachPart(
        [&](const double* terms, size_t count) { all.insert(all.end(), terms, terms + count); });
    return all;
  }

 private:
  static constexpr size_t kPart = 1024;

  const float* const values_;
  const size_t order_;
  const size_t size_;
};

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

struct Extremes {
  explicit Extremes(const Series& series) {
    constexpr size_t kLanes = 8;  // at a time, for vector code
    std::array<double, kLanes> lows;
    std::array<double, kLanes> highs;
    std::array<int64_t, kLanes> unordered = {};
    lows.fill(std::numeric_limits<double>::infinity());
    highs.fill(-lows[0]);
    const auto look_at = [&](double term, size_t lane) {
      lows[lane] = term < lows[lane] ? term : lows[lane];
      highs[lane] = term > highs[lane] ? term : highs[lane];
      unordered[lane] |= term == term ? 0 : 1;
    };
    series.ForEachPart([&](const double* terms, size_t count) {
      size_t i = 0;
      for (; i + kLanes <= count; i += kLanes) {
        for (size_t lane = 0; lane < kLanes; ++lane) look_at(terms[i + lane], lane);
      }
      for (; i < count; ++i) look_at(terms[i], 0);
    });
    low = *std::min_element(lows.begin(), lows.end());
    high = *std::max_element(highs.begin(), highs.end());
    ordered = unordered == std::array<int64_t, kLanes>{};
  }

  double low;
  double high;
  bool ordered;  // no term is a not-a-number
};

// Terms by their ranks, which are to ascend, but for one in front of another.
class Selection {
 public:
  explicit Selection(std::vector<double> terms) : terms_(std::move(terms)) {}

  double At(size_t rank) {
    const auto begin = terms_.begin();
    const auto at = begin + static_cast<ptrdiff_t>(rank);
    if (rank < selected_) return *std::max_element(begin, at + 1);
    std::nth_element(begin + static_cast<ptrdiff_t>(selected_), at, terms_.end());
    selected_ = rank;
    return *at;
  }

 private:
  std::vector<double> terms_;
  size_t selected_ = 0;  // terms in front of it are not above those behind
};

constexpr size_t kMany = 1 << 15;    // terms, of which a sample shows where the quantiles are
constexpr size_t kSample = 1 << 13;  // terms

// The terms about a quantile, between two of a sample: few, among which a rank is soon found.
class Window {
 public:
  Window(std::vector<double>* sample, double p) {
    const auto count = static_cast<double>(sample->size());
    const double middle = p * count;
    const double spread = 4 * std::sqrt(middle * (1 - p));
    const auto at = [&](double rank) {
      const auto term = sample->begin() + static_cast<ptrdiff_t>(rank);
      std::nth_element(sample->begin(), term, sample->end());
      return *term;
    };
    low_ = at(middle - spread);
    high_ = at(middle + spread);
  }

  void Take(const double* terms, size_t count) {
    const double low = low_;
    const double high = high_;
    size_t below = 0;
    size_t size = 0;
    if (low == high) {  // nothing to select from
      for (size_t i = 0; i < count; ++i) {
        below += terms[i] < low ? 1 : 0;
        size += terms[i] == low ? 1 : 0;
      }
      below_ += below;
      size_ += size;
      return;
    }
    if (terms_.size() < size_ + count) terms_.resize(2 * (size_ + count));
    double* const within = terms_.data();
    size = size_;
    for (size_t i = 0; i < count; ++i) {
      const double term = terms[i];
      within[size] = term;
      below += term < low ? 1 : 0;
      size += (term >= low ? 1U : 0U) & (term <= high ? 1U : 0U);
    }
    below_ += below;
    size_ = size;
  }

  bool IsAs(const Window& other) const { return low_ == other.low_ && high_ == other.high_; }
  bool Has(size_t rank) const { return rank >= below_ && rank - below_ < size_; }

  double At(size_t rank) {
    if (low_ == high_) return low_;
    if (!selection_) {
      terms_.resize(size_);
      selection_.emplace(std::move(terms_));
    }
    return selection_->At(rank - below_);
  }

 private:
  double low_;
  double high_;
  size_t below_ = 0;
  size_t size_ = 0;
  std::vector<double> terms_;
  std::optional<Selection> selection_;
};

double NoiseLevel(const float* values, size_t n, int32_t order) {
  const Series series(values, n, static_cast<size_t>(order));
  const Extremes extremes(series);
  if (!extremes.ordered) return std::numeric_limits<double>::quiet_NaN();
  std::vector<Window> windows;
  if (series.size() >= kMany) {
    std::vector<double> sample;
    for (size_t i = 0; i < kSample; ++i) {
      sample.push_back(series.At(i * series.size() / kSample));
    }
    for (const double p : {kLowQuantile, kHighQuantile}) windows.emplace_back(&sample, p);
    if (windows[1].IsAs(windows[0])) windows.pop_back();
    series.ForEachPart([&](const double* terms, size_t count) {
      for (Window& window : windows) window.Take(terms, count);
    });
  }
  std::optional<Selection> all;
  const auto term_at = [&](size_t rank) {
    for (Window& window : windows) {
      if (window.Has(rank)) return window.At(rank);
    }
    if (!all) all.emplace(series.All());
    return all->At(rank);
  };
  const double low = Quantile(kLowQuantile, series.size(), extremes.low, extremes.high, term_at);
  const double high = Quantile(kHighQuantile, series.size(), extremes.low, extremes.high, term_at);
  return (high - low) / SpreadOfDifferences(order);
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
