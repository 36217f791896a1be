#include "tervalon/coordinate_systems.h"

#include <cmath>
#include <random>

#include "tests/plot/tables.h"
#include "tests/support/special_values.h"

namespace tervalon::plot {
namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kMax;
using tervalon::testing::kMin;
using tervalon::testing::kNan;

class CoordinateSystems : public PlotTables {};

TEST_F(CoordinateSystems, HandsOutTheLowestFreeHandle) {
  EXPECT_EQ(CosAvailable(), kLastSystem);
  for (int32_t handle = 1; handle <= kLastSystem; ++handle) EXPECT_EQ(CosCreate(0, 0), handle);
  EXPECT_EQ(CosCreate(0, 0), 0);
  EXPECT_EQ(CosAvailable(), 0);
  EXPECT_EQ(CosDelete(40), 0);
  EXPECT_EQ(CosDelete(40), -1);
  EXPECT_EQ(CosValidHandle(40), -1);
  EXPECT_EQ(CosAvailable(), 1);
  EXPECT_EQ(CosCreate(0, 0), 40);
  for (const int32_t handle : {kMin, -1, 0, 120, kMax}) {
    EXPECT_EQ(CosValidHandle(handle), -1);
    EXPECT_EQ(CosModifyXAxis(handle, 0, 1), -1);
    EXPECT_EQ(CosXPosOfValue(handle, 1), 0);
    EXPECT_EQ(CosValueAtYPos(handle, 1), 0.0);
  }
}

TEST_F(CoordinateSystems, RoundsNegativeDistancesTowardZero) {
  const int32_t system = CosCreate(10, 200);
  EXPECT_EQ(CosModifyXAxis(system, 0, 2), 0);
  EXPECT_EQ(CosXPosOfValue(system, 3.3), 17);
  EXPECT_EQ(CosXPosOfValue(system, -0.4), 10);
  EXPECT_EQ(CosXPosOfValue(system, -0.8), 9);
  EXPECT_EQ(CosModifyYAxis(system, 1, 10), 0);
  EXPECT_EQ(CosYPosOfValue(system, 3.05), 179);
  EXPECT_EQ(CosYPosOfValue(system, 0.95), 200);
  EXPECT_EQ(CosValueAtXPos(system, 17), 3.5);
  EXPECT_EQ(CosValueAtYPos(system, 179), 3.1);
}

TEST_F(CoordinateSystems, ShiftsWithDepthUntilTheZAxisIsSetAgain) {
  const int32_t system = CosCreate(10, 200);
  CosModifyXAxis(system, 0, 2);
  EXPECT_EQ(CosModifyZAxis(system, 1, 5, 2.5), 0);
  EXPECT_EQ(CosPosOfZValue(system, 3, 0), 20);
  EXPECT_EQ(CosPosOfZValue(system, 3, 1), 195);
  EXPECT_EQ(CosPosOfZValue(system, 2, 7), 198);  // 198.0: the half is added before truncation
  EXPECT_EQ(CosSetZValue(system, 3), 0);
  EXPECT_EQ(CosXPosOfValue(system, 3.3), 27);
  EXPECT_EQ(CosYPosOfValue(system, 4), 191);
  EXPECT_EQ(CosValueAtXPos(system, 27), 3.5);
  EXPECT_EQ(CosValueAtYPos(system, 191), 4);
  CosModifyZAxis(system, 1, 5, 2.5);
  EXPECT_EQ(CosXPosOfValue(system, 3.3), 17);

  // Truncation of the whole sum is toward zero on both sides of it.
  CosModifyOrigin(system, -10, -10);
  EXPECT_EQ(CosPosOfZValue(system, 1, 0), -9);
  EXPECT_EQ(CosPosOfZValue(system, 1, 1), -9);
}

TEST_F(CoordinateSystems, SurvivesValuesBeyondTheDevice) {
  const int32_t system = CosCreate(kMax, kMin);
  EXPECT_EQ(CosXPosOfValue(system, 1e300), kMax);
  EXPECT_EQ(CosXPosOfValue(system, -kInfinity), -1);
  EXPECT_EQ(CosYPosOfValue(system, 1e300), kMin);
  EXPECT_EQ(CosXPosOfValue(system, kNan), kMax);
  EXPECT_EQ(CosValueAtXPos(system, kMin), -4294967295.0);
  EXPECT_EQ(CosModifyZAxis(system, 0, 1e30, 1e30), 0);
  EXPECT_EQ(CosSetZValue(system, 1e30), 0);
  EXPECT_EQ(CosXPosOfValue(system, 1e300), kMax);
  EXPECT_EQ(CosYPosOfValue(system, -1e300), 0);

  CosModifyOrigin(system, 7, 9);
  CosModifyXAxis(system, 5, 0);
  CosModifyZAxis(system, 0, 0, 0);
  EXPECT_EQ(CosXPosOfValue(system, 1e300), 7);
  EXPECT_EQ(CosXPosOfValue(system, kInfinity), 7);
  EXPECT_EQ(CosPosOfZValue(system, kInfinity, 1), 9);
  EXPECT_TRUE(std::isinf(CosValueAtXPos(system, 8)));
  for (const double bad : {double{kNan}, double{kInfinity}, 1e300}) {
    EXPECT_EQ(CosModifyXAxis(system, bad, 1), -1);
    EXPECT_EQ(CosModifyYAxis(system, 0, bad), -1);
    EXPECT_EQ(CosModifyZAxis(system, 0, 1, bad), -1);
  }
  EXPECT_EQ(CosXPosOfValue(system, 6), 7);
}

TEST_F(CoordinateSystems, PositionsAndValuesAreInverse) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int32_t> pixels(-3000, 3000);
  std::uniform_real_distribution<float> offsets(-1000, 1000);
  const int32_t system = CosCreate(0, 0);
  for (int i = 0; i < 2000; ++i) {
    const float scale = std::ldexp(1.0F + static_cast<float>(i % 7), i % 20 - 10);
    CosModifyOrigin(system, pixels(random), pixels(random));
    CosModifyXAxis(system, offsets(random), scale);
    CosModifyYAxis(system, offsets(random), scale);
    CosModifyZAxis(system, 0, offsets(random), offsets(random));
    CosSetZValue(system, i % 5);
    const int32_t pixel = pixels(random);
    // The middle of a pixel rounds to it from both sides, but for the one next to the origin.
    EXPECT_NEAR(CosXPosOfValue(system, CosValueAtXPos(system, pixel)), pixel, 1);
    EXPECT_NEAR(CosYPosOfValue(system, CosValueAtYPos(system, pixel)), pixel, 1);
  }
}

}  // namespace
}  // namespace tervalon::plot
