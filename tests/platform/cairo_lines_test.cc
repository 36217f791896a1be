// Lines beyond a picture: what Cairo makes of them takes its time from their length.

#if !defined(_WIN32)

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/drawing.h"
#include "tests/support/canvas.h"

namespace tervalon {
namespace {

using platform::TheDrawing;
using testing::Canvas;

constexpr int32_t kWidth = 200;
constexpr int32_t kHeight = 100;
constexpr int32_t kPeriods = 13 * 19 * 25;  // whole periods of all broken pens
constexpr int32_t kFar = kPeriods * 340000;

std::vector<TvColour> Pixels(int32_t pen_style, int32_t far) {
  platform::Drawing& drawing = TheDrawing();
  Canvas canvas(kWidth, kHeight);
  const TvPen pen = drawing.MakePen({pen_style, 1, 0});
  drawing.SelectPen(canvas.dc(), pen);
  for (int32_t y = 10; y < kHeight; y += 10) drawing.Line(canvas.dc(), {-far, y}, {far, y});
  drawing.Line(canvas.dc(), {25, far}, {25, -far});
  // Away and back.
  const TvPoint corners[] = {{-far, 55}, {150, 55}, {150, 55 + far}, {160, 55 + far}, {160, 5}};
  drawing.Polyline(canvas.dc(), corners, std::size(corners));
  drawing.DeletePen(pen);
  canvas.Look();
  std::vector<TvColour> pixels;
  for (int32_t i = 0; i < kWidth * kHeight; ++i) {
    pixels.push_back(canvas.At(i % kWidth, i / kWidth));
  }
  return pixels;
}

TEST(CairoLinesTest, BrokenLinesOfAnyLengthKeepTheirDashes) {
  for (int32_t style = platform::kPenSolid; style < platform::kPenNull; ++style) {
    EXPECT_TRUE(Pixels(style, kFar) == Pixels(style, kPeriods)) << style;
  }
}

}  // namespace
}  // namespace tervalon

#endif  // !defined(_WIN32)
