#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "tervalon/memory.h"
#include "tervalon/processing_peaks.h"
#include "tests/support/special_values.h"

namespace tervalon::testing {
namespace {

using Floats = std::vector<float>;

struct Chromatogram {
  Floats times;
  Floats intensities;
};

constexpr double kStep = 0.01;  // minutes

Chromatogram Sample(int points, const std::function<double(double)>& signal) {
  Chromatogram made;
  for (int i = 0; i < points; ++i) {
    made.times.push_back(static_cast<float>(i * kStep));
    made.intensities.push_back(static_cast<float>(signal(i * kStep)));
  }
  return made;
}

double Gaussian(double t, double centre, double deviation, double height) {
  const double distance = (t - centre) / deviation;
  return height * std::exp(-distance * distance / 2);
}

// A Gaussian of area 1 with an exponential tail.
double Tailed(double t, double centre, double deviation, double tail) {
  const double u = (deviation / tail - (t - centre) / deviation) / std::sqrt(2.0);
  return std::exp(deviation * deviation / (2 * tail * tail) - (t - centre) / tail) * std::erfc(u) /
         (2 * tail);
}

struct FoundPeaks {
  int32_t code = PRC_OK;
  float noise = 0;
  std::vector<PrcPeak> peaks;
};

FoundPeaks Find(const PrcPeakSearch* search, const Chromatogram& trace,
                const RTCalibration* calibration = nullptr) {
  FoundPeaks found;
  PrcPeaks result = {};
  found.code = PrcFindPeaks(search, trace.times.data(), trace.intensities.data(),
                            static_cast<int32_t>(trace.times.size()), calibration, &result);
  if (found.code != PRC_OK) return found;
  found.noise = result.noise;
  const auto* const peaks = static_cast<const PrcPeak*>(TvMemLock(result.peaks));
  found.peaks.assign(peaks, peaks + result.count);
  TvMemUnlock(result.peaks);
  TvMemFree(result.peaks);
  return found;
}

// As it is, everything above an intensity.
constexpr PrcPeakSearch kPlain = {{}, PRC_THRESHOLD_INTENSITY, 1, PRC_BASELINE_DROPPED, 0};

const double kRootOfTwoPi = std::sqrt(2 * std::acos(-1.0));

TEST(FindPeaks, GaussianOnASlope) {
  const Chromatogram trace =
      Sample(1000, [](double t) { return 500 + 20 * t + Gaussian(t, 4.0037, 0.1, 1000); });
  const FoundPeaks found = Find(&kPlain, trace);
  ASSERT_EQ(found.peaks.size(), 1U);
  const PrcPeak& peak = found.peaks[0];
  EXPECT_EQ(peak.apex, 401);
  EXPECT_NEAR(peak.time, 4.0037, 1e-3);
  EXPECT_NEAR(peak.height, 1000, 1);
  EXPECT_NEAR(peak.area, 1000 * 0.1 * kRootOfTwoPi, 0.3);
  EXPECT_NEAR(peak.width, 2.3548 * 0.1, 1e-3);
  EXPECT_NEAR(peak.asymmetry, 1, 0.02);
  EXPECT_NEAR(peak.end_time - peak.start_time, 0.8, 0.2);
  EXPECT_NEAR(peak.start_intensity, 500 + 20 * peak.start_time, 1);
  EXPECT_NEAR(peak.end_intensity, 500 + 20 * peak.end_time, 1);
  EXPECT_EQ(trace.times[static_cast<size_t>(peak.start) - 1], peak.start_time);
  EXPECT_EQ(trace.times[static_cast<size_t>(peak.end) - 1], peak.end_time);
}

TEST(FindPeaks, TailedPeak) {
  const FoundPeaks found =
      Find(&kPlain, Sample(2000, [](double t) { return 5000 * Tailed(t, 5, 0.08, 0.2); }));
  ASSERT_EQ(found.peaks.size(), 1U);
  EXPECT_NEAR(found.peaks[0].area, 5000, 25);
  EXPECT_GT(found.peaks[0].asymmetry, 2);
  EXPECT_GT(found.peaks[0].end_time - found.peaks[0].time,
            3 * (found.peaks[0].time - found.peaks[0].start_time));
}

// The mean of many is right where each alone is off by what the noise makes of it.
TEST(FindPeaks, AreasInNoiseAreNotBiased) {
  std::mt19937 random(41);
  std::normal_distribution<double> noise(0, 50);
  for (const bool tailed : {false, true}) {
    double areas = 0;
    double ratios = 0;
    double truth = 0;
    constexpr int kTimes = 300;
    for (int i = 0; i < kTimes; ++i) {
      const double centre = 5 + 0.003 * (i % 10);
      const auto peak = [&](double t) {
        return tailed ? 350 * Tailed(t, centre, 0.1, 0.12) : Gaussian(t, centre, 0.1, 1000);
      };
      const FoundPeaks found =
          Find(nullptr, Sample(1000, [&](double t) { return 200 + peak(t) + noise(random); }));
      ASSERT_EQ(found.peaks.size(), 1U);
      areas += found.peaks[0].area / kTimes;
      ratios += found.peaks[0].signal_to_noise / kTimes;
      for (int k = 0; k < 1000; ++k) truth += peak(k * kStep) * kStep / kTimes;
    }
    EXPECT_NEAR(areas / truth, 1, 0.01);
    EXPECT_NEAR(ratios, 20, 2);
  }
}

// Two that overlap, with the baselines that there are.
TEST(FindPeaks, Groups) {
  const Chromatogram trace = Sample(1500, [](double t) {
    return 100 + Gaussian(t, 5, 0.1, 1000) + Gaussian(t, 5.36, 0.1, 600) + Gaussian(t, 9, 0.1, 400);
  });
  PrcPeakSearch search = kPlain;
  const std::vector<PrcPeak> dropped = Find(&search, trace).peaks;
  ASSERT_EQ(dropped.size(), 3U);
  EXPECT_EQ(dropped[0].group, dropped[1].group);
  EXPECT_NE(dropped[1].group, dropped[2].group);
  EXPECT_EQ(dropped[0].end, dropped[1].start);
  const size_t valley = static_cast<size_t>(dropped[0].end) - 1;
  EXPECT_EQ(std::min_element(trace.intensities.begin() + 500, trace.intensities.begin() + 536) -
                trace.intensities.begin(),
            static_cast<ptrdiff_t>(valley));
  EXPECT_NEAR(dropped[0].area + dropped[1].area, 1600 * 0.1 * kRootOfTwoPi, 1);
  EXPECT_NEAR(dropped[0].end_intensity, 100, 1);
  EXPECT_NEAR(dropped[2].area, 400 * 0.1 * kRootOfTwoPi, 0.2);

  search.baseline = PRC_BASELINE_VALLEYS;
  const std::vector<PrcPeak> valleys = Find(&search, trace).peaks;
  ASSERT_EQ(valleys.size(), 3U);
  EXPECT_EQ(valleys[0].end_intensity, trace.intensities[valley]);
  EXPECT_EQ(valleys[1].start_intensity, trace.intensities[valley]);
  const double cut = (trace.intensities[valley] - 100) / 2;  // triangles below the lines
  EXPECT_NEAR(dropped[0].area - valleys[0].area,
              cut * (valleys[0].end_time - valleys[0].start_time), 0.5);
  EXPECT_EQ(valleys[2].area, dropped[2].area);
}

TEST(FindPeaks, Riders) {
  const auto large = [](double t) { return 20000 * Tailed(t, 5, 0.1, 0.5); };
  for (const bool mirrored : {false, true}) {
    const Chromatogram trace = Sample(2000, [&](double time) {
      const double t = mirrored ? 19.99 - time : time;
      return 100 + large(t) + Gaussian(t, 8, 0.06, 600);
    });
    PrcPeakSearch search = kPlain;
    search.baseline = PRC_BASELINE_TANGENT;
    search.rider = 0.03F;
    std::vector<PrcPeak> peaks = Find(&search, trace).peaks;
    ASSERT_EQ(peaks.size(), 2U);
    if (mirrored) std::swap(peaks[0], peaks[1]);
    EXPECT_EQ(peaks[0].baseline, PRC_BASELINE_DROPPED);
    EXPECT_EQ(peaks[1].baseline, PRC_BASELINE_TANGENT);
    // Below the rider the flank is nearly straight.
    EXPECT_NEAR(peaks[1].area, 600 * 0.06 * kRootOfTwoPi, 6);
    EXPECT_NEAR(peaks[0].area, 20000, 120);
    EXPECT_TRUE(mirrored ? peaks[0].start < peaks[1].start : peaks[0].end > peaks[1].end);

    search.rider = 0.02F;  // it is too high for a rider
    const std::vector<PrcPeak> cut = Find(&search, trace).peaks;
    EXPECT_EQ(cut[0].baseline + cut[1].baseline, 2 * PRC_BASELINE_DROPPED);
    EXPECT_NEAR(cut[0].area + cut[1].area, peaks[0].area + peaks[1].area, 1);
  }
}

TEST(FindPeaks, Thresholds) {
  const Chromatogram trace = Sample(1000, [](double t) {
    return Gaussian(t, 2, 0.1, 1000) + Gaussian(t, 5, 0.1, 100) + Gaussian(t, 8, 0.1, 10);
  });
  PrcPeakSearch search = kPlain;
  const auto count = [&](int32_t unit, float threshold) {
    search.threshold_unit = unit;
    search.threshold = threshold;
    return Find(&search, trace).peaks.size();
  };
  EXPECT_EQ(count(PRC_THRESHOLD_INTENSITY, 9), 3U);
  EXPECT_EQ(count(PRC_THRESHOLD_INTENSITY, 11), 2U);
  EXPECT_EQ(count(PRC_THRESHOLD_PERCENT, 9.9F), 2U);
  EXPECT_EQ(count(PRC_THRESHOLD_PERCENT, 10.1F), 1U);
  EXPECT_EQ(count(PRC_THRESHOLD_PERCENT, 200), 0U);

  // Only noise; nothing; peaks that the ends cut through.
  std::mt19937 random(9);
  std::normal_distribution<double> noise(0, 50);
  EXPECT_LT(Find(nullptr, Sample(20000, [&](double) { return noise(random); })).peaks.size(), 3U);
  EXPECT_TRUE(Find(nullptr, Sample(100, [](double) { return 7; })).peaks.empty());
  EXPECT_TRUE(Find(&kPlain, Sample(100, [](double t) { return 100 * t; })).peaks.empty());
  EXPECT_EQ(Find(&kPlain, Sample(300,
                                 [](double t) {
                                   return Gaussian(t, 0.05, 0.1, 100) + Gaussian(t, 2.95, 0.1, 100);
                                 }))
                .peaks.size(),
            2U);

  RTCalibration calibration = {};
  calibration.point_count = 2;
  calibration.times[0] = 1;
  calibration.times[1] = 6;
  calibration.indices[0] = 100;
  calibration.indices[1] = 600;
  const std::vector<PrcPeak> peaks = Find(&kPlain, trace, &calibration).peaks;
  ASSERT_EQ(peaks.size(), 3U);
  EXPECT_FLOAT_EQ(peaks[0].retention_index, 200);
  EXPECT_FLOAT_EQ(peaks[1].retention_index, 500);
  EXPECT_EQ(peaks[2].retention_index, 0);
}

// Whatever the trace, peaks are in order and inside it, and what they are made of is finite.
TEST(FindPeaks, AnyTrace) {
  std::mt19937 random(77);
  for (int i = 0; i < 2000; ++i) {
    Chromatogram trace;
    float time = -1;
    const size_t points = 3 + random() % 60;
    for (size_t k = 0; k < points; ++k) {
      time += static_cast<float>(1 + random() % (i % 3 == 0 ? 1000 : 1)) * 0.01F;
      trace.times.push_back(time);
      trace.intensities.push_back(static_cast<float>(random() % (i % 5 == 0 ? 3 : 1000)) - 300);
    }
    PrcPeakSearch search = kPlain;
    search.threshold = i % 4 == 0 ? 0.0F : 50;
    search.baseline = i % 3;
    search.rider = static_cast<float>(i % 7) / 6;
    const FoundPeaks found = Find(&search, trace);
    ASSERT_EQ(found.code, PRC_OK);
    int32_t apex = 1;
    for (const PrcPeak& peak : found.peaks) {
      ASSERT_GT(peak.apex, apex);
      apex = peak.apex;
      ASSERT_TRUE(1 <= peak.start && peak.start < peak.apex && peak.apex < peak.end);
      ASSERT_LE(peak.end, static_cast<int32_t>(points));
      ASSERT_GT(peak.height, 0);
      for (const double value : {peak.area, double{peak.time}, double{peak.width},
                                 double{peak.asymmetry}, double{peak.start_intensity},
                                 double{peak.end_intensity}, double{peak.signal_to_noise}}) {
        ASSERT_TRUE(std::isfinite(value));
      }
      ASSERT_GE(peak.width, 0);
      ASSERT_GE(peak.asymmetry, 0);
    }
  }
}

TEST(FindPeaks, Refused) {
  const Chromatogram good = Sample(20, [](double t) { return Gaussian(t, 0.1, 0.02, 5); });
  const auto code = [](const Chromatogram& trace, auto change) {
    PrcPeakSearch search = kPlain;
    change(&search);
    return Find(&search, trace).code;
  };
  const auto nothing = [](auto*) {};
  EXPECT_EQ(code(good, nothing), PRC_OK);
  EXPECT_EQ(code(good, [](auto* how) { how->threshold = -1; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code(good, [](auto* how) { how->threshold_unit = 3; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code(good, [](auto* how) { how->baseline = 3; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code(good, [](auto* how) { how->rider = kNan; }), PRC_BAD_ARGUMENT);
  EXPECT_EQ(code(good, [](auto* how) { how->smoothing = {1, 0, 1, 2}; }), PRC_BAD_WINDOW);
  EXPECT_EQ(code(good, [](auto* how) { how->smoothing = {1, 10, 1, 2}; }), PRC_TOO_FEW_POINTS);
  EXPECT_EQ(code({{1, 2}, {3, 4}}, nothing), PRC_TOO_FEW_POINTS);
  EXPECT_EQ(code({{1, 2, 2}, {3, 4, 3}}, nothing), PRC_NOT_ASCENDING);
  EXPECT_EQ(code({{1, 2, kInfinity}, {3, 4, 3}}, nothing), PRC_NOT_FINITE);
  EXPECT_EQ(code({{1, 2, 3}, {3, kNan, 3}}, nothing), PRC_NOT_FINITE);
}

}  // namespace
}  // namespace tervalon::testing
