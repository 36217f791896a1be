#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "tervalon/processing.h"
#include "tests/support/special_values.h"

namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;
using Floats = std::vector<float>;

constexpr PrcSmoothing kMean = {PRC_SMOOTH_MEAN, 2, 1, 0};
constexpr PrcSmoothing kQuadratic = {PRC_SMOOTH_SAVITZKY_GOLAY, 2, 1, 0};

int32_t Smooth(const PrcSmoothing& how, Floats* values, const Floats& positions = {}) {
  return PrcSmooth(&how, positions.empty() ? nullptr : positions.data(), values->data(),
                   static_cast<int32_t>(values->size()), values->data());
}

Floats Smoothed(const PrcSmoothing& how, Floats values) {
  EXPECT_EQ(Smooth(how, &values), PRC_OK);
  return values;
}

TEST(Smooth, PublishedWeights) {
  Floats impulse(13);
  impulse[6] = 35;
  EXPECT_EQ(Smoothed(kQuadratic, impulse), Floats({0, 0, 0, 0, -3, 12, 17, 12, -3, 0, 0, 0, 0}));
  EXPECT_EQ(Smoothed({PRC_SMOOTH_SAVITZKY_GOLAY, 2, 1, 3}, impulse), Smoothed(kQuadratic, impulse));
  EXPECT_EQ(Smoothed(kMean, impulse), Floats({0, 0, 0, 0, 7, 7, 7, 7, 7, 0, 0, 0, 0}));
  EXPECT_EQ(Smoothed(kMean, {6, 3, 0, 7, 9}), Floats({6, 3, 5, 16.0F / 3, 9}));
}

// Also at the ends, and where the window is all there is.
TEST(Smooth, PolynomialsStayWhatTheyAre) {
  for (const int32_t half_width : {1, 3, 10, 40}) {
    for (int32_t degree = 1; degree <= std::min(PRC_MAX_DEGREE, 2 * half_width); ++degree) {
      const int32_t count = 2 * half_width + 1 + degree % 3 * 20;
      Floats values;
      for (int32_t i = 0; i < count; ++i) {
        const double x = 2.0 * i / count - 1;
        values.push_back(static_cast<float>(1000 * std::pow(x, degree) + 50 * x - 7));
      }
      const Floats smoothed = Smoothed({PRC_SMOOTH_SAVITZKY_GOLAY, half_width, 5, degree}, values);
      for (size_t i = 0; i < values.size(); ++i) {
        ASSERT_NEAR(smoothed[i], values[i], 2e-3) << half_width << ' ' << degree << ' ' << i;
      }
    }
  }
  Floats line;
  for (int i = 0; i < 50; ++i) line.push_back(3.0F * static_cast<float>(i) - 20);
  const Floats smoothed = Smoothed({PRC_SMOOTH_MEAN, 7, 4, 0}, line);
  for (size_t i = 0; i < line.size(); ++i) ASSERT_NEAR(smoothed[i], line[i], 1e-5);
}

TEST(Smooth, KeepsAreas) {
  std::mt19937 random(3);
  for (const PrcSmoothing& how :
       {PrcSmoothing{PRC_SMOOTH_MEAN, 5, 3, 0}, PrcSmoothing{PRC_SMOOTH_SAVITZKY_GOLAY, 8, 2, 4}}) {
    Floats values(300);
    for (size_t i = 100; i < 200; ++i) values[i] = static_cast<float>(random() % 1000);
    const Floats smoothed = Smoothed(how, values);
    const double area = std::accumulate(values.begin(), values.end(), 0.0);
    EXPECT_NEAR(std::accumulate(smoothed.begin(), smoothed.end(), 0.0), area, 1e-6 * area);
  }
}

TEST(Smooth, Refused) {
  const Floats five = {1, 2, 3, 4, 5};
  const struct {
    PrcSmoothing how;
    Floats values;
    int32_t code;
  } kCases[] = {
      {{2, 2, 1, 2}, five, PRC_BAD_ARGUMENT},
      {{PRC_SMOOTH_MEAN, 0, 1, 0}, five, PRC_BAD_WINDOW},
      {{PRC_SMOOTH_MEAN, 2, 0, 0}, five, PRC_BAD_WINDOW},
      {{PRC_SMOOTH_MEAN, 2, PRC_MAX_PASSES + 1, 0}, five, PRC_BAD_WINDOW},
      {{PRC_SMOOTH_SAVITZKY_GOLAY, 2, 1, 5}, five, PRC_BAD_WINDOW},
      {{PRC_SMOOTH_SAVITZKY_GOLAY, 2, 1, -1}, five, PRC_BAD_WINDOW},
      {{PRC_SMOOTH_SAVITZKY_GOLAY, 30, 1, PRC_MAX_DEGREE + 1}, Floats(61), PRC_BAD_WINDOW},
      {kMean, {1, 2, 3, 4}, PRC_TOO_FEW_POINTS},
      {{PRC_SMOOTH_MEAN, INT32_MAX, 1, 0}, five, PRC_TOO_FEW_POINTS},
      {kQuadratic, {1, 2, kNan, 4, 5}, PRC_NOT_FINITE},
      {kQuadratic, {1, 2, 3, 4, -kInfinity}, PRC_NOT_FINITE},
  };
  for (const auto& row : kCases) {
    Floats smoothed(row.values.size(), 77);
    EXPECT_EQ(PrcSmooth(&row.how, nullptr, row.values.data(),
                        static_cast<int32_t>(row.values.size()), smoothed.data()),
              row.code);
    EXPECT_EQ(smoothed, Floats(row.values.size(), 77));
  }
  float value = 1;
  EXPECT_EQ(PrcSmooth(&kMean, nullptr, &value, 1, &value), PRC_TOO_FEW_POINTS);
  EXPECT_EQ(PrcSmooth(&kMean, nullptr, &value, -1, &value), PRC_BAD_ARGUMENT);
}

TEST(Smooth, Axes) {
  const auto axis = [](auto position) {
    Floats positions;
    for (int i = 0; i < 2000; ++i) positions.push_back(static_cast<float>(position(i)));
    return positions;
  };
  const auto smooth = [](const PrcSmoothing& how, const Floats& positions) {
    Floats values(positions.size(), 1);
    return Smooth(how, &values, positions);
  };
  // Masses of a time of flight, and times that are rounded.
  const Floats flight = axis([](int i) { return std::pow(10 + 0.01 * i, 2); });
  const Floats times = axis([](int i) { return 55 + i * 0.0123; });
  const Floats growing = axis([](int i) { return std::pow(1.05, i / 10.0); });
  for (const Floats& positions : {flight, times, growing}) {
    EXPECT_EQ(smooth(kQuadratic, positions), PRC_OK);
  }
  EXPECT_EQ(smooth({PRC_SMOOTH_MEAN, 50, 1, 0}, growing), PRC_UNEVEN);
  EXPECT_EQ(smooth(kMean, axis([](int i) { return i < 1000 ? i : i + 1; })), PRC_UNEVEN);
  EXPECT_EQ(smooth(kMean, axis([](int i) { return i < 1999 ? i : 1998; })), PRC_UNEVEN);
  EXPECT_EQ(smooth(kMean, axis([](int i) { return -i; })), PRC_NOT_ASCENDING);
  EXPECT_EQ(smooth(kMean, axis([](int i) { return i == 5 ? double{NAN} : i; })), PRC_NOT_FINITE);
}

// What is beyond a float's range is the nearest that it holds.
TEST(Smooth, LargestValues) {
  const float most = std::numeric_limits<float>::max();
  const Floats smoothed = Smoothed(kQuadratic, {most, most, most, -most, most, most, most});
  EXPECT_EQ(smoothed.front(), most);
  for (const float value : smoothed) EXPECT_TRUE(std::isfinite(value));
}

}  // namespace
