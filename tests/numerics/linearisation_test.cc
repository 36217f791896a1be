#include "tervalon/linearisation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "tervalon/memory.h"
#include "tests/support/fault_services.h"
#include "tests/support/special_values.h"

namespace {

using tervalon::platform::MovableMemory;
using tervalon::platform::ScopedReplacement;
using tervalon::testing::FaultyMemory;
using tervalon::testing::kInfinity;
using tervalon::testing::kNan;
using Floats = std::vector<float>;

Floats TakeBlock(TvMemory block, uint32_t count) {
  const auto* const data = static_cast<const float*>(TvMemLock(block));
  Floats values(data, data + count);
  TvMemUnlock(block);
  TvMemFree(block);
  return values;
}

using Irregular = int32_t(TERVALON_CALL*)(const float*, const float*, int32_t, float, LinDataset*);

// Empty for a failure.
Floats Linearise(Irregular function, const Floats& x, const Floats& y, float step) {
  LinDataset result = {};
  if (function(x.data(), y.data(), static_cast<int32_t>(x.size()), step, &result) != 0) {
    EXPECT_EQ(result.values, nullptr);
    return {};
  }
  EXPECT_EQ(result.first, x[0]);
  EXPECT_EQ(result.step, step);
  return TakeBlock(result.values, result.count);
}

Floats LineariseRegular(float x0, float dx, const Floats& y, float step, float first) {
  LinDataset result = {};
  if (LineariseRegularDataset(x0, dx, y.data(), static_cast<int32_t>(y.size()), step, &result) !=
      0) {
    return {};
  }
  EXPECT_EQ(result.first, first);
  return TakeBlock(result.values, result.count);
}

using Scaling = int32_t(TERVALON_CALL*)(float, float, float*, int32_t, int32_t*, float);

// With room for exactly what comes out.
Floats Scale(Scaling function, float x0, float dx, Floats y, float scale) {
  const auto n = static_cast<int32_t>(y.size());
  y.resize(std::max(y.size(), static_cast<size_t>(n * double{scale})));
  y.shrink_to_fit();
  int32_t count = 0;
  if (function(x0, dx, y.data(), n, &count, scale) != 0) return {};
  y.resize(static_cast<size_t>(count));
  return y;
}

// The irregular forms with a cursor that walks to the nearest sample, one step at a time.
class CursorModel {
 public:
  CursorModel(Floats x, std::vector<double> values) : x_(std::move(x)), v_(std::move(values)) {}

  // `first`: of the grid's first point.
  double At(float g, bool first) {
    const auto n = static_cast<int64_t>(x_.size());
    if (first) {
      cursor_ = static_cast<int64_t>(
          (double{g} - x_[0]) * static_cast<double>(n) / (double{x_.back()} - x_[0]) + 0.5);
    }
    if (cursor_ > n - 1) {
      cursor_ = n - 1;
    } else if (g >= X(0)) {
      while (cursor_ < n - 1 && X(0) < g) ++cursor_;
      if (cursor_ > 0 && Distance(-1, g) < Distance(0, g)) --cursor_;
    } else {
      while (cursor_ >= 1 && g < X(0)) --cursor_;
      if (cursor_ < n - 1 && Distance(1, g) < Distance(0, g)) ++cursor_;
    }
    if (g <= X(0)) return cursor_ >= 1 ? Between(cursor_ - 1, g) : v_.front();
    return cursor_ < n - 1 ? Between(cursor_, g) : v_.back();
  }

 private:
  double X(int64_t offset) const { return x_[static_cast<size_t>(cursor_ + offset)]; }
  double Distance(int64_t offset, double g) const { return std::fabs(g - X(offset)); }
  double Between(int64_t below, double g) const {
    const auto a = static_cast<size_t>(below);
    const size_t b = a + 1;
    return ((g - x_[b]) * v_[a] + (x_[a] - g) * v_[b]) / static_cast<float>(double{x_[a]} - x_[b]);
  }

  Floats x_;
  std::vector<double> v_;
  int64_t cursor_ = 0;
};

Floats ModelLinearise(const Floats& x, const Floats& y, float step, bool flux) {
  std::vector<double> sums(y.begin(), y.end());
  if (flux) std::partial_sum(sums.begin(), sums.end(), sums.begin());
  CursorModel model(x, sums);
  Floats out = {y[0]};
  double previous = y[0];
  const auto count = static_cast<size_t>((double{x.back()} - x[0]) / step) + 1;
  for (size_t j = 1; j < count; ++j) {
    const auto g = static_cast<float>(x[0] + static_cast<double>(j) * step);
    const bool exact = j < x.size() && x[j] == g;
    const double value = exact ? sums[j] : model.At(g, j == 1);
    out.push_back(exact ? y[j] : static_cast<float>(flux ? value - previous : value));
    previous = value;
  }
  return out;
}

// Ascending positions, some of which lie on a grid of 0.5 under their own index.
Floats RandomPositions(std::mt19937* random, size_t n) {
  const uint_fast32_t kind = (*random)() % 3;
  Floats x = {static_cast<float>((*random)() % 1000)};
  for (size_t i = 1; i < n; ++i) {
    float next = x[0] + static_cast<float>(i) * 0.5f;
    if (kind == 1) next = x.back() + static_cast<float>((*random)() % 1000 + 1) / 1024;
    if (kind == 2) next += static_cast<float>((*random)() % 4) / 16;
    x.push_back(next);
  }
  if ((*random)() % 4 == 0) x[0] -= 20;  // the first guess is far off
  return x;
}

Floats RandomIntensities(std::mt19937* random, size_t n) {
  Floats y;
  for (size_t i = 0; i < n; ++i) {
    y.push_back(static_cast<float>((*random)() % 100000) / 64 - 100);
  }
  return y;
}

TEST(Linearisation, AsAWalkingCursor) {
  std::mt19937 random(21);
  for (int i = 0; i < 3000; ++i) {
    const size_t n = random() % 60 + 1;
    const Floats x = RandomPositions(&random, n);
    const Floats y = RandomIntensities(&random, n);
    const Floats variance = RandomIntensities(&random, n);
    const float step = random() % 3 == 0 ? 0.5f : static_cast<float>(random() % 5000 + 30) / 2048;
    const Floats flux = ModelLinearise(x, y, step, true);
    ASSERT_EQ(Linearise(LineariseDataset, x, y, step), flux);
    ASSERT_EQ(Linearise(LineariseDatasetNoFluxPreserve, x, y, step),
              ModelLinearise(x, y, step, false));

    LinVarianceDataset both = {};
    ASSERT_EQ(LineariseDatasetPreserveVariance(x.data(), y.data(), variance.data(),
                                               static_cast<int32_t>(n), step, &both),
              0);
    ASSERT_EQ(both.count, flux.size());
    ASSERT_EQ(TakeBlock(both.values, both.count), flux);
    ASSERT_EQ(TakeBlock(both.variances, both.count), ModelLinearise(x, variance, step, true));
  }
}

TEST(Linearisation, KeepsWhatLiesOnTheGrid) {
  const Floats y = {5, 1, 7.5f, 3, 0.25f};
  const Floats x = {10, 10.5f, 11, 11.5f, 12};
  EXPECT_EQ(Linearise(LineariseDataset, x, y, 0.5f), y);
  EXPECT_EQ(Linearise(LineariseDatasetNoFluxPreserve, x, y, 0.5f), y);
  EXPECT_EQ(LineariseRegular(10, 0.5f, y, 0.5f, 10), y);
  EXPECT_EQ(Scale(LinScalePSF, 100.1f, 0.1f, y, 1), y);
  EXPECT_EQ(Scale(LinScalePSFNoFluxPreserve, 100.1f, 0.1f, y, 1), y);
  EXPECT_EQ(Linearise(LineariseDataset, {3}, {4}, 0.1f), Floats{4});
}

TEST(Linearisation, RepeatedPositions) {
  const Floats x = {0, 1, 1, 1, 2, 2};
  const Floats y = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(Linearise(LineariseDataset, x, y, 0.5f), (Floats{1, 1, 3, 6.5f, 5}));
}

// A first guess behind the last sample, also where a float rounds the grid point to it.
TEST(Linearisation, GuessingPastTheEnd) {
  const Floats x = {16777214, 16777215};
  EXPECT_EQ(Linearise(LineariseDatasetNoFluxPreserve, x, {1, 5}, 0.9f),
            ModelLinearise(x, {1, 5}, 0.9f, false));
  // The first guess is behind samples at one position.
  EXPECT_EQ(Linearise(LineariseDatasetNoFluxPreserve, {0, 1, 1}, {1, 3, 9}, 0.9f),
            (Floats{1, static_cast<float>((0.9f - 1.0) * -1 + 0.9f * 3.0)}));
  // It is looked for when the points in front of it were taken over.
  EXPECT_EQ(
      Linearise(LineariseDataset, {0, 1, 2, 3, 4.25f, 4.375f, 4.5f}, {1, 1, 1, 1, 5, 9, 9}, 1),
      (Floats{1, 1, 1, 1, 4}));
}

TEST(Linearisation, RegularGridStartsAtAWholeNumber) {
  // The sums are 1, 3, 6, 10, 15, 21, the first at 100.4.
  const Floats out = LineariseRegular(100.4f, 1, {1, 2, 3, 4, 5, 6}, 2, 100);
  ASSERT_EQ(out.size(), 3U);
  EXPECT_EQ(out[0], 1);
  EXPECT_NEAR(out[1], 4.8 - 1, 1e-4);
  EXPECT_NEAR(out[2], 13 - 4.8, 1e-4);
  // The last points lie behind the data.
  EXPECT_EQ(LineariseRegular(100.5f, 1, {1, 1, 1}, 1, 101), (Floats{1.5f, 1, 0.5f}));
}

TEST(Linearisation, ScaledProfiles) {
  const Floats y = {0, 1, 4, 9, 4, 1, 0, 0};
  const Floats doubled = Scale(LinScalePSF, 0, 1, y, 2);
  EXPECT_EQ(doubled.size(), 16U);
  EXPECT_NEAR(std::accumulate(doubled.begin(), doubled.end(), 0.0), 19, 1e-4);
  EXPECT_EQ(Scale(LinScalePSFNoFluxPreserve, 0, 1, {0, 2, 6}, 2), (Floats{0, 1, 2, 4, 6, 6}));
  EXPECT_EQ(Scale(LinScalePSFNoFluxPreserve, 5, 0.25f, {0, 2, 6, 7}, 0.5f), (Floats{0, 6}));
  EXPECT_EQ(Scale(LinScalePSF, 5, 0.25f, {1, 2, 6, 7}, 0.5f), (Floats{1, 8}));
  // Less than one point of output is none.
  for (const Scaling function : {&LinScalePSF, &LinScalePSFNoFluxPreserve}) {
    Floats profile = {1, 2};
    int32_t count = 7;
    EXPECT_EQ(function(0, 1, profile.data(), 2, &count, 0.4f), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(profile, (Floats{1, 2}));
  }
}

TEST(Linearisation, RefusesWhatMakesNoSense) {
  FaultyMemory memory;
  const ScopedReplacement<MovableMemory> replacement(&memory);
  const Floats y = {1, 2};
  for (const Irregular function : {&LineariseDataset, &LineariseDatasetNoFluxPreserve}) {
    for (const float step : {0.0f, -1.0f, kNan, kInfinity, 1e-9f, 1e-40f}) {
      EXPECT_TRUE(Linearise(function, {0, 1}, y, step).empty()) << step;
    }
    for (const Floats& x :
         {Floats{1, 0}, Floats{0, kInfinity}, Floats{kNan, 1}, Floats{kInfinity}}) {
      EXPECT_TRUE(Linearise(function, x, y, 0.5f).empty());
    }
    EXPECT_EQ(function(y.data(), y.data(), 0, 1, nullptr), -1);
  }
  for (const auto& [x0, dx, step] : std::vector<std::array<float, 3>>{
           {0, 0, 1}, {0, -1, 1}, {kNan, 1, 1}, {0, kInfinity, 1}, {0, 1, 0}, {0, 1, 1e-9f}}) {
    EXPECT_TRUE(LineariseRegular(x0, dx, y, step, 0).empty());
  }
  Floats profile = {1, 2};
  int32_t count = 7;
  for (const float scale : {0.0f, -1.0f, kNan, kInfinity, 1e9f}) {
    EXPECT_EQ(LinScalePSF(0, 1, profile.data(), 2, &count, scale), -1) << scale;
    EXPECT_EQ(LinScalePSFNoFluxPreserve(0, 1, profile.data(), 2, &count, scale), -1);
  }
  EXPECT_EQ(LinScalePSF(0, 0, profile.data(), 2, &count, 1), -1);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(memory.allocate.calls(), 0);
}

// Positions in no order, or none at all, still end.
TEST(Linearisation, SurvivesAnyPositions) {
  std::mt19937 random(8);
  for (int i = 0; i < 300; ++i) {
    Floats x;
    for (int k = 0; k < 200; ++k) {
      x.push_back(random() % 20 == 0 ? kNan : static_cast<float>(random() % 100));
    }
    x.front() = 0;
    x.back() = 100;
    const float step = static_cast<float>(random() % 100 + 1) / 64;
    EXPECT_EQ(Linearise(LineariseDataset, x, x, step).size(), static_cast<size_t>(100 / step) + 1);
  }
}

}  // namespace
