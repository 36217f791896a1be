#include "numerics/noise_level.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "tervalon/noise_statistics.h"
#include "tests/support/special_values.h"

namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;

using Floats = std::vector<float>;
namespace numerics = tervalon::numerics;

float NoiseLevel(const Floats& values, int32_t order) {
  float noise = -1;
  EXPECT_EQ(
      ChroStatCalcNoiseLevel(values.data(), static_cast<int32_t>(values.size()), order, &noise), 1);
  return noise;
}

// The search with a pass over the whole series at every step.
double ModelQuantile(const std::vector<double>& series, double p) {
  const auto m = static_cast<double>(series.size());
  double hi = series[0];
  double lo = series[0];
  for (const double term : series) {
    if (term > hi) hi = term;
    if (term < lo) lo = term;
  }
  double below = 0;
  double above = 0;
  for (double k = 1; k <= m; ++k) {
    if (k < m * p + 0.5) ++below;
    if (k > m * p + 0.5) ++above;
  }
  double e = p * hi + (1 - p) * lo;
  while (!(e <= lo) && !(e >= hi)) {
    double high_count = 0, low_count = 0, high_sum = 0, low_sum = 0, least_high = hi, most_low = lo;
    for (const double term : series) {
      if (!(term >= lo && term <= hi)) continue;
      if (term >= e) {
        ++high_count;
        high_sum += term;
        least_high = std::min(least_high, term);
      } else if (term < e) {
        ++low_count;
        low_sum += term;
        most_low = std::max(most_low, term);
      }
    }
    if (high_count <= above && low_count <= below) {
      return std::max(std::min((least_high + most_low) / 2, least_high), most_low);
    }
    if (high_count <= above) {
      hi = most_low;
      e = std::min(low_sum / low_count, most_low);
      above -= high_count;
    } else {
      lo = least_high;
      e = std::max(high_sum / high_count, least_high);
      below -= low_count;
    }
  }
  return e;
}

// With a sliding table of differences, and the scale from the closed form.
float ModelNoise(const Floats& values, size_t order) {
  std::vector<double> series;
  std::vector<double> table(order + 1);
  for (size_t i = 0; i < values.size(); ++i) {
    double term = values[i];
    for (size_t k = 0; k <= order; ++k) {
      const double next = term - table[k];
      table[k] = term;
      term = next;
    }
    if (i >= order) series.push_back(table[order]);
  }
  double scale = 1;  // of C(2d, d)
  for (size_t k = 1; k <= order; ++k) {
    scale = scale * static_cast<double>(order + k) / static_cast<double>(k);
  }
  return static_cast<float>((ModelQuantile(series, 0.6915) - ModelQuantile(series, 0.3085)) /
                            std::sqrt(scale));
}

enum Kind { kNoise, kCounts, kMostlyZero, kPeaks, kWide, kOneOff, kSpecial, kKinds };

Floats RandomValues(std::mt19937* random, size_t n, uint_fast32_t kind) {
  Floats values;
  for (size_t i = 0; i < n; ++i) {
    const auto any = static_cast<float>((*random)() % 1000003) / 1024;
    switch (kind) {
      case kCounts:
        values.push_back(static_cast<float>((*random)() % 5));
        break;
      case kMostlyZero:
        values.push_back((*random)() % 20 == 0 ? any : 0);
        break;
      case kPeaks:
        values.push_back(any + (i % 50 < 5 ? 1e6f : 0));
        break;
      case kWide:
        values.push_back(std::ldexp(any, static_cast<int>((*random)() % 60)));
        break;
      case kOneOff:
        values.push_back(i == n / 2 ? 1 : 0);
        break;
      case kSpecial:
        values.push_back(i > 1 && (*random)() % 10 == 0 ? kInfinity : any);
        break;
      default:
        values.push_back(any);
    }
  }
  return values;
}

TEST(NoiseLevel, AsTheSearchGivesIt) {
  std::mt19937 random(31);
  for (int i = 0; i < 4000; ++i) {
    const uint_fast32_t kind = random() % kKinds;
    const auto order = static_cast<int32_t>(random() % 3 == 0 ? random() % 21 : 1);
    size_t n = static_cast<size_t>(order) + 1 + random() % (i % 10 == 0 ? 2000 : 40);
    if (i % 400 == 0) n += 32767;  // enough for a sample
    const Floats values = RandomValues(&random, n, kind);
    const float noise = NoiseLevel(values, order);
    const float expected = ModelNoise(values, static_cast<size_t>(order));
    if (std::isnan(expected)) {
      ASSERT_TRUE(std::isnan(noise));
    } else {
      ASSERT_EQ(noise, expected) << "kind " << kind << " n " << n << " order " << order;
    }
  }
}

TEST(NoiseLevel, WhereASampleMisleads) {
  std::mt19937 random(8);
  Floats values = RandomValues(&random, 65536, kNoise);
  for (size_t i = 0; i < values.size(); i += 8) values[i] = 0;  // all that are in the sample
  EXPECT_EQ(NoiseLevel(values, 0), ModelNoise(values, 0));
}

TEST(NoiseLevel, OfShortRunsTogether) {
  std::mt19937 random(64);
  for (int i = 0; i < 300; ++i) {
    std::vector<Floats> runs;
    std::array<const float*, numerics::kShortRuns> begins = {};
    for (size_t k = 0; k < begins.size(); ++k) {
      runs.push_back(RandomValues(&random, numerics::kShortRun, random() % kSpecial));
    }
    for (size_t k = 0; k < begins.size(); ++k) begins[k] = runs[k].data();
    const auto levels = numerics::ShortNoiseLevels(begins);
    for (size_t k = 0; k < begins.size(); ++k) ASSERT_EQ(levels[k], NoiseLevel(runs[k], 2));
  }
}

// Ranks that fall on a term: 1000 terms give 309 and 692.
TEST(NoiseLevel, Ranks) {
  Floats squares;
  for (int i = 1; i <= 1000; ++i) squares.push_back(static_cast<float>(i * i));
  std::shuffle(squares.begin(), squares.end(), std::mt19937(1));
  EXPECT_EQ(NoiseLevel(squares, 0), 692 * 692 - 309 * 309);
  squares = {1, 3, 8, 20};  // ranks 1.7 and 3.3
  EXPECT_EQ(NoiseLevel(squares, 0), (8 + 20) / 2.0f - (1 + 3) / 2.0f);
  EXPECT_EQ(NoiseLevel({5, 9}, 0), 0);
  EXPECT_EQ(NoiseLevel({5}, 0), 0);
}

TEST(NoiseLevel, Orders) {
  const Floats values = {3, 8, 1, 9, 4, 4, 12, 0, 7, 5, 2, 11, 6, 6, 1, 10, 3, 13, 2, 8, 5, 9, 4};
  Floats differences;
  for (size_t i = 1; i < values.size(); ++i) differences.push_back(values[i] - values[i - 1]);
  EXPECT_FLOAT_EQ(NoiseLevel(values, 1), NoiseLevel(differences, 0) / std::sqrt(2.0f));
  EXPECT_EQ(NoiseLevel(values, 25), NoiseLevel(values, 20));
  EXPECT_GT(NoiseLevel(values, 20), 0);

  float noise = 7;
  EXPECT_EQ(ChroStatCalcNoiseLevel(values.data(), 23, -1, &noise), 0);
  EXPECT_EQ(ChroStatCalcNoiseLevel(values.data(), 1, 1, &noise), 0);
  EXPECT_EQ(ChroStatCalcNoiseLevel(values.data(), -5, 0, &noise), 0);
  EXPECT_EQ(noise, 7);
}

TEST(NoiseLevel, InfiniteValues) {
  for (const Floats& values :
       {Floats{1, kInfinity, 2, 3}, Floats{kNan, 1, 2}, Floats{kNan, kNan},
        Floats{1, 2, 3, 4, kNan, 5, 6, 7, 8, 9}, Floats{-kInfinity, 1, kInfinity, 2, kNan}}) {
    EXPECT_TRUE(std::isnan(NoiseLevel(values, 0)));
    EXPECT_TRUE(std::isnan(NoiseLevel(values, 1)));
  }
}

TEST(NoiseLevel, MassChromatogram) {
  const auto level = [](const Floats& values) {
    float noise = -1;
    EXPECT_EQ(CalcMassChroNoiseLevel(values.data(), static_cast<int32_t>(values.size()), &noise),
              1);
    return noise;
  };
  EXPECT_EQ(level({100, 100, 100}), 2500);
  EXPECT_EQ(level({9000}), 9000);
  EXPECT_FLOAT_EQ(level({1000, 2000, 3000}), 2000 + 4 * 1000);
  float noise = 7;
  EXPECT_EQ(CalcMassChroNoiseLevel(&noise, 0, &noise), 0);
  EXPECT_EQ(noise, 7);
}

}  // namespace
