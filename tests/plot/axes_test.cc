#include "tervalon/axes.h"

#include <array>
#include <random>
#include <vector>

#include "tests/plot/tables.h"
#include "tests/support/special_values.h"

namespace tervalon::plot {
namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kMax;
using tervalon::testing::kMin;
using tervalon::testing::kNan;

using Rect = std::array<int32_t, 4>;

Rect ToArray(const TvRect& rect) { return {rect.left, rect.top, rect.right, rect.bottom}; }

Rect AreaOf(int32_t axes, int32_t row, int32_t flags) {
  TvRect area = {};
  EXPECT_EQ(AxsGetArea(axes, row, &area, flags), 1);
  return ToArray(area);
}

class AxesTest : public PlotTables {};

TEST_F(AxesTest, HandsOutHandlesAndRowSystems) {
  for (int32_t handle = 1; handle <= kLastAxes; ++handle) EXPECT_EQ(AxsCreate(1, 0, 1, 1), handle);
  EXPECT_EQ(AxsCreate(1, 0, 1, 1), 0);
  EXPECT_EQ(CosAvailable(), kLastSystem - kLastAxes);
  EXPECT_EQ(AxsDelete(30), 1);
  EXPECT_EQ(AxsDelete(30), 0);
  EXPECT_EQ(AxsValidHandle(30), 0);
  for (const int32_t rows : {kMin, 0, 6, kMax}) EXPECT_EQ(AxsCreate(rows, 0, 1, 1), 0);
  EXPECT_EQ(AxsCreate(5, 0, 1, 1), 30);
  for (const int32_t handle : {kMin, 0, 50, kMax}) EXPECT_EQ(AxsValidHandle(handle), 0);

  // A row without a coordinate system: nothing is kept.
  while (CosAvailable() > 2) CosCreate(0, 0);
  AxsDelete(1);
  EXPECT_EQ(AxsCreate(4, 0, 1, 1), 0);
  EXPECT_EQ(CosAvailable(), 3);
  EXPECT_EQ(AxsCreate(3, 0, 1, 1), 1);
}

TEST_F(AxesTest, StartsWithDefaults) {
  const AxsSystem system = SystemOf(AxsCreate(3, 1, 1, 1));
  EXPECT_EQ(system.flags, AXS_FLAG_IN_USE);
  EXPECT_EQ(system.requested_rows, 3);
  EXPECT_EQ(system.row_order, 1);
  EXPECT_EQ(system.row_count, 1);  // the empty area is 1 by 1
  EXPECT_EQ(system.x.high, 1.0F);
  for (const AxsMagnify& range : system.magnify) {
    EXPECT_EQ(range.from, 1.0F);
    EXPECT_EQ(range.factor, 1.0F);
  }
  EXPECT_EQ(system.row_systems[2], 3);
  EXPECT_EQ(system.row_systems[3], 0);
  EXPECT_EQ(SystemOf(AxsCreate(1, 0, 2, 1)).row_count, 0);
}

TEST_F(AxesTest, WidensEmptyRanges) {
  const int32_t axes = AxsCreate(1, 0, 1, 1);
  EXPECT_EQ(AxsSetRanges(axes, 5, 5, 3, 3), 1);
  AxsSystem system = SystemOf(axes);
  EXPECT_EQ(system.x.low, 4.5F);
  EXPECT_EQ(system.x.high, 5.5F);
  EXPECT_EQ(system.x.crossing, 4.5F);
  EXPECT_EQ(system.y.low, 3.0F);
  EXPECT_EQ(system.y.high, 4.0F);
  EXPECT_EQ(system.y.crossing, 3.0F);
  AxsSetRanges(axes, 0, 10, -2, 8);
  EXPECT_EQ(SystemOf(axes).y.crossing, 0.0F);
  const AxsRange z = {7, 7, kNan};
  EXPECT_EQ(AxsSetAxisRange(axes, &z, AXS_Z_AXIS), 1);
  EXPECT_EQ(SystemOf(axes).z.high, 7.0F);
  EXPECT_EQ(AxsSetAxisRange(axes, &z, 3), 0);

  for (const float bad : {kNan, kInfinity, -kInfinity}) {
    EXPECT_EQ(AxsSetRanges(axes, 1, 2, 1, bad), 0);
    EXPECT_EQ(AxsSetRanges(axes, bad, 2, 1, 2), 0);
    const AxsRange range = {1, 2, bad};
    EXPECT_EQ(AxsSetAxisRange(axes, &range, AXS_X_AXIS), 0);
    EXPECT_EQ(AxsModify(axes, bad, 0), 0);
  }
  system = SystemOf(axes);
  EXPECT_EQ(system.x.high, 10.0F);
  EXPECT_EQ(system.depth_x, 0.0F);
}

TEST_F(AxesTest, LaysRowsOut) {
  // 101 wide and 200 high; each of two rows has 100 - 10 - 15 = 75.
  const TvRect area = {100, 50, 200, 249};
  const TvRect margins = {20, 10, 5, 15};
  const int32_t top_first = MakeAxes(2, area, margins);
  EXPECT_EQ(SystemOf(top_first).row_count, 2);
  EXPECT_EQ(AreaOf(top_first, 0, 0), (Rect{120, 59, 195, 134}));
  EXPECT_EQ(AreaOf(top_first, 1, 0), (Rect{120, 159, 195, 234}));
  EXPECT_EQ(AreaOf(MakeAxes(2, area, margins, 1), 0, 0), (Rect{120, 159, 195, 234}));

  EXPECT_EQ(AreaOf(top_first, 1, AXS_AREA_MARGINS), ToArray(margins));
  EXPECT_EQ(AreaOf(top_first, 1, AXS_AREA_WHOLE), (Rect{120, 60, 195, 234}));
  EXPECT_EQ(AreaOf(top_first, 1, 2 | 4 | 8 | 16), (Rect{100, 50, 200, 234}));
  EXPECT_EQ(AreaOf(top_first, 0, 4 | 8 | 16 | 32), (Rect{100, 49, 200, 149}));
  TvRect out = {};
  EXPECT_EQ(AxsGetArea(top_first, 2, &out, 0), 0);
  EXPECT_EQ(AxsGetArea(top_first, -1, &out, 0), 0);
  EXPECT_EQ(AxsSelectAxis(top_first, 195, 134, 0), 0);
  EXPECT_EQ(AxsSelectAxis(top_first, 120, 159, 0), 1);
  EXPECT_EQ(AxsSelectAxis(top_first, 120, 135, 0), -1);
  EXPECT_EQ(AxsSelectAxis(top_first, 120, 135, 32), 0);

  // A quarter of the width and a fifth of the height go to the depth direction.
  EXPECT_EQ(AxsModify(top_first, 1.0 / 3, 0.25), 2);
  const AxsSystem system = SystemOf(top_first);
  // 76 / (4/3) wide, 1/3 as a float being a little more.
  EXPECT_EQ(CosXPosOfValue(system.row_systems[0], 5), 120 + 56);
  EXPECT_EQ(CosYPosOfValue(system.row_systems[0], 100), 134 - 60);
  EXPECT_EQ(CosPosOfZValue(system.row_systems[0], 1, 0), 120 + 20);
  EXPECT_EQ(CosPosOfZValue(system.row_systems[0], 1, 1), 134 - 15);
}

TEST_F(AxesTest, ShowsFewerRowsWhereSpaceIsShort) {
  const TvRect margins = {10, 10, 10, 10};
  const TvRect two_rows = {0, 0, 99, 119};
  const int32_t axes = MakeAxes(3, two_rows, margins, 0, 40);
  EXPECT_EQ(SystemOf(axes).row_count, 2);
  const TvRect narrow = {0, 0, 19, 119};
  EXPECT_EQ(AxsSize(axes, &narrow, &margins), 0);
  TvRect out = {};
  TvPoint point = {};
  AxsTickInfo info = {};
  EXPECT_EQ(AxsGetArea(axes, 0, &out, 0), 0);
  EXPECT_EQ(AxsGetAxisCoord(axes, 5, 5, &point), -1);
  EXPECT_EQ(AxsGetValue(axes, 0, 5, AXS_X_AXIS, 1), 0.0F);
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, 10, &info, AXS_X_AXIS), -1);
  EXPECT_EQ(AxsSelectAxis(axes, 5, 5, 2), -1);

  EXPECT_EQ(AxsSize(axes, &two_rows, &margins), 2);
  EXPECT_EQ(AxsSize(axes, &two_rows, nullptr), 0);
  EXPECT_EQ(SystemOf(axes).row_count, 2);
  // Without an area there are no rows, whatever is set, until there is one again.
  const int32_t small = AxsCreate(1, 0, 1, 1);
  EXPECT_EQ(AxsSize(small, nullptr, nullptr), 0);
  AxsSetRanges(small, 0, 1, 0, 1);
  EXPECT_EQ(AxsModify(small, 0.5, 0.5), 0);
  EXPECT_EQ(AxsSize(small, &two_rows, &margins), 1);
}

// A slice ends at start + step, both floats.
TEST_F(AxesTest, DividesTheRangeInFloats) {
  const int32_t axes = MakeAxes(3, {0, 0, 100, 299}, {});
  AxsSetRanges(axes, 292, 1105.125F, 0, 1);
  const AxsSystem system = SystemOf(axes);
  EXPECT_EQ(system.row_ranges[0].to, 563.041626F);
  EXPECT_EQ(system.row_ranges[1].from, 563.041626F);
  EXPECT_EQ(system.row_ranges[2].to, 1105.125F);
}

TEST_F(AxesTest, ConvertsBetweenValuesAndPositions) {
  const int32_t axes = MakeAxes(2, {0, 0, 100, 201}, {});
  const AxsSystem system = SystemOf(axes);
  EXPECT_EQ(system.row_ranges[0].to, 5.0F);
  EXPECT_EQ(system.row_ranges[1].from, 5.0F);
  EXPECT_EQ(system.row_ranges[1].to, 10.0F);
  TvPoint point = {};
  EXPECT_EQ(AxsGetAxisCoord(axes, 5, 50, &point), 0);  // the first row that holds it
  EXPECT_EQ(point.x, 101);
  EXPECT_EQ(point.y, 50);
  EXPECT_EQ(AxsGetAxisCoord(axes, 5.0002, 100.00005, &point), 1);
  EXPECT_EQ(point.x, 0);
  EXPECT_EQ(point.y, 100);
  EXPECT_EQ(AxsGetAxisCoord(axes, -0.00005, 100.0002, &point), 0);
  EXPECT_EQ(point.y, -1);
  EXPECT_EQ(AxsGetAxisCoord(axes, 10.0002, 5, nullptr), -1);

  EXPECT_FLOAT_EQ(AxsGetValue(axes, 1, 50, AXS_X_AXIS, 0), 5.0F + 50.0F / 20.2F);
  EXPECT_EQ(AxsGetValue(axes, 1, -1000, AXS_X_AXIS, 1), 0.0F);  // the whole range, not the row's
  EXPECT_EQ(AxsGetValue(axes, 0, -1000, AXS_Y_AXIS, 1), 100.0F);
  EXPECT_EQ(AxsGetValue(axes, 0, 100, AXS_Y_AXIS, 0), 0.0F);
  EXPECT_EQ(AxsGetValue(axes, 2, 50, AXS_X_AXIS, 0), 0.0F);
  EXPECT_EQ(AxsGetValue(axes, 0, 50, AXS_Z_AXIS, 0), 0.0F);
}

// Random, also absurd, rectangles and ranges: what is laid out lies inside the area, above and
// below each other, and values come back from their positions.
TEST_F(AxesTest, KeepsRowsApartAndInside) {
  std::mt19937 random(2);
  std::uniform_int_distribution<int32_t> small(-50, 1200);
  std::uniform_int_distribution<int32_t> any(kMin, kMax);
  std::uniform_int_distribution<int32_t> margin(0, 40);
  int laid_out = 0;
  for (int i = 0; i < 4000; ++i) {
    auto& pixels = i % 4 == 0 ? any : small;
    const int32_t axes = AxsCreate(1 + i % 5, i % 2, 1, 1);
    const TvRect area = {pixels(random), pixels(random), pixels(random), pixels(random)};
    const TvRect margins = {margin(random), margin(random), margin(random), margin(random)};
    AxsModify(axes, i % 3 * 0.25, i % 2 * 0.5);
    const int32_t rows = AxsSize(axes, &area, &margins);
    const float low = static_cast<float>(small(random)) / 7.0F;
    AxsSetRanges(axes, low, low + static_cast<float>(margin(random)), low, low + 100);
    std::vector<Rect> areas;
    // Scales are floats: only rows of a sensible size are exact to the pixel.
    for (int32_t row = 0; row < (i % 4 == 0 ? 0 : rows); ++row) {
      areas.push_back(AreaOf(axes, i % 2 == 0 ? row : rows - 1 - row, 0));
      const Rect& rect = areas.back();
      EXPECT_LE(area.left + margins.left, rect[0]);
      EXPECT_LE(rect[0], rect[2]);
      EXPECT_LE(area.top + margins.top, rect[1] + 1);  // heights count both edges
      EXPECT_LE(rect[1], rect[3]);
      EXPECT_LE(rect[3], area.bottom - margins.bottom);
      if (row > 0) {
        EXPECT_LE(areas[static_cast<size_t>(row) - 1][3], rect[1]);
      }
    }
    laid_out += rows > 0 ? 1 : 0;
    AxsDelete(axes);
  }
  EXPECT_GT(laid_out, 500);
}

TEST_F(AxesTest, StacksSeveralObjects) {
  AxsPosition position = {{0, 0, 300, 200}, {20, 10, 5, 15}, 1, 4, 0, 0};
  EXPECT_EQ(AxsMaxAxes(&position, &position.margins, 275, 25), 4);
  EXPECT_EQ(AxsMaxAxes(&position, &position.margins, 276, 25), 0);
  EXPECT_EQ(AxsMaxAxes(&position, &position.margins, 1, -25), 1);
  const AxsPosition vast = {{0, kMin, 300, kMax}, {}, 0, 0, 0, 0};
  EXPECT_EQ(AxsMaxAxes(&vast, &vast.margins, 1, 1), 0);

  // Objects 1 and 2 are shown, each 100 high, overlapping by 5, from the bottom up.
  position = {{0, 100, 300, 200}, {20, 10, 5, 15}, 1, 2, -100, 5};
  const int32_t axes = AxsCreate(1, 0, 1, 1);
  EXPECT_EQ(AxsPositionAxis(axes, 1, 0, position), 1);
  EXPECT_EQ(ToArray(SystemOf(axes).area), (Rect{0, 100, 300, 200}));
  EXPECT_EQ(AxsPositionAxis(axes, 2, 0, position), 1);
  EXPECT_EQ(ToArray(SystemOf(axes).area), (Rect{0, 5, 300, 100}));
  EXPECT_EQ(SystemOf(axes).margins.bottom, 10);
  EXPECT_EQ(AxsPositionAxis(axes, 2, 1, position), 1);
  EXPECT_EQ(ToArray(SystemOf(axes).area), (Rect{0, 100, 300, 200}));
  for (const int32_t hidden : {0, 3, kMin, kMax}) {
    EXPECT_EQ(AxsPositionAxis(axes, hidden, 0, position), 0);
    EXPECT_EQ(SystemOf(axes).row_count, 0);
  }
  position = {{0, 0, 300, 200}, {}, kMin, kMax, kMin, kMin};
  EXPECT_EQ(AxsPositionAxis(axes, -2, 0, position), 0);
  EXPECT_EQ(AxsPositionAxis(50, 1, 0, position), 0);
}

}  // namespace
}  // namespace tervalon::plot
