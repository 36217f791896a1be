// Moving means and polynomials fitted to a moving window.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "appsvc/export_guard.h"
#include "processing/arrays.h"
#include "processing/options.h"
#include "tervalon/processing.h"

namespace tervalon::processing {
namespace {

constexpr int32_t kUsualDegree = 2;
constexpr double kEvenSteps = 1.5;  // how many times another step is as large

using Doubles = std::vector<double>;

// Least squares with polynomials over a window of points at even distances.
class PolynomialFit {
 public:
  PolynomialFit(size_t half_width, size_t degree) : points_(2 * half_width + 1) {
    Doubles term(points_, 1.0);
    for (size_t k = 0; k <= degree; ++k) {
      // Twice, because once leaves what rounding does to high degrees.
      for (int time = 0; time < 2; ++time) {
        for (const Doubles& other : basis_) Remove(other, &term);
      }
      const double length = std::sqrt(Product(term, term.data()));
      for (double& value : term) value /= length;
      basis_.push_back(term);
      for (size_t i = 0; i < points_; ++i) {
        term[i] *= (static_cast<double>(i) - static_cast<double>(half_width)) /
                   static_cast<double>(half_width);
      }
    }
  }

  // What the polynomial is at the window's middle, as the weights of the middle point, of those
  // next to it, and so on.
  Doubles MiddleWeights() const {
    const size_t middle = points_ / 2;
    Doubles weights(middle + 1, 0.0);
    for (const Doubles& term : basis_) {
      for (size_t i = 0; i <= middle; ++i) weights[i] += term[middle] * term[middle + i];
    }
    return weights;
  }

  // Fits one window and stores the polynomial at `count` of its points.
  void Evaluate(const double* window, size_t first, size_t count, double* fitted) const {
    std::fill_n(fitted, count, 0.0);
    for (const Doubles& term : basis_) {
      const double coefficient = Product(term, window);
      for (size_t i = 0; i < count; ++i) fitted[i] += coefficient * term[first + i];
    }
  }

 private:
  static double Product(const Doubles& a, const double* b) {
    return std::inner_product(a.begin(), a.end(), b, 0.0);
  }

  static void Remove(const Doubles& other, Doubles* term) {
    const double part = Product(other, term->data());
    for (size_t i = 0; i < term->size(); ++i) (*term)[i] -= part * other[i];
  }

  const size_t points_;
  std::vector<Doubles> basis_;  // orthonormal polynomials of ascending degree
};

void Store(double value, double* out) { *out = value; }
void Store(double value, float* out) { *out = ToFloat(value); }

// The points that have a whole window, from `begin` to before `end`.
template <typename Out>
void Filter(const double* values, size_t begin, size_t end, const Doubles& weights, Out* filtered) {
  size_t i = begin;
  for (; i + kLanes <= end; i += kLanes) {
    double sums[kLanes];
    for (size_t lane = 0; lane < kLanes; ++lane) sums[lane] = weights[0] * values[i + lane];
    for (size_t k = 1; k < weights.size(); ++k) {
      for (size_t lane = 0; lane < kLanes; ++lane) {
        sums[lane] += weights[k] * (values[i + lane - k] + values[i + lane + k]);
      }
    }
    for (size_t lane = 0; lane < kLanes; ++lane) Store(sums[lane], &filtered[i + lane]);
  }
  for (; i < end; ++i) {
    double sum = weights[0] * values[i];
    for (size_t k = 1; k < weights.size(); ++k) sum += weights[k] * (values[i - k] + values[i + k]);
    Store(sum, &filtered[i]);
  }
}

class Smoother {
 public:
  explicit Smoother(const PrcSmoothing& how)
      : half_width_(static_cast<size_t>(how.half_width)),
        by_mean_(how.method == PRC_SMOOTH_MEAN),
        fit_(half_width_, by_mean_ ? 0 : static_cast<size_t>(how.degree)),
        weights_(fit_.MiddleWeights()) {}

  template <typename Out>
  void Smooth(const Doubles& values, Out* smoothed) const {
    const size_t count = values.size();
    Filter(values.data(), half_width_, count - half_width_, weights_, smoothed);
    Doubles end(half_width_);
    SmoothEnd(values.begin(), values.data(), 0, &end);
    for (size_t i = 0; i < half_width_; ++i) Store(end[i], &smoothed[i]);
    SmoothEnd(values.rbegin(), &values[count - 2 * half_width_ - 1], half_width_ + 1, &end);
    if (by_mean_) std::reverse(end.begin(), end.end());
    for (size_t i = 0; i < half_width_; ++i) Store(end[i], &smoothed[count - half_width_ + i]);
  }

 private:
  // `inwards` are the values from the end on; the window's points from `first` on are smoothed.
  template <typename Iterator>
  void SmoothEnd(Iterator inwards, const double* window, size_t first, Doubles* smoothed) const {
    if (!by_mean_) {
      fit_.Evaluate(window, first, half_width_, smoothed->data());
      return;
    }
    double sum = inwards[0];
    for (size_t i = 0; i < half_width_; ++i) {
      const auto at = static_cast<ptrdiff_t>(2 * i);
      if (i > 0) sum += inwards[at - 1] + inwards[at];
      (*smoothed)[i] = sum / static_cast<double>(2 * i + 1);
    }
  }

  const size_t half_width_;
  const bool by_mean_;
  const PolynomialFit fit_;
  const Doubles weights_;
};

}  // namespace

int32_t CheckOptions(PrcSmoothing how, int32_t count) {
  if (how.degree == 0) how.degree = kUsualDegree;
  if (how.method != PRC_SMOOTH_MEAN && how.method != PRC_SMOOTH_SAVITZKY_GOLAY) {
    return PRC_BAD_ARGUMENT;
  }
  if (how.half_width < 1 || how.passes < 1 || how.passes > PRC_MAX_PASSES) return PRC_BAD_WINDOW;
  if (how.method == PRC_SMOOTH_SAVITZKY_GOLAY &&
      (how.degree < 1 || how.degree > PRC_MAX_DEGREE || how.degree > int64_t{2} * how.half_width)) {
    return PRC_BAD_WINDOW;
  }
  return count > int64_t{2} * how.half_width ? PRC_OK : PRC_TOO_FEW_POINTS;
}

namespace {

bool IsEven(double a, double b) { return a <= kEvenSteps * b && b <= kEvenSteps * a; }

int32_t CheckEven(const float* positions, size_t count, size_t window_steps) {
  const int32_t error = CheckPositions(positions, count);
  if (error != PRC_OK) return error;
  const auto step = [positions](size_t i) {
    return static_cast<double>(positions[i + 1]) - positions[i];
  };
  for (size_t i = 0; i + 1 < count; ++i) {
    const size_t next = std::min(i + 1, count - 2);
    const size_t last = std::min(i + window_steps - 1, count - 2);
    if (step(i) == 0 || !IsEven(step(i), step(next)) || !IsEven(step(i), step(last))) {
      return PRC_UNEVEN;
    }
  }
  return PRC_OK;
}

void Smooth(const PrcSmoothing& how, const float* values, size_t count, float* smoothed) {
  const Smoother smoother(how);
  Doubles current(values, values + count);
  Doubles next(how.passes > 1 ? count : 0);
  for (int32_t pass = 1; pass < how.passes; ++pass) {
    smoother.Smooth(current, next.data());
    current.swap(next);
  }
  smoother.Smooth(current, smoothed);
}

}  // namespace
}  // namespace tervalon::processing

using tervalon::Guarded;
namespace processing = tervalon::processing;

extern "C" int32_t TERVALON_CALL PrcSmooth(const PrcSmoothing* smoothing, const float* positions,
                                           const float* values, int32_t count, float* smoothed) {
  if (smoothing == nullptr || values == nullptr || smoothed == nullptr || count < 0) {
    return PRC_BAD_ARGUMENT;
  }
  PrcSmoothing how = *smoothing;
  if (how.degree == 0) how.degree = processing::kUsualDegree;
  int32_t error = processing::CheckOptions(how, count);
  if (error != PRC_OK) return error;
  const auto size = static_cast<size_t>(count);
  if (!processing::AllFinite(values, size)) return PRC_NOT_FINITE;
  if (positions != nullptr) {
    error = processing::CheckEven(positions, size, 2 * static_cast<size_t>(how.half_width));
    if (error != PRC_OK) return error;
  }
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    processing::Smooth(how, values, size, smoothed);
    return PRC_OK;
  });
}
