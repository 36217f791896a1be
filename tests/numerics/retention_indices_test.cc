#include "tervalon/retention_indices.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "tests/support/fault_services.h"
#include "tests/support/settings_fixture.h"

namespace {

using tervalon::platform::Profile;
using tervalon::platform::ScopedReplacement;
using tervalon::testing::FaultyProfile;

RTCalibration ThreePoints() {
  RTCalibration calibration = {1, 3, 1, 3, 1, {100, 200, 300}, {0.5f, 1.5f, 4}, {1, 2, 3}};
  return calibration;
}

TEST(RetentionIndices, Interpolate) {
  const RTCalibration calibration = ThreePoints();
  const struct {
    float time;
    int32_t found;
    float index;
    float log_p;
  } cases[] = {{1, 1, 100, 0.5f},
               {1.5f, 1, 150, 1},
               {2, 1, 200, 1.5f},
               {3.004f, 1, 300, 4},
               {3.006f, 0, 0, 0},
               {0.994f, 0, 0, 0},
               {0.996f, 1, 100, 0.5f},
               {2.5f, 1, 250, 2.75f},
               {-5, 0, 0, 0},
               {std::numeric_limits<float>::max(), 0, 0, 0},
               {std::numeric_limits<float>::quiet_NaN(), 0, 0, 0}};
  for (const auto& [time, found, index, log_p] : cases) {
    float value = -1;
    EXPECT_EQ(RTIndicesCalculateIndex(time, &calibration, &value), found) << time;
    EXPECT_FLOAT_EQ(value, index) << time;
    EXPECT_EQ(RTIndicesCalculateLogP(time, &calibration, &value), found);
    EXPECT_FLOAT_EQ(value, log_p) << time;
  }
}

TEST(RetentionIndices, UnusualCalibrations) {
  RTCalibration calibration = ThreePoints();
  float index = -1;
  for (const int32_t points : {1, 0, std::numeric_limits<int32_t>::min()}) {
    calibration.point_count = points;
    EXPECT_EQ(RTIndicesCalculateIndex(1, &calibration, &index), 0);
    EXPECT_EQ(index, 0);
  }
  calibration = ThreePoints();
  calibration.times[1] = 1.004f;  // the first two points are within one hundredth
  EXPECT_EQ(RTIndicesCalculateIndex(1, &calibration, &index), 1);
  EXPECT_FLOAT_EQ(index, 200);
  calibration.point_count = 1000000;
  EXPECT_EQ(RTIndicesCalculateIndex(50, &calibration, &index), 0);
}

using RetentionCalibration = tervalon::testing::SettingsFixture;

TEST_F(RetentionCalibration, EmptySectionHasDefaults) {
  RTCalibration calibration;
  std::memset(&calibration, 0x55, sizeof(calibration));
  EXPECT_EQ(RTIndicesGetRetentionCalibration("Nothing", &calibration), 32);
  RTCalibration expected = {};
  expected.start_index = 1;
  expected.end_index = 14;
  expected.increment = 1;
  EXPECT_EQ(std::memcmp(&calibration, &expected, sizeof(expected)), 0);
}

TEST_F(RetentionCalibration, IsKeptInItsSection) {
  RTCalibration written = {1, 3, 5, 7, 1, {}, {}, {}};
  for (size_t i = 0; i < RT_MAX_POINTS; ++i) {
    written.indices[i] = static_cast<float>(i) * 100.25f;
    written.log_p[i] = -static_cast<float>(i) / 4;
    written.times[i] = static_cast<float>(i) * 1.5f;
  }
  EXPECT_NE(RTIndicesSetRetentionCalibration(nullptr, &written), 0);
  RTCalibration read = {};
  EXPECT_EQ(RTIndicesGetRetentionCalibration("ChrRetentionCalibration", &read), 32);
  EXPECT_EQ(std::memcmp(&read, &written, sizeof(read)), 0);

  char text[80];
  GetIniString("ChrRetentionCalibration", "Index31", "", text, sizeof(text));
  EXPECT_STREQ(text, "3107.75");
  GetIniString("ChrRetentionCalibration", "NumberOfChannels", "", text, sizeof(text));
  EXPECT_STREQ(text, "3");
}

TEST_F(RetentionCalibration, IsStoredInOneChange) {
  FaultyProfile profile;
  const ScopedReplacement<Profile> replacement(&profile);
  const RTCalibration calibration = ThreePoints();
  EXPECT_EQ(RTIndicesSetRetentionCalibration("Mine", &calibration), 1);
  EXPECT_EQ(profile.write.calls(), 1);
  ASSERT_EQ(profile.writes.size(), 5U + 32 * 3);
  EXPECT_EQ(profile.writes[5].key, "Index0");
  EXPECT_EQ(profile.writes.back().key, "Time31");

  profile.write.FailNth(1);
  EXPECT_EQ(RTIndicesSetRetentionCalibration("Mine", &calibration), 0);
  EXPECT_EQ(RTIndicesSetRetentionCalibration("Min\xE9", &calibration), 0);
  RTCalibration read = {};
  profile.read.FailNth(1);
  EXPECT_EQ(RTIndicesGetRetentionCalibration("Mine", &read), 0);
  EXPECT_EQ(read.end_index, 0) << "no default where the file may have another";
}

}  // namespace
