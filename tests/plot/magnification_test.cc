#include "tervalon/magnification.h"

#include <limits>

#include "tests/plot/tables.h"

namespace tervalon::plot {
namespace {

class Magnification : public PlotTables {
 protected:
  int32_t axes_ = AxsCreate(1, 0, 1, 1);

  int32_t Active() const { return AxsGetActiveMagnifyRange(axes_, nullptr, nullptr, nullptr); }
  bool IsLive() const { return (SystemOf(axes_).flags & AXS_FLAG_MAGNIFIED) != 0; }
};

TEST_F(Magnification, KeepsTrackOfLiveAndActiveRanges) {
  EXPECT_EQ(AxsGetAvailableMagnifyRange(axes_), 0);
  EXPECT_EQ(AxsMagnifyRange(axes_, 4, 10, 20, 0), 1);
  EXPECT_EQ(AxsMagnifyRange(axes_, 2, 30, 40, 1), 1);
  EXPECT_TRUE(IsLive());
  EXPECT_EQ(Active(), 0);
  EXPECT_EQ(AxsGetAvailableMagnifyRange(axes_), 2);
  AxsMagnifyRange(axes_, 3, 50, 60, 2);
  EXPECT_EQ(Active(), 0);
  AxsMagnifyRange(axes_, 1, 10, 20, 0);  // the last live one follows
  float from = 0;
  float to = 0;
  float factor = 0;
  EXPECT_EQ(AxsGetActiveMagnifyRange(axes_, &from, &to, &factor), 2);
  EXPECT_EQ(from, 50.0F);
  EXPECT_EQ(to, 60.0F);
  EXPECT_EQ(factor, 3.0F);
  AxsMagnifyRange(axes_, 3, 5, 5, 2);  // free although its factor is not 1
  EXPECT_EQ(Active(), 1);
  AxsMagnifyRange(axes_, 0, 30, 40, 1);  // neither free nor live
  EXPECT_FALSE(IsLive());
  EXPECT_EQ(Active(), 0);
  for (int32_t i = 0; i < AXS_MAX_MAGNIFY_RANGES; ++i) AxsMagnifyRange(axes_, 2, i, i + 1, i);
  EXPECT_EQ(AxsGetAvailableMagnifyRange(axes_), -1);
  EXPECT_EQ(Active(), 0);  // live again before any other
}

TEST_F(Magnification, CoversItsLowerEndOnly) {
  EXPECT_EQ(AxsMagnified(axes_, 10), 0);
  AxsMagnifyRange(axes_, -2, 30, 40, 1);
  EXPECT_EQ(AxsMagnified(axes_, 35), 0);  // nothing is live
  AxsMagnifyRange(axes_, 2, 10, 20, 4);
  EXPECT_EQ(AxsMagnified(axes_, 35), 1);
  EXPECT_EQ(AxsMagnified(axes_, 10), 1);
  EXPECT_EQ(AxsMagnified(axes_, 20), 0);
  EXPECT_EQ(AxsMagnified(axes_, std::numeric_limits<float>::quiet_NaN()), 0);
}

TEST_F(Magnification, StepsFactorsThroughWholeNumbers) {
  const struct {
    double factor;
    int32_t delta;
    float expected;
  } cases[] = {{1.0, 5, 2.0F},
               {2.0, 5, 7.0F},
               {2.5, 0, 3.0F},
               {9999, 5, 10000.0F},
               {3.0, -5, 1.0F},
               {1.0, 1, 2.0F},
               {1.0, -1, 1.0F},
               {-7.5, 3, 1.0F},
               {2.5, -1, 2.0F},
               {2.0, std::numeric_limits<int32_t>::max(), 10000.0F},
               {2.0, std::numeric_limits<int32_t>::min(), 1.0F}};
  for (const auto& c : cases) {
    AxsMagnifyRange(axes_, c.factor, 1, 2, 3);
    EXPECT_EQ(AxsAdjustMagnifyFactor(axes_, 3, c.delta, 0), c.expected) << c.factor;
    EXPECT_EQ(SystemOf(axes_).magnify[3].factor, c.expected);
  }
  AxsMagnifyRange(axes_, 7, 1, 2, 3);
  EXPECT_EQ(AxsAdjustMagnifyFactor(axes_, 3, 4, 1), 1.0F);
  EXPECT_TRUE(IsLive());  // until a range is stored
}

TEST_F(Magnification, RefusesWhatItCannotHold) {
  for (const int32_t index : {-1, 5, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(AxsMagnifyRange(axes_, 2, 1, 2, index), 0);
    EXPECT_EQ(AxsAdjustMagnifyFactor(axes_, index, 1, 0), 1.0F);
  }
  EXPECT_EQ(AxsMagnifyRange(axes_, 1e300, 1, 2, 0), 0);
  EXPECT_EQ(AxsMagnifyRange(axes_, 2, std::numeric_limits<double>::quiet_NaN(), 2, 0), 0);
  EXPECT_FALSE(IsLive());
  EXPECT_EQ(AxsMagnifyRange(50, 2, 1, 2, 0), 0);
  EXPECT_EQ(AxsAdjustMagnifyFactor(50, 0, 1, 0), 1.0F);
  EXPECT_EQ(AxsGetAvailableMagnifyRange(0), 0);
}

}  // namespace
}  // namespace tervalon::plot
