// Texts on real device contexts, and metafiles: what is recorded, and what it is measured on.

#if defined(_WIN32)

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <map>
#include <string>

#include "platform/drawing.h"
#include "tests/support/canvas.h"

namespace tervalon {
namespace {

using platform::TextAlign;
using platform::TheDrawing;

void DrawSomething(TvDC dc, TvPen pen, TvFont font) {
  platform::Drawing& drawing = TheDrawing();
  const platform::SavedState state(dc);
  ASSERT_TRUE(state.saved());
  ASSERT_TRUE(drawing.SelectPen(dc, pen));
  ASSERT_TRUE(drawing.SelectFont(dc, font));
  ASSERT_TRUE(drawing.SetOpaqueBackground(dc, false));
  EXPECT_TRUE(drawing.FillRectangle(dc, {150, 60, 190, 90}, 0x0000FF));
  EXPECT_TRUE(drawing.Line(dc, {10, 80}, {110, 80}));
  const TvPoint points[] = {{10, 70}, {50, 20}, {90, 70}};
  EXPECT_TRUE(drawing.Polyline(dc, points, std::size(points)));
  const TvSize size = drawing.Extent(dc, "184.1");
  EXPECT_GT(size.width, 20);
  EXPECT_TRUE(drawing.Text(dc, 50 - size.width / 2, 2, "184.1"));
  EXPECT_TRUE(drawing.TextWithin(dc, {120, 10, 190, 40}, TextAlign::kRight, "header"));
}

// A text takes the room that it is said to take, and is whole where that is all there is.
TEST(Win32TextTest, IsAsWideAsMeasured) {
  platform::Drawing& drawing = TheDrawing();
  const std::string text = "scan 130 (4.31 min) to scan 150 (4.98 min), 100% = 3.20e5";
  for (int32_t height = 9; height <= 24; ++height) {
    const TvFont font = drawing.MakeFont({"Arial", -height, 400});
    testing::Canvas free(900, 60);
    testing::Canvas tight(900, 60);
    for (const TvDC dc : {free.dc(), tight.dc()}) {
      drawing.SelectFont(dc, font);
      drawing.SetOpaqueBackground(dc, false);
    }
    const TvSize size = drawing.Extent(free.dc(), text);
    const TvRect room = {5, 10, 5 + size.width, 10 + size.height};
    EXPECT_TRUE(drawing.Text(free.dc(), room.left, room.top, text));
    EXPECT_TRUE(drawing.TextWithin(tight.dc(), room, TextAlign::kRight, text));
    free.Look();
    tight.Look();
    EXPECT_NEAR(free.Inked()->right, room.right, 2) << height;
    EXPECT_EQ(tight.InkedCount(), free.InkedCount()) << height;
    drawing.DeleteFont(font);
  }
}

int CALLBACK TakeText(HDC /*dc*/, HANDLETABLE* /*handles*/, const ENHMETARECORD* record,
                      int /*handle_count*/, LPARAM written) {
  if (record->iType != EMR_EXTTEXTOUTW) return 1;
  const EMRTEXT& text = reinterpret_cast<const EMREXTTEXTOUTW*>(record)->emrtext;
  const auto* place = reinterpret_cast<const uint8_t*>(record) + text.offString;
  reinterpret_cast<std::wstring*>(written)->assign(reinterpret_cast<const wchar_t*>(place),
                                                   text.nChars);
  return 1;
}

std::wstring Recorded(const std::string& text) {
  const HDC dc = CreateEnhMetaFileA(nullptr, nullptr, nullptr, nullptr);
  EXPECT_TRUE(TheDrawing().Text(dc, 0, 0, text));
  const HENHMETAFILE metafile = CloseEnhMetaFile(dc);
  std::wstring written;
  EnumEnhMetaFile(nullptr, metafile, TakeText, &written, nullptr);
  DeleteEnhMetaFile(metafile);
  return written;
}

// UTF-8, or of the system's code page; what is too long is cut between characters.
TEST(Win32TextTest, IsOfAnyLanguage) {
  EXPECT_EQ(Recorded("\xC2\xB5 \xD0\x96 \xE6\x97\xA5 \xF0\x9D\x84\x9E"),
            L"\x00B5 \x0416 \x65E5 \xD834\xDD1E");
  wchar_t wide[2] = {};
  MultiByteToWideChar(CP_ACP, 0, "\xB5m", 2, wide, 2);
  EXPECT_EQ(Recorded("\xB5m"), std::wstring(wide, 2));
  EXPECT_EQ(Recorded(std::string(9000, 'x')).size(), 8192U);
}

class MetafileTest : public ::testing::Test {
 protected:
  MetafileTest() {
    // One unit of the metafile is one pixel of the canvas that it is made for.
    enhanced_ = CreateEnhMetaFileA(canvas_.dc(), nullptr, nullptr, nullptr);
    old_ = CreateMetaFileA(nullptr);
  }
  ~MetafileTest() override {
    TheDrawing().DeletePen(pen_);
    TheDrawing().DeleteFont(font_);
  }

  testing::Canvas canvas_{200, 100};
  HDC enhanced_ = nullptr;
  HDC old_ = nullptr;
  TvPen pen_ = TheDrawing().MakePen({platform::kPenSolid, 1, 0xFF0000});
  TvFont font_ = TheDrawing().MakeFont({"Arial", -16, 400});
};

int CALLBACK CountEnhanced(HDC /*dc*/, HANDLETABLE* /*handles*/, const ENHMETARECORD* record,
                           int /*handle_count*/, LPARAM counts) {
  ++(*reinterpret_cast<std::map<DWORD, int>*>(counts))[record->iType];
  return 1;
}
int CALLBACK CountOld(HDC /*dc*/, HANDLETABLE* /*handles*/, METARECORD* record,
                      int /*handle_count*/, LPARAM counts) {
  ++(*reinterpret_cast<std::map<DWORD, int>*>(counts))[record->rdFunction];
  return 1;
}

// Measured as on the device, recorded and not drawn, and in playing the same picture.
TEST_F(MetafileTest, EnhancedMetafilesShowTheSamePicture) {
  platform::DeviceMetrics recorded;
  platform::DeviceMetrics shown;
  ASSERT_TRUE(TheDrawing().Capabilities(enhanced_, &recorded));
  ASSERT_TRUE(TheDrawing().Capabilities(canvas_.dc(), &shown));
  EXPECT_EQ(recorded.pixels_per_inch_x, shown.pixels_per_inch_x);

  DrawSomething(enhanced_, pen_, font_);
  canvas_.Look();
  EXPECT_EQ(canvas_.InkedCount(), 0);
  const HENHMETAFILE metafile = CloseEnhMetaFile(enhanced_);
  ASSERT_NE(metafile, nullptr);
  EXPECT_FALSE(TheDrawing().IsLive(enhanced_));
  std::map<DWORD, int> counts;
  EnumEnhMetaFile(nullptr, metafile, CountEnhanced, &counts, nullptr);
  EXPECT_EQ(counts[EMR_LINETO], 1);
  EXPECT_EQ(counts[EMR_POLYLINE16] + counts[EMR_POLYLINE], 1);
  EXPECT_EQ(counts[EMR_EXTTEXTOUTW] + counts[EMR_EXTTEXTOUTA], 2);

  ENHMETAHEADER header = {};
  header.nSize = sizeof(header);
  GetEnhMetaFileHeader(metafile, sizeof(header), &header);
  const RECT bounds = {header.rclBounds.left, header.rclBounds.top, header.rclBounds.right,
                       header.rclBounds.bottom};
  ASSERT_TRUE(PlayEnhMetaFile(canvas_.dc(), metafile, &bounds));
  DeleteEnhMetaFile(metafile);

  testing::Canvas direct(200, 100);
  DrawSomething(direct.dc(), pen_, font_);
  canvas_.Look();
  direct.Look();
  EXPECT_NEAR(static_cast<double>(canvas_.InkedCount()), static_cast<double>(direct.InkedCount()),
              static_cast<double>(direct.InkedCount()) / 10);
  EXPECT_NEAR(canvas_.Inked()->left, direct.Inked()->left, 1);
  EXPECT_NEAR(canvas_.Inked()->right, direct.Inked()->right, 1);
  EXPECT_NEAR(canvas_.Inked()->bottom, direct.Inked()->bottom, 1);
}

// The older kind answers nothing: it is measured on the screen, in the font that it has selected.
TEST_F(MetafileTest, OldMetafilesAreMeasuredOnTheScreen) {
  platform::Drawing& drawing = TheDrawing();
  platform::DeviceMetrics device;
  ASSERT_TRUE(drawing.Capabilities(old_, &device));
  EXPECT_EQ(device.pixels_per_inch_y, 96);
  TvSize small = {};
  TvSize large = {};
  TvSize direct = {};
  {
    const platform::SavedState state(old_);
    const TvFont large_font = drawing.MakeFont({"Arial", -48, 400});
    drawing.SelectFont(old_, font_);
    EXPECT_EQ(drawing.SelectedFont(old_), font_);
    small = drawing.Extent(old_, "184.1");
    {
      const platform::SavedState inner(old_);
      drawing.SelectFont(old_, large_font);
      large = drawing.Extent(old_, "184.1");
    }
    EXPECT_EQ(drawing.Extent(old_, "184.1").width, small.width);
    drawing.DeleteFont(large_font);
  }
  EXPECT_EQ(drawing.SelectedFont(old_), nullptr);
  drawing.SelectFont(canvas_.dc(), font_);
  direct = drawing.Extent(canvas_.dc(), "184.1");
  EXPECT_EQ(small.width, direct.width);
  EXPECT_GT(large.width, 2 * small.width);

  DrawSomething(old_, pen_, font_);
  const HMETAFILE metafile = CloseMetaFile(old_);
  ASSERT_NE(metafile, nullptr);
  std::map<DWORD, int> counts;
  EnumMetaFile(nullptr, metafile, CountOld, reinterpret_cast<LPARAM>(&counts));
  EXPECT_EQ(counts[META_LINETO], 1);
  EXPECT_EQ(counts[META_POLYLINE], 1);
  EXPECT_EQ(counts[META_EXTTEXTOUT], 2);
  DeleteMetaFile(metafile);
}

}  // namespace
}  // namespace tervalon

#endif
