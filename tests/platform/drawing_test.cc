// What drawing leaves on a real device, on every platform the same.

#include "platform/drawing.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/canvas.h"

static bool operator==(const TvRect& a, const TvRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}
static void PrintTo(const TvRect& rect, std::ostream* out) {
  *out << rect.left << "," << rect.top << " - " << rect.right << "," << rect.bottom;
}

namespace tervalon {
namespace {

using platform::Drawing;
using platform::TextAlign;
using platform::TheDrawing;
using testing::Canvas;

constexpr TvColour kBlue = 0xC08040;

class DrawingTest : public ::testing::Test {
 protected:
  ~DrawingTest() override {
    for (const TvPen pen : pens_) drawing_.DeletePen(pen);
    for (const TvFont font : fonts_) drawing_.DeleteFont(font);
  }

  TvPen Pen(int32_t width, TvColour colour = kBlue, int32_t style = platform::kPenSolid) {
    pens_.push_back(drawing_.MakePen({style, width, colour}));
    return pens_.back();
  }
  // The same one whatever fonts the machine has: they leave different room for accents.
#if defined(_WIN32)
  static constexpr const char* kFace = "Arial";
#else
  static constexpr const char* kFace = "DejaVu Sans";
#endif

  TvFont Font(int32_t height) {
    fonts_.push_back(drawing_.MakeFont({kFace, height, 400}));
    return fonts_.back();
  }

  // All pixels of the rectangle have the colour, and no pixel outside it is inked.
  void ExpectOnly(const TvRect& rect, TvColour colour) {
    canvas_.Look();
    ASSERT_TRUE(canvas_.Inked().has_value());
    EXPECT_EQ(*canvas_.Inked(), rect);
    for (int32_t y = rect.top; y < rect.bottom; ++y) {
      for (int32_t x = rect.left; x < rect.right; ++x) {
        ASSERT_EQ(canvas_.At(x, y), colour) << x << "," << y;
      }
    }
  }

  Drawing& drawing_ = TheDrawing();
  Canvas canvas_{200, 100};
  TvDC dc_ = canvas_.dc();

 private:
  std::vector<TvPen> pens_;
  std::vector<TvFont> fonts_;
};

// Upwards, downwards, to both sides: from the first pixel, up to but without the last.
TEST_F(DrawingTest, LinesAreWholePixelsWithoutTheLast) {
  struct Case {
    TvPoint from, to;
    TvRect inked;
  };
  for (const Case& line :
       {Case{{10, 20}, {30, 20}, {10, 20, 30, 21}}, Case{{30, 20}, {10, 20}, {11, 20, 31, 21}},
        Case{{10, 20}, {10, 50}, {10, 20, 11, 50}}, Case{{10, 50}, {10, 20}, {10, 21, 11, 51}}}) {
    Canvas canvas(200, 100);
    ASSERT_TRUE(drawing_.SelectPen(canvas.dc(), Pen(1)));
    ASSERT_TRUE(drawing_.Line(canvas.dc(), line.from, line.to));
    canvas.Look();
    ASSERT_TRUE(canvas.Inked().has_value());
    EXPECT_EQ(*canvas.Inked(), line.inked);
    EXPECT_EQ(canvas.InkedCount(),
              (line.inked.right - line.inked.left) * (line.inked.bottom - line.inked.top));
    EXPECT_EQ(canvas.At(line.from.x, line.from.y), kBlue);
  }
}

TEST_F(DrawingTest, PolylinesReachBothEnds) {
  drawing_.SelectPen(dc_, Pen(0));
  const TvPoint corner[] = {{10, 10}, {40, 10}, {40, 10}, {40, 30}};
  ASSERT_TRUE(drawing_.Polyline(dc_, corner, std::size(corner)));
  const TvPoint point = {60, 60};
  ASSERT_TRUE(drawing_.Polyline(dc_, &point, 1));
  canvas_.Look();
  EXPECT_EQ(canvas_.InkedCount(), 31 + 20 + 1);
  for (const TvPoint& at : {corner[0], TvPoint{25, 10}, TvPoint{40, 20}, corner[3], point}) {
    EXPECT_EQ(canvas_.At(at.x, at.y), kBlue) << at.x << "," << at.y;
  }
}

// Cut into pieces or not, a trace of many turns covers all that its points cover.
TEST_F(DrawingTest, DenseTracesAreDrawnWhole) {
  drawing_.SelectPen(dc_, Pen(1));
  std::vector<TvPoint> trace;
  for (int32_t x = 5; x < 195; ++x) {
    trace.push_back({x, x % 2 == 0 ? 20 : 30});
    trace.push_back({x, 80});
    trace.push_back({x, 40});
  }
  ASSERT_TRUE(drawing_.Polyline(dc_, trace.data(), trace.size()));
  canvas_.Look();
  EXPECT_EQ(*canvas_.Inked(), (TvRect{5, 20, 195, 81}));
  for (int32_t x = 5; x < 195; ++x) {
    for (int32_t y = 31; y < 80; ++y) {
      ASSERT_NEAR(canvas_.At(x, y) & 0xFF, kBlue & 0xFF, 2) << x << "," << y;
    }
  }
}

TEST_F(DrawingTest, WidePensHaveTheirWidthInPixels) {
  for (const int32_t width : {2, 3, 5}) {
    Canvas canvas(200, 100);
    drawing_.SelectPen(canvas.dc(), Pen(width));
    drawing_.Line(canvas.dc(), {20, 50}, {120, 50});
    canvas.Look();
    int32_t inked = 0;
    for (int32_t y = 0; y < 100; ++y) inked += canvas.At(70, y) == kBlue;
    EXPECT_EQ(inked, width);
  }
}

TEST_F(DrawingTest, BrokenPensLeaveGaps) {
  drawing_.SetOpaqueBackground(dc_, false);
  int32_t y = 10;
  for (const int32_t style :
       {platform::kPenDash, platform::kPenDot, platform::kPenDashDot, platform::kPenDashDotDot}) {
    drawing_.SelectPen(dc_, Pen(1, kBlue, style));
    drawing_.Line(dc_, {0, y}, {200, y});
    y += 10;
  }
  drawing_.SelectPen(dc_, Pen(1, kBlue, platform::kPenNull));
  drawing_.Line(dc_, {0, y}, {200, y});
  canvas_.Look();
  for (y = 10; y <= 50; y += 10) {
    int32_t inked = 0;
    for (int32_t x = 0; x < 200; ++x) inked += canvas_.At(x, y) != testing::kWhite;
    EXPECT_GE(inked, y < 50 ? 50 : 0) << y;
    EXPECT_LE(inked, y < 50 ? 185 : 0) << y;
  }
}

TEST_F(DrawingTest, FillsAndClipsWholePixels) {
  ASSERT_TRUE(drawing_.Save(dc_));
  drawing_.Clip(dc_, {20, 10, 200, 100});
  drawing_.Clip(dc_, {0, 0, 60, 50});
  ASSERT_TRUE(drawing_.FillRectangle(dc_, {10, 5, 70, 30}, kBlue));
  ASSERT_TRUE(drawing_.Restore(dc_));
  ExpectOnly({20, 10, 60, 30}, kBlue);

  const TvPoint triangle[] = {{100, 90}, {140, 50}, {180, 90}};
  ASSERT_TRUE(drawing_.FillPolygon(dc_, triangle, std::size(triangle), 0x0000FF));
  canvas_.Look();
  EXPECT_EQ(canvas_.At(140, 80), 0x0000FFU);
  EXPECT_EQ(canvas_.At(104, 60), testing::kWhite);

  const TvColour pixels[] = {0x0000FF, 0x00FF00, 0xFF0000, 1, 2, 3};
  ASSERT_TRUE(drawing_.Image(dc_, {5, 60, 8, 62}, pixels));
  canvas_.Look();
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(canvas_.At(5 + i % 3, 60 + i / 3), pixels[i]) << i;
}

TEST_F(DrawingTest, TextFillsTheExtentThatIsMeasured) {
  ASSERT_TRUE(drawing_.SelectFont(dc_, Font(-24)));
  platform::TextMetrics metrics;
  ASSERT_TRUE(drawing_.Metrics(dc_, &metrics));
  EXPECT_NEAR(metrics.height - metrics.internal_leading, 24, 1);
  EXPECT_GT(metrics.height, 24);
  EXPECT_GT(metrics.ascent, metrics.height / 2);
  EXPECT_NEAR(metrics.average_width, 13, 3);

  const std::string text = "g184.1H";
  const TvSize size = drawing_.Extent(dc_, text);
  EXPECT_EQ(size.height, metrics.height);
  EXPECT_GT(size.width, drawing_.Extent(dc_, "184.1").width);
  EXPECT_EQ(drawing_.Extent(dc_, "").width, 0);

  drawing_.SetOpaqueBackground(dc_, true);
  drawing_.SetBackgroundColour(dc_, 0x00FFFF);
  drawing_.SetTextColour(dc_, 0);
  ASSERT_TRUE(drawing_.Text(dc_, 30, 20, text));
  canvas_.Look();
  EXPECT_EQ(*canvas_.Inked(), (TvRect{30, 20, 30 + size.width, 20 + size.height}));

  Canvas clear(200, 100);
  drawing_.SelectFont(clear.dc(), Font(-24));
  drawing_.SetOpaqueBackground(clear.dc(), false);
  drawing_.Text(clear.dc(), 30, 20, text);
  clear.Look();
  const TvRect inked = *clear.Inked();
  EXPECT_GE(inked.left, 29);
  EXPECT_GT(inked.top, 20);  // room for accents
  EXPECT_LE(inked.right, 31 + size.width);
  EXPECT_GE(inked.right, 30 + size.width - 6);
  EXPECT_LE(inked.bottom, 20 + size.height);
  EXPECT_GT(inked.bottom, 20 + metrics.ascent);  // the g
}

// By the height of its lines, and by that of its characters.
TEST_F(DrawingTest, FontHeights) {
  platform::TextMetrics metrics;
  for (const int32_t height : {13, 40, 100}) {
    drawing_.SelectFont(dc_, Font(height));
    drawing_.Metrics(dc_, &metrics);
    EXPECT_NEAR(metrics.height, height, 1);
    drawing_.SelectFont(dc_, Font(-height));
    drawing_.Metrics(dc_, &metrics);
    EXPECT_NEAR(metrics.height - metrics.internal_leading, height, 1);
  }
}

TEST_F(DrawingTest, TextWithinARectangleIsAlignedAndCut) {
  const TvFont font = Font(-16);
  drawing_.SelectFont(dc_, font);
  const TvSize size = drawing_.Extent(dc_, "HHH");
  const int32_t bottom = 10 + size.height;
  struct Case {
    TvRect within;
    TextAlign align;
    TvRect inked;
  };
  const int32_t centred = 20 + (160 - size.width) / 2;
  for (const Case& text :
       {Case{{20, 10, 180, 60}, TextAlign::kLeft, {20, 10, 20 + size.width, bottom}},
        Case{{20, 10, 180, 60}, TextAlign::kCentre, {centred, 10, centred + size.width, bottom}},
        Case{{20, 10, 180, 60}, TextAlign::kRight, {180 - size.width, 10, 180, bottom}},
        Case{{50, 10, 60, 20}, TextAlign::kCentre, {50, 10, 60, 20}}}) {
    Canvas canvas(200, 100);
    drawing_.SelectFont(canvas.dc(), font);
    drawing_.SetOpaqueBackground(canvas.dc(), true);
    drawing_.SetBackgroundColour(canvas.dc(), 0x00FFFF);
    ASSERT_TRUE(drawing_.TextWithin(canvas.dc(), text.within, text.align, "HHH"));
    canvas.Look();
    EXPECT_EQ(*canvas.Inked(), text.inked);
  }
}

TEST_F(DrawingTest, StateIsPutBack) {
  const TvPen pen = Pen(3);
  const TvFont font = Font(20);
  drawing_.SelectPen(dc_, pen);
  drawing_.SelectFont(dc_, font);
  const int32_t height = drawing_.Extent(dc_, "x").height;
  {
    platform::SavedState state(dc_);
    ASSERT_TRUE(state.saved());
    ASSERT_TRUE(drawing_.SelectPen(dc_, Pen(1)));
    ASSERT_TRUE(drawing_.SelectFont(dc_, Font(60)));
    ASSERT_TRUE(drawing_.SelectPen(dc_, nullptr));  // keeps it
    EXPECT_NE(drawing_.SelectedPen(dc_), pen);
    EXPECT_TRUE(state.Restore());
    EXPECT_FALSE(state.Restore());
  }
  EXPECT_EQ(drawing_.SelectedPen(dc_), pen);
  EXPECT_EQ(drawing_.SelectedFont(dc_), font);
  EXPECT_EQ(drawing_.Extent(dc_, "x").height, height);
  EXPECT_FALSE(drawing_.Restore(dc_));
}

// A grid's pen is made from what the pen of the ticks tells.
TEST_F(DrawingTest, PensTellWhatTheyAre) {
  for (const int32_t style : {platform::kPenSolid, platform::kPenDot, platform::kPenDashDotDot}) {
    for (const int32_t width : {1, 4}) {
      platform::PenDescription told;
      ASSERT_TRUE(drawing_.DescribePen(Pen(width, 0x123456, style), &told));
      EXPECT_EQ(told.style, style);
      EXPECT_EQ(told.width, width);
      EXPECT_EQ(told.colour, 0x123456U);
    }
  }
  platform::PenDescription told;
  EXPECT_TRUE(drawing_.DescribePen(drawing_.SelectedPen(dc_), &told));  // a new device's own
  EXPECT_FALSE(drawing_.DescribePen(nullptr, &told));
  EXPECT_EQ(drawing_.MakePen({9, 1, 0}), nullptr);
  EXPECT_EQ(drawing_.MakePen({0, -1, 0}), nullptr);
}

TEST_F(DrawingTest, WhatIsGoneIsRefused) {
  const TvPen pen = drawing_.MakePen({});
  const TvFont font = drawing_.MakeFont({});
  EXPECT_FALSE(drawing_.DeleteFont(reinterpret_cast<TvFont>(pen)));
  EXPECT_TRUE(drawing_.DeletePen(pen));
  EXPECT_TRUE(drawing_.DeleteFont(font));
  EXPECT_FALSE(drawing_.DeletePen(pen));
  EXPECT_FALSE(drawing_.SelectPen(dc_, pen));
  EXPECT_FALSE(drawing_.SelectFont(dc_, font));

  TvDC gone = nullptr;
  {
    const Canvas canvas(10, 10);
    gone = canvas.dc();
    EXPECT_TRUE(drawing_.IsLive(gone));
  }
  for (const TvDC dc : {gone, TvDC{nullptr}, reinterpret_cast<TvDC>(pen)}) {
    platform::DeviceMetrics device;
    platform::TextMetrics text;
    EXPECT_FALSE(drawing_.IsLive(dc));
    EXPECT_FALSE(drawing_.Save(dc));
    EXPECT_FALSE(drawing_.Capabilities(dc, &device));
    EXPECT_FALSE(drawing_.Metrics(dc, &text));
    EXPECT_EQ(drawing_.Extent(dc, "x").width, 0);
    EXPECT_FALSE(drawing_.Line(dc, {}, {}));
    EXPECT_FALSE(drawing_.Text(dc, 0, 0, "x"));
  }
}

TEST_F(DrawingTest, DeviceMetrics) {
  platform::DeviceMetrics device;
  ASSERT_TRUE(drawing_.Capabilities(dc_, &device));
  EXPECT_EQ(device.width, 200);
  EXPECT_EQ(device.height, 100);
  EXPECT_EQ(device.pixels_per_inch_x, 96);
  EXPECT_EQ(device.pixels_per_inch_y, 96);
}

// Far outside the device and beyond what it can reach.
TEST_F(DrawingTest, ExtremeCoordinatesAreHarmless) {
  constexpr int32_t kMost = INT32_MAX;
  constexpr int32_t kLeast = INT32_MIN;
  drawing_.SelectPen(dc_, Pen(1));
  const TvPoint points[] = {{kLeast, kLeast}, {kMost, kMost}, {kLeast, 50}, {kMost, 50}};
  EXPECT_TRUE(drawing_.Polyline(dc_, points, std::size(points)));
  drawing_.FillRectangle(dc_, {kLeast, 60, kMost, 70}, kBlue);
  drawing_.Text(dc_, kMost, kLeast, "far");
  drawing_.TextWithin(dc_, {kLeast, kLeast, kMost, kMost}, TextAlign::kRight, "far");
  drawing_.Clip(dc_, {kMost, kMost, kLeast, kLeast});
  canvas_.Look();
  EXPECT_EQ(canvas_.At(100, 65), kBlue);
}

}  // namespace
}  // namespace tervalon
