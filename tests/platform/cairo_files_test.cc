// Pictures as files: complete once their device context is deleted, and never half there; and lines
// beyond a picture.

#if !defined(_WIN32)

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tests/support/canvas.h"
#include "tests/support/fault_services.h"
#include "tests/support/temp_directory.h"

namespace tervalon {
namespace {

using testing::TempDirectory;

constexpr auto kCreators = {TvCreateSvgDC, TvCreateSvgOutlinesDC, TvCreatePdfDC};

void DrawSomething(TvDC dc) {
  const TvPoint points[] = {{10, 90}, {50, 20}, {90, 90}};
  platform::TheDrawing().Polyline(dc, points, std::size(points));
  platform::TheDrawing().Text(dc, 20, 5, "184.1");
}

std::vector<std::string> FilesIn(const TempDirectory& directory) {
  std::vector<platform::DirectoryEntry> entries;
  platform::Files().List(directory.Path(), &entries);
  std::vector<std::string> names;
  names.reserve(entries.size());
  for (const auto& entry : entries) names.push_back(entry.name);
  return names;
}

TEST(CairoFilesTest, CompleteWhenTheContextIsDeleted) {
  const TempDirectory directory;
  const std::string svg_path = directory.Path("p.svg");
  const std::string pdf_path = directory.Path("p.pdf");
  testing::WriteText(svg_path, "old");
  const TvDC svg = TvCreateSvgDC(svg_path.c_str(), 400, 200, 96);
  const TvDC pdf = TvCreatePdfDC(pdf_path.c_str(), 400, 200, 200);
  ASSERT_NE(svg, nullptr);
  ASSERT_NE(pdf, nullptr);
  DrawSomething(svg);
  DrawSomething(pdf);
  EXPECT_EQ(testing::ReadText(svg_path), "old");
  EXPECT_FALSE(testing::Exists(pdf_path));
  EXPECT_EQ(TvSavePng(svg, directory.Path("p.png").c_str()), 0);
  EXPECT_EQ(TvDeleteDC(svg), 1);
  EXPECT_EQ(TvDeleteDC(pdf), 1);
  EXPECT_EQ(TvDeleteDC(pdf), 0);

  // 400 pixels are 300 points at 96 to the inch, 144 points at 200.
  const std::string svg_text = testing::ReadText(svg_path);
  EXPECT_NE(svg_text.find("width=\"300pt\" height=\"150pt\""), std::string::npos);
  EXPECT_NE(svg_text.find("stroke-width=\"1\""), std::string::npos);
  EXPECT_NE(svg_text.find(">184.1</text>"), std::string::npos);
  EXPECT_TRUE(svg_text.ends_with("</svg>\n"));
  const std::string pdf_text = testing::ReadText(pdf_path);
  EXPECT_TRUE(pdf_text.starts_with("%PDF"));
  EXPECT_NE(pdf_text.find("/MediaBox [ 0 0 144 72 ]"), std::string::npos);
  EXPECT_TRUE(pdf_text.ends_with("%%EOF\n"));
  EXPECT_EQ(FilesIn(directory).size(), 2U);
}

size_t Count(const std::string& text, std::string_view part) {
  size_t count = 0;
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) ++count;
  return count;
}

// What of a picture stands in its file as text, and what does not; marks of the format do neither.
TEST(CairoFilesTest, TextsOfSvgFiles) {
  const TempDirectory directory;
  const std::string path = directory.Path("p.svg");
  platform::Drawing& drawing = platform::TheDrawing();
  for (const bool outlines : {false, true}) {
    const TvDC dc = (outlines ? TvCreateSvgOutlinesDC : TvCreateSvgDC)(path.c_str(), 400, 200, 72);
    const TvFont font = TvCreateFont("A \"B\" & C", -20, 700);
    const TvPen pen = TvCreatePen(1, 0, 0x0000FF);
    drawing.SelectFont(dc, font);
    drawing.SelectPen(dc, pen);
    drawing.TextWithin(dc, {10, 10, 60, 40}, platform::TextAlign::kLeft, "<\xB5> & \x01");
    drawing.Line(dc, {10, 50}, {100, 50});
    const TvColour pixels[] = {0x0000FF, 0x00FF00};
    drawing.Image(dc, {10, 60, 12, 61}, pixels);
    TvDeleteObject(font);
    TvDeleteObject(pen);
    EXPECT_EQ(TvNextPage(dc), 0);
    ASSERT_EQ(TvDeleteDC(dc), 1);
    const std::string svg = testing::ReadText(path);
    EXPECT_EQ(Count(svg, ">&lt;\xC2\xB5&gt; &amp;  </text>"), outlines ? 0U : 1U);
    EXPECT_EQ(Count(svg, "font-family=\"'A &quot;B&quot; &amp; C', sans-serif\" font-size=\"20\""),
              outlines ? 0U : 1U);
    EXPECT_EQ(Count(svg, "data:image/png;base64,iVBOR"), 1U);
    if (outlines) continue;
    // A hairline is no wider than 1/96 inch; what is cut is one group.
    EXPECT_EQ(Count(svg, "stroke=\"#ff0000\" stroke-width=\"0.75\" stroke-dasharray=\"9 4\""), 1U);
    EXPECT_EQ(Count(svg, "<g "), 1U);
    EXPECT_LT(svg.find("</g>"), svg.find("#ff0000"));
  }
}

TEST(CairoFilesTest, PagesOfPdfFiles) {
  const TempDirectory directory;
  const std::string path = directory.Path("p.pdf");
  testing::WriteText(path, "old");
  const TvDC pdf = TvCreatePdfDC(path.c_str(), 400, 200, 96);
  for (int32_t page = 0; page < 3; ++page) {
    if (page > 0) {
      platform::TheDrawing().Clip(pdf, {0, 0, 1, 1});
      EXPECT_EQ(TvNextPage(pdf), 1);
    }
    DrawSomething(pdf);
  }
  EXPECT_EQ(testing::ReadText(path), "old");
  EXPECT_EQ(TvDeleteDC(pdf), 1);
  EXPECT_EQ(TvNextPage(pdf), 0);
  EXPECT_EQ(Count(testing::ReadText(path), "/MediaBox [ 0 0 300 150 ]"), 3U);
  const TvDC image = TvCreateImageDC(10, 10, 96);
  EXPECT_EQ(TvNextPage(image), 0);
  TvDeleteDC(image);
}

// A trace as dense as a picture's columns are, four points in each.
TEST(CairoFilesTest, DenseTracesMakeSmallFiles) {
  const TempDirectory directory;
  std::vector<TvPoint> trace;
  uint32_t random = 1;
  for (int32_t i = 0; i < 6400; ++i) {
    random = random * 1103515245 + 12345;
    trace.push_back({i / 4, static_cast<int32_t>(random >> 16) % 900});
  }
  for (const auto create : kCreators) {
    const std::string path = directory.Path("dense");
    const TvDC dc = create(path.c_str(), 1600, 900, 300);
    platform::TheDrawing().Polyline(dc, trace.data(), trace.size());
    ASSERT_EQ(TvDeleteDC(dc), 1);
    EXPECT_LT(testing::ReadFile(path).size(), 200'000U);
    EXPECT_GT(testing::ReadFile(path).size(), 10'000U);
  }
}

TEST(CairoFilesTest, FailuresLeaveTheOldFile) {
  const TempDirectory directory;
  const std::string path = directory.Path("p");
  testing::WriteText(path, "old");
  testing::FaultyFileSystem files;
  const platform::ScopedReplacement<platform::FileSystem> replaced(&files);
  const auto expect_old_only = [&] {
    EXPECT_EQ(testing::ReadText(path), "old");
    EXPECT_EQ(FilesIn(directory).size(), 1U);
    EXPECT_EQ(files.open_files(), 0);
  };
  for (const auto create : kCreators) {
    EXPECT_EQ(create("", 10, 10, 96), nullptr);
    EXPECT_EQ(create(directory.Path().c_str(), 10, 10, 96), nullptr);
    EXPECT_EQ(create(directory.Path("none\\p").c_str(), 10, 10, 96), nullptr);
    for (const auto call :
         {testing::FileCall::kWrite, testing::FileCall::kClose, testing::FileCall::kMove}) {
      const TvDC dc = create(path.c_str(), 100, 100, 96);
      ASSERT_NE(dc, nullptr);
      DrawSomething(dc);
      files.On(call).FailNth(1);
      EXPECT_EQ(TvDeleteDC(dc), 0);
      files.On(call).Heal();
      expect_old_only();
    }
  }
  const TvDC image = TvCreateImageDC(100, 100, 96);
  files.OnlyPathsWith(".tmp");
  files.On(testing::FileCall::kWrite).FailNth(1);
  EXPECT_EQ(TvSavePng(image, path.c_str()), 0);
  expect_old_only();
  EXPECT_EQ(TvSavePng(image, path.c_str()), 1);
  EXPECT_EQ(TvDeleteDC(image), 1);
  EXPECT_EQ(testing::ReadText(path).substr(1, 3), "PNG");
}

TEST(CairoFilesTest, SizesOutOfRange) {
  for (const auto& [width, height, pixels_per_inch] :
       {std::array{0, 10, 96}, {10, -1, 96}, {32768, 10, 96}, {10, 10, 0}, {10, 10, 9601}}) {
    EXPECT_EQ(TvCreateImageDC(width, height, pixels_per_inch), nullptr);
  }
  EXPECT_EQ(TvCreateImageDC(32767, 32767, 96), nullptr);
  EXPECT_EQ(TvCreateSvgDC(nullptr, 10, 10, 96), nullptr);
  EXPECT_EQ(TvCreateFont("Arial", 10001, 400), nullptr);
}

// What is selected goes on drawing after its deletion; texts are UTF-8 or 8-bit Latin.
TEST(CairoFilesTest, DeletedObjectsAndTexts) {
  const TvDC dc = TvCreateImageDC(100, 100, 96);
  const TvPen pen = TvCreatePen(0, 3, 0xFF);
  const TvFont font = TvCreateFont("\xC3", -20, 700);
  platform::Drawing& drawing = platform::TheDrawing();
  ASSERT_TRUE(drawing.SelectPen(dc, pen));
  ASSERT_TRUE(drawing.SelectFont(dc, font));
  EXPECT_EQ(TvDeleteObject(pen), 1);
  EXPECT_EQ(TvDeleteObject(font), 1);
  EXPECT_EQ(TvDeleteObject(font), 0);
  EXPECT_EQ(TvDeleteObject(nullptr), 0);
  EXPECT_EQ(drawing.SelectedPen(dc), nullptr);
  DrawSomething(dc);
  EXPECT_EQ(drawing.Extent(dc, "\xB5m").width, drawing.Extent(dc, "\xC2\xB5m").width);
  for (const char* no_utf8 :
       {"\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80", "\xEF\xBF\xBF"}) {
    EXPECT_GT(drawing.Extent(dc, no_utf8).width, 0);
  }
  EXPECT_GT(drawing.Extent(dc, "\xE2\x82\xAC\xF0\x9D\x84\x9E m/z").width, 0);
  EXPECT_EQ(TvDeleteDC(dc), 1);
}

// --- Lines beyond a picture: what Cairo makes of them takes its time from their length.

constexpr int32_t kWidth = 200;
constexpr int32_t kHeight = 100;
constexpr int32_t kPeriods = 13 * 19 * 25;  // whole periods of all broken pens
constexpr int32_t kFar = kPeriods * 340000;

std::vector<TvColour> Pixels(int32_t pen_style, int32_t far) {
  platform::Drawing& drawing = platform::TheDrawing();
  testing::Canvas canvas(kWidth, kHeight);
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

#endif
