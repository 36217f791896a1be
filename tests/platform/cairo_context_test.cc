// What a program draws on with Cairo, as a device context: the same picture as on an image.

#if !defined(_WIN32)

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/drawing.h"
#include "tervalon/axes.h"
#include "tervalon/drawing_devices.h"
#include "tests/support/temp_directory.h"

namespace tervalon {
namespace {

constexpr int32_t kWide = 300;
constexpr int32_t kHigh = 200;

// A page with lines, dashes, texts, an area, an image, a dense trace, and a clip that stays.
void DrawPage(TvDC dc) {
  platform::Drawing& drawing = platform::TheDrawing();
  drawing.FillRectangle(dc, {0, 0, kWide, kHigh}, 0xF0F8FF);
  for (int32_t style = 0; style < 5; ++style) {
    const TvPen pen = TvCreatePen(style, style + 1, 0x4060A0 + style);
    drawing.SelectPen(dc, pen);
    drawing.Line(dc, {10, 20 + 10 * style}, {290, 60 + 10 * style});
    std::vector<TvPoint> trace;
    for (int32_t i = 0; i < 600; ++i) trace.push_back({i / 2, 150 + (i * 37) % 40});
    drawing.Polyline(dc, trace.data(), trace.size());
    TvDeleteObject(pen);
  }
  const TvPoint corners[] = {{20, 190}, {60, 100}, {110, 190}};
  drawing.FillPolygon(dc, corners, std::size(corners), 0x80C080);
  drawing.Text(dc, 120, 20, "100% = 4.47e5");
}

struct Surface {
  explicit Surface(cairo_surface_t* made) : surface(made), cairo(cairo_create(made)) {}
  ~Surface() {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
  }
  std::vector<uint32_t> Pixels() const {
    cairo_surface_flush(surface);
    std::vector<uint32_t> pixels(size_t{kWide} * kHigh);
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(surface));
    for (size_t y = 0; y < kHigh; ++y) {
      std::memcpy(&pixels[y * kWide], cairo_image_surface_get_data(surface) + y * stride,
                  sizeof(uint32_t) * kWide);
    }
    for (uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
    return pixels;
  }
  cairo_surface_t* surface;
  cairo_t* cairo;
};

cairo_surface_t* NewImage() { return cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWide, kHigh); }

TEST(CairoContextTest, DrawsWhatAnImageShows) {
  const testing::TempDirectory directory;
  const TvDC image = TvCreateImageDC(kWide, kHigh, 96);
  DrawPage(image);
  ASSERT_EQ(TvSavePng(image, directory.Path("image.png").c_str()), 1);
  TvDeleteDC(image);
  const Surface expected(
      cairo_image_surface_create_from_png(testing::Native(directory.Path("image.png")).c_str()));

  Surface own(NewImage());
  const TvDC dc = TvCreateCairoDC(own.cairo, kWide, kHigh, 96);
  ASSERT_NE(dc, nullptr);
  DrawPage(dc);
  EXPECT_EQ(TvSavePng(dc, directory.Path("own.png").c_str()), 0);  // it is the caller's to save
  EXPECT_EQ(TvNextPage(dc), 0);
  EXPECT_EQ(TvDeleteDC(dc), 1);
  EXPECT_EQ(own.Pixels(), expected.Pixels());
}

TEST(CairoContextTest, LeavesTheContextAsItWas) {
  Surface own(NewImage());
  cairo_set_source_rgb(own.cairo, 1, 1, 1);
  cairo_paint(own.cairo);
  cairo_rectangle(own.cairo, 0, 0, 150, kHigh);
  cairo_clip(own.cairo);
  cairo_translate(own.cairo, 10, 20);
  cairo_set_line_width(own.cairo, 7);
  const TvDC dc = TvCreateCairoDC(own.cairo, 100, 100, 96);
  platform::TheDrawing().FillRectangle(dc, {-500, -500, 500, 500}, 0);
  ASSERT_EQ(TvDeleteDC(dc), 1);
  const std::vector<uint32_t> pixels = own.Pixels();
  EXPECT_EQ(pixels[50 * kWide + 149], 0U);
  EXPECT_EQ(pixels[50 * kWide + 150], 0xFFFFFFU);  // outside the caller's clip
  cairo_matrix_t matrix;
  cairo_get_matrix(own.cairo, &matrix);
  EXPECT_EQ(matrix.x0, 10);
  EXPECT_EQ(matrix.y0, 20);
  EXPECT_EQ(cairo_get_line_width(own.cairo), 7);
  EXPECT_EQ(cairo_status(own.cairo), CAIRO_STATUS_SUCCESS);
}

// One that is still there when its context is given up by everybody else.
TEST(CairoContextTest, KeepsTheContext) {
  auto own = std::make_unique<Surface>(NewImage());
  const TvDC dc = TvCreateCairoDC(own->cairo, kWide, kHigh, 96);
  own.reset();
  DrawPage(dc);
  EXPECT_EQ(TvDeleteDC(dc), 1);
  EXPECT_EQ(TvDeleteDC(dc), 0);
}

TEST(CairoContextTest, PagesOfOtherKinds) {
  const testing::TempDirectory directory;
  for (const bool pdf : {false, true}) {
    const std::string path = testing::Native(directory.Path(pdf ? "p.pdf" : "p.svg")).string();
    {
      const Surface page(pdf ? cairo_pdf_surface_create(path.c_str(), 225, 150)
                             : cairo_svg_surface_create(path.c_str(), 225, 150));
      cairo_scale(page.cairo, 0.75, 0.75);
      const TvDC dc = TvCreateCairoDC(page.cairo, kWide, kHigh, 96);
      ASSERT_NE(dc, nullptr);
      DrawPage(dc);
      ASSERT_EQ(TvDeleteDC(dc), 1);
    }
    const std::string text = testing::ReadText(directory.Path(pdf ? "p.pdf" : "p.svg"));
    EXPECT_TRUE(text.starts_with(pdf ? "%PDF" : "<?xml"));
    EXPECT_EQ(text.find("<image"), std::string::npos);  // lines are lines
    EXPECT_GT(text.size(), 2000U);
  }
}

TEST(CairoContextTest, RefusesWhatIsNone) {
  Surface own(NewImage());
  EXPECT_EQ(TvCreateCairoDC(nullptr, 10, 10, 96), nullptr);
  for (const auto& [width, height, resolution] :
       {std::tuple(0, 10, 96), {10, -1, 96}, {32768, 10, 96}, {10, 10, 0}, {10, 10, 9601}}) {
    EXPECT_EQ(TvCreateCairoDC(own.cairo, width, height, resolution), nullptr);
  }
  cairo_restore(own.cairo);  // without a save: it is in error from now on
  EXPECT_EQ(TvCreateCairoDC(own.cairo, 10, 10, 96), nullptr);
}

}  // namespace
}  // namespace tervalon

#endif  // !defined(_WIN32)
