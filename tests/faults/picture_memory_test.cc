// Pictures for which memory runs out, in Cairo and what it stands on too: what was stored with
// success is the whole picture.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

#include "tervalon/axes.h"
#include "tervalon/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tests/support/memory_limit.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {
namespace {

#if !defined(_WIN32)

class PictureMemoryTest : public ::testing::Test {
 protected:
  PictureMemoryTest() {
    for (size_t i = 0; i < y_.size(); ++i) {
      x_[i] = static_cast<float>(i);
      y_[i] = 50 + 40 * std::sin(x_[i] * 0.1f);
    }
    const TvRect area = {0, 0, 399, 299};
    const TvRect margins = {50, 20, 20, 50};
    AxsSize(axes_, &area, &margins);
    AxsSetRanges(axes_, 0, 600, 0, 100);
  }
  ~PictureMemoryTest() override { AxsDelete(axes_); }

  // Whether every call reported success.
  bool Draw(TvDC dc) {
    return AxsDisplayDefaultAxes(dc, axes_, "Time, min", 2, "Intensity", 0) >= 0 &&
           AxsDisplayDefaultData(dc, axes_, x_.data(), y_.data(), 600, AXS_PLOT_JOINED, 0) >= 0 &&
           AxsDisplayDefaultData(dc, axes_, x_.data(), y_.data(), 600, AXS_PLOT_STICKS, 0) >= 0;
  }

  // 1 for a picture that is stored, 2 for one without what a call has reported as not drawn.
  int Make(TvDC(TERVALON_CALL* create)(const char*, int32_t, int32_t, int32_t)) {
    memory_limit.watched = true;
    const TvDC dc = create(path_.c_str(), 400, 300, 96);
    const bool drawn = dc != nullptr && Draw(dc);
    const bool stored = TvDeleteDC(dc) == 1;
    memory_limit.watched = false;
    return stored ? (drawn ? 1 : 2) : 0;
  }

  TempDirectory directory_;
  std::string path_ = directory_.Path("PICTURE");
  int32_t axes_ = AxsCreate(1, 0, 1, 1);
  std::array<float, 600> x_;
  std::array<float, 600> y_;
};

TEST_F(PictureMemoryTest, WhatIsReportedAsStoredLacksNothing) {
  for (int warm = 0; warm < 2; ++warm) EXPECT_EQ(Make(TvCreateSvgDC), 1);
  const std::string whole = ReadText(path_);
  const int64_t before = memory_limit.allocations;
  EXPECT_EQ(Make(TvCreateSvgDC), 1);
  const int64_t count = memory_limit.allocations - before;
  int failed = 0;
  for (int64_t n = 1; n <= count; ++n) {
    SCOPED_TRACE(::testing::Message() << "allocation " << n << " of " << count);
    WriteText(path_, "old");
    memory_limit.first_failure = memory_limit.last_failure = memory_limit.allocations + n;
    const int made = Make(TvCreateSvgDC);
    memory_limit.first_failure = 0;
    if (made != 1) ++failed;
    if (made == 2) continue;
    EXPECT_TRUE(ReadText(path_) == (made == 1 ? whole : "old"));
  }
  EXPECT_GT(failed, count / 2);
}

// Cairo would not come out of these by itself.
TEST_F(PictureMemoryTest, LargeShortagesAreMetBeforeCairo) {
  EXPECT_EQ(Make(TvCreatePdfDC), 1);
  memory_limit.largest = size_t{1} << 19;
  EXPECT_EQ(Make(TvCreatePdfDC), 0);
  memory_limit.largest = SIZE_MAX;
  const TvDC dc = TvCreateImageDC(400, 300, 96);
  memory_limit.largest = size_t{1} << 15;
  memory_limit.watched = true;
  Draw(dc);
  memory_limit.watched = false;
  memory_limit.largest = SIZE_MAX;
  EXPECT_EQ(TvSavePng(dc, path_.c_str()), 0);
  TvDeleteDC(dc);
}

#endif

}  // namespace
}  // namespace tervalon::testing
