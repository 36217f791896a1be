#include <cmath>
#include <limits>
#include <random>
#include <tuple>

#include "plot/axes.h"
#include "plot/tick_marks.h"
#include "tests/plot/tables.h"

namespace tervalon::plot {
namespace {

class Ticks : public PlotTables {
 protected:
  // An X axis of 1000 device units.
  static int32_t Thousand(float low, float high) {
    const int32_t axes = MakeAxes(1, {0, 0, 999, 99}, {});
    AxsSetRanges(axes, low, high, 0, 100);
    return axes;
  }
};

TEST_F(Ticks, AreAtRoundNumbers) {
  const struct {
    float low, high;
    int32_t decimals, distance;
    AxsTickInfo expected;
  } cases[] = {
      // A minimum step of 30: the finest step is 0.1, the decade 100.
      {0, 100, -1, 300, {0, 100, 50, 10, 3}},
      {0, 100, -1, 200, {0, 100, 20, 10, 6}},
      {0, 100, -1, 201, {0, 100, 25, 10, 5}},
      {0, 100, -1, 501, {0, 100, 100, 10, 2}},
      {3, 97, -1, 200, {20, 80, 20, 10, 4}},
      {-10, 10, -1, 100, {-10, 10, 2, 2, 11}},
      // With whole numbers 2.5 would need a decimal, 25 has five divisions, 250 ten.
      {0, 10, 0, 210, {0, 10, 5, 5, 3}},
      {0, 100, 0, 210, {0, 100, 25, 5, 5}},
      {0, 1000, 0, 210, {0, 1000, 250, 10, 5}},
      {0, 10, 0, 10, {0, 10, 1, 1, 11}},
      {0, 10, 0, 0, {0, 10, 1, 1, 11}},
      // Steps have three decimals at most.
      {0, 1, 4, 1, {0, 1, 0.001F, 10, 1001}},
      {0, 0.001F, 5, 10, {0, 0, 0, 0, 0}},
  };
  for (const auto& c : cases) {
    const int32_t axes = Thousand(c.low, c.high);
    AxsTickInfo info = {};
    EXPECT_EQ(AxsAxisAnnInfo(axes, c.decimals, c.distance, &info, AXS_X_AXIS), c.expected.count);
    EXPECT_EQ(info.first, c.expected.first) << c.low << ' ' << c.high;
    EXPECT_FALSE(std::signbit(info.first) && info.first == 0);
    EXPECT_EQ(info.last, c.expected.last);
    EXPECT_EQ(info.step, c.expected.step);
    EXPECT_EQ(info.divisions, c.expected.divisions) << c.low << ' ' << c.high << ' ' << c.distance;
    EXPECT_EQ(info.count, c.expected.count);
    AxsDelete(axes);
  }
}

TEST_F(Ticks, OfAPercentAxisAreAtItsEnds) {
  const int32_t axes = Thousand(0, 1);
  AxsSetRanges(axes, 0, 1, -200, 50);
  AxsTickInfo info = {};
  EXPECT_EQ(AxsAxisAnnPercentInfo(axes, &info, AXS_Y_AXIS), 2);
  EXPECT_EQ(info.first, -200.0F);
  EXPECT_EQ(info.last, 50.0F);
  EXPECT_EQ(info.step, 200.0F);
  EXPECT_EQ(info.divisions, 10);
  EXPECT_EQ(info.count, 2);
  EXPECT_EQ(AxsAxisAnnPercentInfo(axes, &info, AXS_Z_AXIS), -1);
}

TEST_F(Ticks, EndWhereFloatsDoNotMove) {
  const int32_t axes = Thousand(1e9F, 1.00001e9F);
  for (const auto& [step, labels, ticks] :
       {std::tuple(100.0F, 100U, 999U), {1.0F, 1U, 0U}, {0.0F, 0U, 0U}}) {
    const AxsTickInfo info = {1e9F, 1.00001e9F, step, 10, 0};
    EXPECT_EQ(XLabelValues(info).size(), labels) << step;
    EXPECT_EQ(XTicks(*FindAxes(axes), info).size(), ticks) << step;
  }
  EXPECT_EQ(XLabelValues({0, 1e6F, 1, 10, 0}).size(), kMaxTicks);
  EXPECT_EQ(YLabelValues({1e9F, 1e9F, 1, 10, 0}).size(), 1U);
}

TEST_F(Ticks, AreRefusedWhereNothingCanBeChosen) {
  AxsTickInfo info = {};
  const int32_t axes = Thousand(0, 100);
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, 10, &info, AXS_Z_AXIS), -1);
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, 10, &info, -1), -1);
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, 0, &info, AXS_X_AXIS), -1);
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, -5, &info, AXS_X_AXIS), -1);
  EXPECT_EQ(AxsAxisAnnInfo(axes, 2, -5, &info, AXS_X_AXIS), 10001);  // the finest step
  EXPECT_GT(AxsAxisAnnInfo(axes, std::numeric_limits<int32_t>::max(), 10, &info, AXS_X_AXIS), 50);
  AxsSetRanges(axes, 1e9F, 1e9F, 0, 1);  // too large to be widened
  EXPECT_EQ(AxsAxisAnnInfo(axes, -1, 10, &info, AXS_X_AXIS), -1);
}

// Whatever the axis, ticks are no nearer than asked for and inside the range, and there are as many
// as are counted.
TEST_F(Ticks, KeepTheirDistance) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponents(-2.5, 9);
  std::uniform_int_distribution<int32_t> distances(1, 900);
  for (int i = 0; i < 3000; ++i) {
    const double width = std::pow(10.0, exponents(random));
    const double low = width * (i % 11 - 5);
    const int32_t axes = Thousand(static_cast<float>(low), static_cast<float>(low + width));
    const int32_t distance = distances(random);
    AxsTickInfo info = {};
    const int32_t count = AxsAxisAnnInfo(axes, i % 4 == 0 ? 3 : -1, distance, &info, AXS_X_AXIS);
    const AxsSystem system = SystemOf(axes);
    AxsDelete(axes);
    if (info.step == 0.0F) continue;  // finer than three decimals
    const double scale = 1000 / (double{system.x.high} - system.x.low);
    EXPECT_GE(info.step * scale, distance * 0.999);
    if (i % 4 != 0) {
      EXPECT_LE(info.step * scale, distance * 10.001 + 0.5);
    }
    EXPECT_GE(info.first, system.x.low - info.step * 0.001);
    EXPECT_LE(info.last, system.x.high + info.step * 0.001);
    EXPECT_LT(info.first - info.step, system.x.low);
    EXPECT_NEAR(count, (info.last - info.first) / info.step + 1, 0.51);
  }
}

}  // namespace
}  // namespace tervalon::plot
