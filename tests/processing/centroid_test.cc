#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "processing/tops.h"
#include "tervalon/processing.h"
#include "tests/support/special_values.h"

namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;
using Floats = std::vector<float>;
namespace processing = tervalon::processing;

struct Points {
  Floats masses;
  Floats intensities;
};

// Everything above 0, as it is.
constexpr PrcCentroiding kAll = {PRC_THRESHOLD_INTENSITY, 0, 0, 1, 0, PRC_INTENSITY_HEIGHT};

int32_t Centroid(const PrcCentroiding* how, const Points& points, Points* peaks) {
  *peaks = points;  // in place
  int32_t count = 0;
  const int32_t code = PrcCentroid(how, peaks->masses.data(), peaks->intensities.data(),
                                   static_cast<int32_t>(points.masses.size()), peaks->masses.data(),
                                   peaks->intensities.data(), &count);
  if (code != PRC_OK) return code;
  peaks->masses.resize(static_cast<size_t>(count));
  peaks->intensities.resize(static_cast<size_t>(count));
  return code;
}

Points Centroids(const PrcCentroiding* how, const Points& points) {
  Points peaks;
  EXPECT_EQ(Centroid(how, points, &peaks), PRC_OK);
  return peaks;
}

// At the masses 0, 1, 2, ...
Points Centroids(PrcCentroiding how, const Floats& intensities) {
  Floats masses(intensities.size());
  std::iota(masses.begin(), masses.end(), 0.0F);
  return Centroids(&how, {masses, intensities});
}

struct Gauss {
  double mass;
  double height;
  double deviation;
};

Points Spectrum(const std::vector<Gauss>& peaks, double noise, std::mt19937* random) {
  std::normal_distribution<double> deviates(0, 1);
  Points points;
  for (int i = 0; i < 20000; ++i) {
    const double mass = 400 + i * 0.01;
    double intensity = noise * deviates(*random);
    for (const Gauss& peak : peaks) {
      const double distance = (mass - peak.mass) / peak.deviation;
      intensity += peak.height * std::exp(-distance * distance / 2);
    }
    points.masses.push_back(static_cast<float>(mass));
    points.intensities.push_back(static_cast<float>(intensity));
  }
  return points;
}

TEST(Centroid, WholePeaks) {
  PrcCentroiding how = kAll;
  Points peaks = Centroids(how, {0, 1, 4, 3, 0, 0, 2, 0});
  EXPECT_EQ(peaks.masses, Floats({18.0F / 8, 6}));
  EXPECT_EQ(peaks.intensities, Floats({4, 2}));

  // Split at the valley, of which either has a half. Ends can be tops.
  how.intensity = PRC_INTENSITY_AREA;
  peaks = Centroids(how, {6, 2, 0, 4, 2, 4, 0, -5, 3});
  EXPECT_EQ(peaks.intensities, Floats({8, 5, 5, 3}));
  EXPECT_EQ(peaks.masses, Floats({2.0F / 8, 16.0F / 5, 24.0F / 5, 8}));

  // Of equal points the middle one is the top, and the valley.
  how.intensity = PRC_INTENSITY_HEIGHT;
  how.top = 0.1F;
  EXPECT_EQ(Centroids(how, {0, 5, 5, 5, 1, 1, 1, 7, 0}).masses, Floats({2, 7}));
  EXPECT_EQ(Centroids(how, {3, 3, 3}).masses, Floats({1}));
  EXPECT_EQ(Centroids(how, {3}).masses, Floats({0}));
  EXPECT_EQ(Centroids(how, {0, 0, -1, 0}).masses, Floats());
}

TEST(Centroid, Options) {
  PrcCentroiding how = kAll;
  const Floats twins = {0, 10, 8, 9, 0, 3, 0};
  how.rise = 0.1F;  // 9 stands 1 above the valley
  EXPECT_EQ(Centroids(how, twins).intensities, Floats({10, 9, 3}));
  how.rise = 0.12F;
  EXPECT_EQ(Centroids(how, twins).intensities, Floats({10, 3}));
  EXPECT_EQ(Centroids(how, {0, 9, 8, 9, 0}).intensities, Floats({9}));
  how.threshold = 9;
  EXPECT_EQ(Centroids(how, twins).intensities, Floats({10}));
  how.threshold_unit = PRC_THRESHOLD_PERCENT;
  how.threshold = 31;
  EXPECT_EQ(Centroids(how, twins).intensities, Floats({10}));
  how.threshold = 30;
  EXPECT_EQ(Centroids(how, twins).intensities, Floats({10, 3}));

  // What rises again below the threshold is not the peak's.
  how = {PRC_THRESHOLD_INTENSITY, 5, 0, 1, 0, PRC_INTENSITY_AREA};
  EXPECT_EQ(Centroids(how, {3, 2, 1, 8, 6, 7, 1, 2}).intensities, Floats({12, 11}));
  how.rise = 0.5F;
  EXPECT_EQ(Centroids(how, {3, 2, 1, 8, 6, 7, 1, 2}).intensities, Floats({23}));

  // The mass of the upper half: 4 and 1 above the level of 5.
  how = {PRC_THRESHOLD_INTENSITY, 0, 0, 0.5F, 0, PRC_INTENSITY_HEIGHT};
  EXPECT_EQ(Centroids(how, {0, 2, 10, 6, 5, 0}).masses, Floats({2 + 1.0F / 6}));

  // Widths at half of the height 1 and 2 2/3, of masses 3 and 11.4.
  const Floats narrow = {0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 2, 4, 4, 1, 0};
  how = kAll;
  for (const auto& [resolution, peaks] :
       {std::pair{4.3F, 2U}, {4.2F, 1U}, {3.0F, 1U}, {2.9F, 0U}}) {
    how.resolution = resolution;
    EXPECT_EQ(Centroids(how, narrow).masses.size(), peaks) << resolution;
  }
}

// Without options: all peaks that are clear of the noise, none of what is not, and their masses.
TEST(Centroid, KnownPeaks) {
  std::mt19937 random(5);
  std::vector<Gauss> truth;
  for (int i = 0; i < 60; ++i) {
    truth.push_back({402.5 + 3.2 * i + 0.0037 * (i % 10), i % 3 == 0 ? 200.0 : 5000.0, 0.05});
  }
  truth.push_back({410.5, 3000, 0.05});  // a pair that has a valley
  truth.push_back({410.67, 2000, 0.05});
  std::sort(truth.begin(), truth.end(),
            [](const Gauss& a, const Gauss& b) { return a.mass < b.mass; });
  const Points peaks = Centroids(nullptr, Spectrum(truth, 10, &random));
  size_t next = 0;
  size_t others = 0;
  for (size_t i = 0; i < peaks.masses.size(); ++i) {
    if (peaks.intensities[i] < 100) {
      ++others;
      EXPECT_LT(peaks.intensities[i], 60);
      continue;
    }
    ASSERT_LT(next, truth.size());
    EXPECT_NEAR(peaks.masses[i], truth[next].mass, 0.012);
    EXPECT_NEAR(peaks.intensities[i] / truth[next].height, 1, 0.2);
    ++next;
  }
  EXPECT_EQ(next, truth.size());
  EXPECT_LT(others, 200U);  // of 20,000 points
}

TEST(Centroid, AreasAddUp) {
  std::mt19937 random(7);
  PrcCentroiding how = kAll;
  how.intensity = PRC_INTENSITY_AREA;
  for (int i = 0; i < 300; ++i) {
    Floats intensities(1 + random() % 100);
    for (float& intensity : intensities) {
      intensity = static_cast<float>(random() % (i % 2 == 0 ? 5 : 100000)) - 1;
    }
    const Points peaks = Centroids(how, intensities);
    double sum = 0;
    for (const float intensity : intensities) sum += std::max(intensity, 0.0F);
    ASSERT_NEAR(std::accumulate(peaks.intensities.begin(), peaks.intensities.end(), 0.0), sum,
                1e-6 * sum);
    ASSERT_LE(peaks.masses.size(), (intensities.size() + 1) / 2);
    ASSERT_TRUE(std::is_sorted(peaks.masses.begin(), peaks.masses.end()));
  }
}

// What PrcCentroid describes, point for point, with heights as intensities.
Points PlainCentroids(const PrcCentroiding& how, const Points& points) {
  const Floats& values = points.intensities;
  const double threshold = how.threshold;
  const std::vector<processing::Top> tops =
      processing::FindTops(values.data(), values.size(),
                           {std::max(threshold, 1e-45), 0, static_cast<double>(how.rise), true});
  Points peaks;
  for (const processing::Top& top : tops) {
    const double height = values[top.at];
    const double level = height * (1 - static_cast<double>(how.top));
    double weights = height - level;
    double moment = 0;
    double area = height;
    for (const bool behind : {false, true}) {
      const size_t valley = behind ? top.last : top.first;
      const bool shared = behind ? &top != &tops.back() : &top != &tops.front();
      bool above = true;
      for (size_t inner = top.at; inner != valley;) {
        const size_t outer = behind ? inner + 1 : inner - 1;
        const double value = values[outer];
        if (value <= 0 || (values[inner] < threshold && value > values[inner])) break;
        const double share = shared && outer == valley ? 0.5 : 1;
        area += value * share;
        above = above && value > level;
        if (above) {
          weights += (value - level) * share;
          moment +=
              (value - level) * share * (double{points.masses[outer]} - points.masses[top.at]);
        }
        inner = outer;
      }
    }
    peaks.masses.push_back(static_cast<float>(weights > 0 ? points.masses[top.at] + moment / weights
                                                          : points.masses[top.at]));
    peaks.intensities.push_back(
        static_cast<float>(how.intensity == PRC_INTENSITY_AREA ? area : height));
  }
  return peaks;
}

TEST(Centroid, AsPlainlyFound) {
  std::mt19937 random(19);
  for (int i = 0; i < 2000; ++i) {
    const PrcCentroiding how = {PRC_THRESHOLD_INTENSITY,
                                static_cast<float>(random() % 12),
                                static_cast<float>(random() % 4) / 4,
                                static_cast<float>(1 + random() % 5) / 5,
                                0,
                                static_cast<int32_t>(random() % 2)};
    const auto levels = 2 + random() % 40;          // few: equal neighbours
    const auto offset = random() % 3 * levels / 4;  // how many are not above 0
    const auto smooth = 1 + random() % 6;
    Points points;
    const size_t count = 1 + random() % (i % 4 == 0 ? 600 : 90);
    for (size_t k = 0; k < count; ++k) {
      const auto near = static_cast<float>(random() % levels) - static_cast<float>(offset);
      const float last = k > 0 ? points.intensities.back() : near;
      points.intensities.push_back((last * static_cast<float>(smooth - 1) + near) /
                                   static_cast<float>(smooth));
      points.masses.push_back(100 + static_cast<float>(k) * 0.01F);
    }
    const Points plain = PlainCentroids(how, points);
    const Points peaks = Centroids(&how, points);
    ASSERT_EQ(peaks.masses, plain.masses) << i;
    ASSERT_EQ(peaks.intensities, plain.intensities) << i;
  }
}

TEST(Centroid, Refused) {
  const Points good = {{1, 2, 3}, {0, 5, 0}};
  const auto with = [](auto change) {
    PrcCentroiding how = kAll;
    change(&how);
    return how;
  };
  const struct {
    PrcCentroiding how;
    Points points;
    int32_t code;
  } kCases[] = {
      {with([](auto* how) { how->threshold_unit = 3; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->threshold = -1; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->threshold = kNan; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->rise = 1.5F; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->top = 0; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->resolution = kInfinity; }), good, PRC_BAD_ARGUMENT},
      {with([](auto* how) { how->intensity = 2; }), good, PRC_BAD_ARGUMENT},
      {kAll, {}, PRC_TOO_FEW_POINTS},
      {kAll, {{1, kNan, 3}, {0, 5, 0}}, PRC_NOT_FINITE},
      {kAll, {{1, 2, 3}, {0, 5, kInfinity}}, PRC_NOT_FINITE},
      {kAll, {{1, 3, 2}, {0, 5, 0}}, PRC_NOT_ASCENDING},
  };
  for (const auto& row : kCases) {
    Points peaks = row.points;
    peaks.masses.resize(3);
    peaks.intensities.resize(3);
    const Points before = peaks;
    int32_t count = 77;
    EXPECT_EQ(PrcCentroid(&row.how, peaks.masses.data(), peaks.intensities.data(),
                          static_cast<int32_t>(row.points.masses.size()), peaks.masses.data(),
                          peaks.intensities.data(), &count),
              row.code);
    EXPECT_EQ(count, 77);
    EXPECT_TRUE(std::equal(before.intensities.begin(), before.intensities.end(),
                           peaks.intensities.begin()));
  }
}

}  // namespace
