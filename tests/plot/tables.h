// Empties the process-wide tables before and after each test.

#ifndef TESTS_PLOT_TABLES_H_
#define TESTS_PLOT_TABLES_H_

#include <gtest/gtest.h>

#include <cstdint>

#include "tervalon/axes.h"
#include "tervalon/coordinate_systems.h"

namespace tervalon::plot {

inline constexpr int32_t kLastAxes = 49;
inline constexpr int32_t kLastSystem = 119;

class PlotTables : public ::testing::Test {
 protected:
  PlotTables() { Empty(); }
  ~PlotTables() override { Empty(); }

  static void Empty() {
    for (int32_t handle = 1; handle <= kLastAxes; ++handle) AxsDelete(handle);
    for (int32_t handle = 1; handle <= kLastSystem; ++handle) CosDelete(handle);
  }

  // One or more rows in `area` with the given margins, X and Y ranges 0..10 and 0..100.
  static int32_t MakeAxes(int32_t rows, const TvRect& area, const TvRect& margins,
                          int32_t row_order = 0, int32_t minimum_height = 1) {
    const int32_t axes = AxsCreate(rows, row_order, 1, minimum_height);
    AxsSize(axes, &area, &margins);
    EXPECT_EQ(AxsSetRanges(axes, 0, 10, 0, 100), 1);
    return axes;
  }

  static AxsSystem SystemOf(int32_t axes) {
    AxsSystem system = {};
    EXPECT_EQ(AxsGetSystem(axes, &system), 1);
    return system;
  }
};

}  // namespace tervalon::plot

#endif  // TESTS_PLOT_TABLES_H_
