// Noise of raw data read through data handles, and the settings for it.

#include "tervalon/noise_statistics.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/datamgr/raw_data_fixture.h"
#include "tests/support/settings_fixture.h"

namespace {

using tervalon::datamgr::Floats;
using tervalon::testing::Scan;

// Function 1: a total ion current of 11 scans over a minute. Function 2: one scan of points.
class NoiseStatisticsTest : public tervalon::datamgr::RawDataTest {
 protected:
  static constexpr float kIntensities[] = {5, 3, 9, 2, 2, 7, 1, 4, 6, 8, 10};

  void SetUp() override {
    std::vector<Scan> scans;
    for (size_t i = 0; i < std::size(kIntensities); ++i) {
      Scan scan;
      scan.description.retention_time = 2 + static_cast<float>(i) / 10;
      scan.masses = {200};
      scan.intensities = {kIntensities[i]};
      scans.push_back(scan);
    }
    Scan spectrum;
    spectrum.masses = {100, 101, 102, 103, 104};
    spectrum.intensities = {8, 2, 5, 4, 9};
    Scan point;
    point.masses = {100};
    point.intensities = {8};
    const RawFunctionRecord record =
        tervalon::testing::ScanningRecord(RAW_DATA_STANDARD_CENTROID, 50, 400);
    ASSERT_NO_FATAL_FAILURE(MakeData({record, record}, {scans, {spectrum, point}}));
    file_ = RawFile();
  }

  // Range and extrema rate; empty for a failure, which leaves both alone.
  Floats Chromatogram(float from, float to) const {
    Floats results = {-1, -1};
    if (ChroStatCalcNoiseStats(&file_, &tic_, from, to, &results[0], &results[1]) == 1) {
      return results;
    }
    EXPECT_EQ(results, (Floats{-1, -1}));
    return {};
  }

  Floats Spectrum(int32_t scan, float from, float to) const {
    SystemRawFile file = file_;
    file.function = 2;
    file.first_value = scan;
    Floats results = {-1, -1};
    return SpecStatCalcNoiseStats(&file, from, to, &results[0], &results[1]) == 1 ? results
                                                                                  : Floats();
  }

  SystemRawFile file_ = {};
  DmTraceRecord tic_ = {};
};

TEST_F(NoiseStatisticsTest, Chromatogram) {
  // 3, 9, 2, 2, 7, 1: the maxima 9 and 7, of which the flat stretch hides one of the minima.
  EXPECT_EQ(Chromatogram(2.05f, 2.65f),
            (Floats{8, static_cast<float>(2 / (2.65f - double{2.05f}))}));
  EXPECT_EQ(Chromatogram(2.55f, 2.95f), (Floats{7, 0}));  // monotonic
  EXPECT_EQ(Chromatogram(2.65f, 100)[0], 6);              // as far as the last element
  EXPECT_EQ(Chromatogram(3, 4), (Floats{0, 0}));          // one element
  EXPECT_EQ(Chromatogram(3.01f, 4), Floats());
  EXPECT_EQ(Chromatogram(2.5f, 2.5f), Floats());
  EXPECT_EQ(Chromatogram(2.5f, 2.1f), Floats());
  EXPECT_EQ(FreeRawHandles(), 20);
}

TEST_F(NoiseStatisticsTest, Spectrum) {
  EXPECT_EQ(Spectrum(1, 100, 105), (Floats{7, 3.0f / 5}));
  EXPECT_EQ(Spectrum(1, 100.5f, 103), (Floats{3, 0}));
  EXPECT_EQ(Spectrum(2, 0, 1000), Floats());  // a single point
  EXPECT_EQ(Spectrum(3, 0, 1000), Floats());
  SystemRawFile file = file_;
  file.first_value = 1;
  file.function = 2;
  EXPECT_EQ(SpecStatCalcNoiseStats(&file, 100, 105, nullptr, nullptr), 1);
}

TEST_F(NoiseStatisticsTest, CycleTime) {
  float largest = -1;
  EXPECT_FLOAT_EQ(ChroStatGetCycleTime(&file_, &tic_, &largest), 1.0f / 11);
  EXPECT_EQ(largest, 10);
  file_.function = 3;
  EXPECT_EQ(ChroStatGetCycleTime(&file_, &tic_, &largest), 0);
  EXPECT_EQ(largest, 10);
  EXPECT_EQ(ChroStatGetCycleTime(nullptr, &tic_, &largest), 0);
  EXPECT_EQ(largest, 0);
}

using NoiseSettingsTest = tervalon::testing::SettingsFixture;

TEST_F(NoiseSettingsTest, AreKept) {
  ChroStatSettings settings = {};
  float level = 0;
  EXPECT_EQ(ChroStatGetIniFile(&settings), 1);
  EXPECT_EQ(SpecStatGetIniFile(&level), 1);
  EXPECT_EQ(settings.peak_width, 0.2f);
  EXPECT_EQ(settings.noise_level, 2000);
  EXPECT_EQ(level, 2000);

  settings = {0.125f, 1234.5f};
  level = 77;
  EXPECT_EQ(ChroStatSetIniFile(&settings), 1);
  EXPECT_EQ(SpecStatSetIniFile(&level), 1);
  settings = {};
  level = 0;
  EXPECT_EQ(ChroStatGetIniFile(&settings), 1);
  EXPECT_EQ(SpecStatGetIniFile(&level), 1);
  EXPECT_EQ(settings.peak_width, 0.12f);
  EXPECT_EQ(settings.noise_level, 1234.5f);
  EXPECT_EQ(level, 77);

  EXPECT_EQ(GetIni("ChromatogramStats", "ChrStatPeakWidth"), "0.12");
  EXPECT_EQ(GetIni("SpectrumStats", "SpeStatNoiseLevel"), "77.00");
}

TEST_F(NoiseSettingsTest, SayWhatIsNotKept) {
  tervalon::testing::FaultyProfile profile;
  const tervalon::platform::ScopedReplacement<tervalon::platform::Profile> use(&profile);
  profile.write.FailNth(1, true);
  profile.read.FailNth(1, true);
  ChroStatSettings settings = {1, 2};
  EXPECT_EQ(ChroStatSetIniFile(&settings), 0);
  EXPECT_EQ(profile.writes.size(), 2U) << "one change";
  EXPECT_EQ(SpecStatSetIniFile(&settings.noise_level), 0);
  EXPECT_EQ(ChroStatGetIniFile(&settings), 0);
  EXPECT_EQ(SpecStatGetIniFile(&settings.noise_level), 0);
  EXPECT_EQ(settings.noise_level, 2);
}

}  // namespace
