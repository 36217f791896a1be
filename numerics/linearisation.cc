// Resampling onto a regular grid. Everything is double precision but where a rounding is named, so
// that the results are the same bits everywhere.

#include "tervalon/linearisation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <utility>

#include "appsvc/export_guard.h"
#include "platform/memory.h"

namespace tervalon::numerics {
namespace {

// A movable block of floats, locked; freed unless it is handed out.
class FloatBlock {
 public:
  explicit FloatBlock(size_t count) : block_(platform::Memory().Allocate(count * sizeof(float))) {
    if (block_ != nullptr) data_ = static_cast<float*>(platform::Memory().Lock(block_));
  }
  ~FloatBlock() {
    if (block_ == nullptr) return;
    if (data_ != nullptr) platform::Memory().Unlock(block_);
    platform::Memory().Free(block_);
  }
  FloatBlock(const FloatBlock&) = delete;
  FloatBlock& operator=(const FloatBlock&) = delete;

  float* data() const { return data_; }  // nullptr when there is no memory
  TvMemory HandOut() {
    platform::Memory().Unlock(block_);
    return std::exchange(block_, nullptr);
  }

 private:
  TvMemory block_;
  float* data_ = nullptr;
};

bool IsPositive(float value) { return value > 0 && std::isfinite(value); }

// The points that a grid has room for in `span`; 0 for too many, and for a span that is none.
uint32_t PointCount(double span, double step) {
  const double steps = span / step;
  return steps >= 0 && steps < LIN_MAX_POINTS ? static_cast<uint32_t>(steps) + 1 : 0;
}

using Sums = std::unique_ptr<double[]>;

Sums RunningSums(const float* values, size_t count) {
  Sums sums = std::make_unique_for_overwrite<double[]>(count);
  double sum = 0;
  for (size_t i = 0; i < count; ++i) sums[i] = sum += values[i];
  return sums;
}

// A position between the samples a and b = a + 1, or on sample a = b.
class Place {
 public:
  explicit Place(size_t sample) : a_(sample), b_(sample) {}
  Place(double position, size_t a, double x_a, double x_b)
      : a_(a),
        b_(a + 1),
        to_b_(position - x_b),
        from_a_(x_a - position),
        distance_(static_cast<float>(x_a - x_b)) {}

  template <typename Value>
  double Interpolate(const Value* values) const {
    // Samples at one position: there is nothing between them.
    if (distance_ == 0) return values[b_];
    return (to_b_ * values[a_] + from_a_ * values[b_]) / distance_;
  }

 private:
  size_t a_;
  size_t b_;
  double to_b_ = 0;
  double from_a_ = 0;
  float distance_ = 0;
};

// Finds where the points of an ascending grid lie among ascending positions.
class GridSearch {
 public:
  GridSearch(const float* x, size_t n) : x_(x), last_(n - 1) {}

  Place Find(float position) {
    if (!started_ && !Guess(position)) return Between(position);
    while (at_ > 0 && x_[at_ - 1] >= position) --at_;
    while (at_ < last_ && x_[at_] < position) ++at_;
    return position > x_[at_] ? Place(at_) : Between(position);
  }

 private:
  // Starts where the position would be if the samples were evenly spaced. False when that is behind
  // the last sample: then this one position is taken to be next to it, wherever it is.
  bool Guess(float position) {
    started_ = true;
    const auto n = static_cast<double>(last_ + 1);
    const double guess = (position - double{x_[0]}) * n / (double{x_[last_]} - x_[0]) + 0.5;
    at_ = guess < n ? static_cast<size_t>(guess) : last_;
    return guess < n;
  }

  Place Between(float position) const {
    return at_ > 0 ? Place(position, at_ - 1, x_[at_ - 1], x_[at_]) : Place(at_);
  }

  const float* const x_;
  const size_t last_;
  size_t at_ = 0;  // the first sample at or behind the position, or the last
  bool started_ = false;
};

// Output points of one signal. Copy takes over a sample that a grid point hits; Put takes a place
// between samples.
class FluxOutput {
 public:
  FluxOutput(const float* y, size_t n, float* out) : y_(y), sums_(RunningSums(y, n)), out_(out) {}

  void Copy(size_t sample) {
    *out_++ = y_[sample];
    previous_ = sums_[sample];
  }
  void Put(const Place& place) {
    const double sum = place.Interpolate(sums_.get());
    *out_++ = static_cast<float>(sum - previous_);
    previous_ = sum;
  }

 private:
  const float* const y_;
  const Sums sums_;
  float* out_;
  double previous_ = 0;
};

class PlainOutput {
 public:
  PlainOutput(const float* y, size_t /*n*/, float* out) : y_(y), out_(out) {}

  void Copy(size_t sample) { *out_++ = y_[sample]; }
  void Put(const Place& place) { *out_++ = static_cast<float>(place.Interpolate(y_)); }

 private:
  const float* const y_;
  float* out_;
};

template <typename... Outputs>
void Resample(const float* x, size_t n, double step, size_t count, Outputs... outputs) {
  GridSearch search(x, n);
  (outputs.Copy(0), ...);
  for (size_t j = 1; j < count; ++j) {
    const auto position = static_cast<float>(x[0] + static_cast<double>(j) * step);
    if (j < n && x[j] == position) {
      (outputs.Copy(j), ...);
    } else {
      const Place place = search.Find(position);
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
    return static_cast<float>(static_cast<double>(sample) * dx + x0);
  }
  Place Between(double position, size_t sample) const {
    return {position, sample, At(sample), At(sample + 1)};
  }
};

void ResampleRegular(const Spacing& spacing, size_t n, double start, double step, size_t count,
                     FluxOutput output) {
  const size_t last = n - 1;
  for (size_t j = 0; j < count; ++j) {
    const double position = start + static_cast<double>(j) * step;
    const double nearest = (position - spacing.x0) / spacing.dx + 0.5;
    const auto k = static_cast<size_t>(std::clamp(nearest, 0.0, static_cast<double>(last)));
    const float x = spacing.At(k);
    if (x == static_cast<float>(position)) {
      output.Copy(k);
    } else if (x <= position) {
      output.Put(k == last ? Place(k) : spacing.Between(position, k));
    } else {
      output.Put(k == 0 ? Place(k) : spacing.Between(position, k - 1));
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
  if (points < 1 || points >= LIN_MAX_POINTS + 1.0) return -1;
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
        output.Put(Place(size - 1));
      } else if (static_cast<float>(offset + spacing.x0) == static_cast<float>(position)) {
        output.Copy(k);
      } else {
        output.Put(spacing.Between(position, k));
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
