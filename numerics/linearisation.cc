// Resampling onto a regular grid. Everything is double precision but where a rounding is named, so
// that the results are the same bits everywhere.

#include "tervalon/linearisation.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "appsvc/export_guard.h"
#include "platform/float_block.h"

namespace tervalon::numerics {
namespace {

using platform::FloatBlock;

bool IsPositive(float value) { return value > 0 && std::isfinite(value); }

// The points that a grid has room for in `span`; 0 for too many, and for a span that is none.
uint32_t PointCount(double span, double step) {
  const double steps = span / step;
  return steps >= 0 && steps < LIN_MAX_POINTS ? static_cast<uint32_t>(steps) + 1 : 0;
}

// A position between the samples a and a + 1, which differ.
struct Place {
  Place(double position, size_t sample, double x_a, double x_b)
      : a(sample),
        to_b(position - x_b),
        from_a(x_a - position),
        distance(static_cast<float>(x_a - x_b)) {}

  double Interpolate(double value_a, double value_b) const {
    return (to_b * value_a + from_a * value_b) / distance;
  }

  size_t a;
  double to_b;
  double from_a;
  float distance;
};

// Output points of one signal. Copy takes over a sample that a grid point hits, Put interpolates
// between samples, Hold takes a sample as the nearest end.
class FluxOutput {
 public:
  FluxOutput(const float* y, size_t n, float* out)
      : y_(y), sums_(std::make_unique_for_overwrite<double[]>(n)), out_(out) {
    double sum = y[0];
    sums_[0] = sum;
    for (size_t i = 1; i < n; ++i) sums_[i] = sum += y[i];
  }

  void Copy(size_t sample) {
    *out_++ = y_[sample];
    previous_ = sums_[sample];
  }
  void Put(const Place& place) { PutSum(place.Interpolate(sums_[place.a], sums_[place.a + 1])); }
  void Hold(size_t sample) { PutSum(sums_[sample]); }

 private:
  void PutSum(double sum) {
    *out_++ = static_cast<float>(sum - previous_);
    previous_ = sum;
  }

  const float* const y_;
  const std::unique_ptr<double[]> sums_;
  float* out_;
  double previous_ = 0;
};

class PlainOutput {
 public:
  PlainOutput(const float* y, size_t /*n*/, float* out) : y_(y), out_(out) {}

  void Copy(size_t sample) { *out_++ = y_[sample]; }
  void Put(const Place& place) {
    *out_++ = static_cast<float>(place.Interpolate(y_[place.a], y_[place.a + 1]));
  }
  void Hold(size_t sample) { *out_++ = y_[sample]; }

 private:
  const float* const y_;
  float* out_;
};

// Whether the search for the grid's first point begins behind the last sample, if it guesses that
// samples are evenly spaced. It then ends there, too: the point is put between the last samples,
// wherever it lies.
bool GuessesPastTheEnd(const float* x, size_t n, float position) {
  const double span = double{x[n - 1]} - x[0];
  const double guess = (position - double{x[0]}) * static_cast<double>(n) / span + 0.5;
  return guess >= static_cast<double>(n) && position <= x[n - 1] && x[n - 2] != x[n - 1];
}

// The first sample, from `first` on, that is not in front of a position. Four are compared at once:
// which one it is could not be foretold where there is about one for each position.
inline size_t NotInFront(const float* x, size_t n, size_t first, float position) {
  for (; first + 4 <= n; first += 4) {
    const __m128 in_front = _mm_cmplt_ps(_mm_loadu_ps(x + first), _mm_set1_ps(position));
    const auto bits = static_cast<uint32_t>(_mm_movemask_ps(in_front));
    if (bits != 0b1111) return first + static_cast<size_t>(std::countr_one(bits));
  }
  while (first < n && x[first] < position) ++first;
  return first;
}

template <typename... Outputs>
void Resample(const float* x, size_t n, double step, size_t count, Outputs... outputs) {
  (outputs.Copy(0), ...);
  size_t behind = 0;  // the first sample that is not in front of the grid point
  for (size_t j = 1; j < count; ++j) {
    const auto position = static_cast<float>(x[0] + static_cast<double>(j) * step);
    if (j < n && x[j] == position) {
      (outputs.Copy(j), ...);
      continue;
    }
    behind = NotInFront(x, n, behind, position);
    const size_t b = j == 1 && GuessesPastTheEnd(x, n, position) ? n - 1 : behind;
    if (b == 0 || b == n) {
      (outputs.Hold(b == 0 ? 0 : n - 1), ...);
    } else {
      const Place place(position, b - 1, x[b - 1], x[b]);
      (outputs.Put(place), ...);
    }
  }
}

template <typename Output>
int32_t Linearise(const float* x, const float* y, int32_t n, float step, LinDataset* result) {
  if (x == nullptr || y == nullptr || n < 1 || !IsPositive(step) || result == nullptr) return -1;
  const auto size = static_cast<size_t>(n);
  const uint32_t count = PointCount(double{x[size - 1]} - x[0], step);
  if (count == 0) return -1;
  return Guarded(-1, [=] {
    FloatBlock values(count);
    if (values.data() == nullptr) return -1;
    Resample(x, size, step, count, Output(y, size, values.data()));
    *result = {values.HandOut(), count, x[0], step};
    return 0;
  });
}

// Evenly spaced samples.
struct Spacing {
  double x0;
  double dx;

  float At(size_t sample) const {
    return static_cast<float>(static_cast<int32_t>(sample) * dx + x0);
  }
};

// Puts a position between the samples a and a + 1.
template <typename Output>
void PutBetween(const Spacing& spacing, double position, size_t a, Output* output) {
  const float x_a = spacing.At(a);
  const float x_b = spacing.At(a + 1);
  if (x_a == x_b) {
    output->Hold(a + 1);  // floats cannot tell them apart
  } else {
    output->Put(Place(position, a, x_a, x_b));
  }
}

void ResampleRegular(const Spacing& spacing, size_t n, double start, double step, size_t count,
                     FluxOutput output) {
  const size_t last = n - 1;
  const auto highest = static_cast<double>(last);
  // Some at a time: the places of all, then the values.
  constexpr size_t kPart = 256;
  std::array<double, kPart> positions;
  std::array<int32_t, kPart> nearest;
  for (size_t begin = 0; begin < count; begin += kPart) {
    const size_t size = std::min(kPart, count - begin);
    for (size_t i = 0; i < size; ++i) {
      positions[i] = start + static_cast<int32_t>(begin + i) * step;
      const double sample = (positions[i] - spacing.x0) / spacing.dx + 0.5;
      const double positive = sample < 0 ? 0 : sample;
      nearest[i] = static_cast<int32_t>(highest < positive ? highest : positive);
    }
    for (size_t i = 0; i < size; ++i) {
      const double position = positions[i];
      const auto k = static_cast<size_t>(nearest[i]);
      const float x = spacing.At(k);
      const bool behind = x <= position;
      if (x == static_cast<float>(position)) {
        output.Copy(k);
      } else if (k == (behind ? last : 0)) {
        output.Hold(k);
      } else {
        PutBetween(spacing, position, behind ? k : k - 1, &output);
      }
    }
  }
}

template <typename Output>
int32_t ScaleProfile(const Spacing& spacing, float* y, int32_t n, int32_t* out_count, float scale) {
  if (y == nullptr || n < 1 || out_count == nullptr || !std::isfinite(spacing.x0) ||
      !IsPositive(static_cast<float>(spacing.dx)) || !IsPositive(scale)) {
    return -1;
  }
  const double points = n * double{scale};
  if (points >= LIN_MAX_POINTS + 1.0) return -1;
  if (points < 1) {
    *out_count = 0;
    return 0;
  }
  return Guarded(-1, [=] {
    const auto size = static_cast<size_t>(n);
    const auto count = static_cast<size_t>(points);
    const auto scaled = std::make_unique_for_overwrite<float[]>(count);
    Output output(y, size, scaled.get());
    output.Copy(0);
    for (size_t j = 1; j < count; ++j) {
      const double offset = static_cast<double>(j) * spacing.dx;
      const double position = offset / scale + spacing.x0;
      const auto k = static_cast<size_t>(static_cast<double>(j) / scale);
      if (k >= size - 1) {
        output.Hold(size - 1);
      } else if (static_cast<float>(offset + spacing.x0) == static_cast<float>(position)) {
        output.Copy(k);
      } else {
        PutBetween(spacing, position, k, &output);
      }
    }
    std::copy_n(scaled.get(), count, y);
    *out_count = static_cast<int32_t>(count);
    return 0;
  });
}

}  // namespace
}  // namespace tervalon::numerics

using tervalon::Guarded;
namespace numerics = tervalon::numerics;

extern "C" int32_t TERVALON_CALL LineariseDataset(const float* x, const float* y, int32_t n,
                                                  float step, LinDataset* result) {
  return numerics::Linearise<numerics::FluxOutput>(x, y, n, step, result);
}

extern "C" int32_t TERVALON_CALL LineariseDatasetNoFluxPreserve(const float* x, const float* y,
                                                                int32_t n, float step,
                                                                LinDataset* result) {
  return numerics::Linearise<numerics::PlainOutput>(x, y, n, step, result);
}

extern "C" int32_t TERVALON_CALL LineariseDatasetPreserveVariance(const float* x, const float* y,
                                                                  const float* variance, int32_t n,
                                                                  float step,
                                                                  LinVarianceDataset* result) {
  if (x == nullptr || y == nullptr || variance == nullptr || n < 1 || !numerics::IsPositive(step) ||
      result == nullptr) {
    return -1;
  }
  const auto size = static_cast<size_t>(n);
  const uint32_t count = numerics::PointCount(double{x[size - 1]} - x[0], step);
  if (count == 0) return -1;
  return Guarded(-1, [=] {
    numerics::FloatBlock values(count);
    numerics::FloatBlock variances(count);
    if (values.data() == nullptr || variances.data() == nullptr) return -1;
    numerics::Resample(x, size, step, count, numerics::FluxOutput(y, size, values.data()),
                       numerics::FluxOutput(variance, size, variances.data()));
    *result = {values.HandOut(), variances.HandOut(), count, x[0], step};
    return 0;
  });
}

extern "C" int32_t TERVALON_CALL LineariseRegularDataset(float x0, float dx, const float* y,
                                                         int32_t n, float step,
                                                         LinDataset* result) {
  if (!std::isfinite(x0) || !numerics::IsPositive(dx) || y == nullptr || n < 1 ||
      !numerics::IsPositive(step) || result == nullptr) {
    return -1;
  }
  const uint32_t count = numerics::PointCount((n - 1.0) * dx, step);
  if (count == 0) return -1;
  return Guarded(-1, [=] {
    numerics::FloatBlock values(count);
    if (values.data() == nullptr) return -1;
    const auto size = static_cast<size_t>(n);
    const double start = std::floor(x0 + 0.5);
    numerics::ResampleRegular({x0, dx}, size, start, step, count,
                              numerics::FluxOutput(y, size, values.data()));
    *result = {values.HandOut(), count, static_cast<float>(start), step};
    return 0;
  });
}

extern "C" int32_t TERVALON_CALL LinScalePSF(float x0, float dx, float* y, int32_t n,
                                             int32_t* out_count, float scale) {
  return numerics::ScaleProfile<numerics::FluxOutput>({x0, dx}, y, n, out_count, scale);
}

extern "C" int32_t TERVALON_CALL LinScalePSFNoFluxPreserve(float x0, float dx, float* y, int32_t n,
                                                           int32_t* out_count, float scale) {
  return numerics::ScaleProfile<numerics::PlainOutput>({x0, dx}, y, n, out_count, scale);
}
