#include <limits>

#include "tests/plot/drawing_fixture.h"
#include "tests/support/special_values.h"

namespace tervalon::plot {
namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class AxisDrawing : public DrawingTest {
 protected:
  // Data in x 50..150 (100 wide) and y 10..110 (from 109 upward, 100 high).
  static constexpr TvRect kArea = {10, 0, 169, 129};
  static constexpr TvRect kMargins = {40, 10, 20, 20};

  int32_t axes_ = MakeAxes(1, kArea, kMargins);

  AxsStyle Style(int32_t offset) const {
    AxsStyle style = {};
    style.offset = offset;
    style.tick_length = 6;
    style.placement = AXS_PLACE_BOTTOM_LEFT;
    return style;
  }

  std::vector<std::string> AxisLines(const AxsStyle& style, int32_t parts, int32_t side) {
    return LinesOf([&] { return AxsDisplayAxis(dc(), axes_, &style, parts, side); });
  }
  std::vector<std::string> AxisTexts(const AxsStyle& style, int32_t parts, int32_t side) {
    return TextsOf([&] { return AxsDisplayAxis(dc(), axes_, &style, parts, side); });
  }
};

TEST_F(AxisDrawing, DrawsLinesAtTheirAnchors) {
  AxsStyle style = Style(2);
  EXPECT_THAT(AxisLines(style, AXS_DRAW_LINE, AXS_X_AXIS), ElementsAre("150,111 49,111"));
  style.offset = -1;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_LINE, AXS_Y_AXIS), ElementsAre("49,9 49,110"));
  style.placement = AXS_PLACE_TOP_RIGHT;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_LINE, AXS_X_AXIS), ElementsAre("150,8 49,8"));
  EXPECT_THAT(AxisLines(style, AXS_DRAW_LINE, AXS_Y_AXIS), ElementsAre("149,9 149,110"));
  const AxsRange y = {-50, 50, 0};
  AxsSetAxisRange(axes_, &y, AXS_Y_AXIS);
  style.placement = 0;
  style.offset = 0;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_LINE, AXS_X_AXIS), ElementsAre("150,59 49,59"));

  AxsModify(axes_, 1, 1);  // half of each goes to the depth
  EXPECT_THAT(AxisLines(style, 15, AXS_Z_AXIS), ElementsAre("100,59 49,110"));
  EXPECT_THAT(recorded_.texts, IsEmpty());

  // Each row its own.
  axes_ = MakeAxes(2, kArea, kMargins);
  EXPECT_THAT(AxisLines(Style(0), AXS_DRAW_LINE, AXS_X_AXIS),
              ElementsAre("150,44 49,44", "150,109 49,109"));
}

TEST_F(AxisDrawing, DrawsMajorMinorAndMiddleTicks) {
  AxsStyle style = Style(2);
  const AxsTickInfo info = {0, 10, 5, 4, 3};
  style.ticks = &info;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_TICKS, AXS_X_AXIS),
              ElementsAre("50,117 50,111", "63,114 63,111", "75,117 75,111", "88,114 88,111",
                          "100,117 100,111", "113,114 113,111", "125,117 125,111",
                          "138,114 138,111", "150,117 150,111"));
  style.tick_length = -6;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_TICKS, AXS_X_AXIS), Contains("63,108 63,111"));

  // The row boundary has a tick in both rows.
  axes_ = MakeAxes(2, kArea, kMargins);
  EXPECT_THAT(AxisLines(style, AXS_DRAW_TICKS, AXS_X_AXIS),
              ElementsAre("50,40 50,46", "75,43 75,46", "100,40 100,46", "125,43 125,46",
                          "150,40 150,46", "50,105 50,111", "75,108 75,111", "100,105 100,111",
                          "125,108 125,111", "150,105 150,111"));
}

TEST_F(AxisDrawing, PercentAxisHasLabelsAtItsEndsAndTicksBetween) {
  AxsSetRanges(axes_, 0, 10, 0, 5000);
  AxsStyle style = Style(-1);
  style.placement |= AXS_PLACE_PERCENT;
  EXPECT_THAT(AxisLines(style, AXS_DRAW_TICKS, AXS_Y_AXIS),
              ElementsAre("43,9 49,9", "46,19 49,19", "46,29 49,29", "46,39 49,39", "46,49 49,49",
                          "43,59 49,59", "46,69 49,69", "46,79 49,79", "46,89 49,89", "46,99 49,99",
                          "43,109 49,109"));
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_Y_AXIS), ElementsAre("34,101 0", "18,1 100"));
  style.placement = AXS_PLACE_BOTTOM_LEFT;
  style.decimals = 1;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_Y_AXIS),
              ElementsAre("18,101 0.0", "-6,1 5000.0"));
  style.decimals = -2;  // significant digits
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_Y_AXIS), ElementsAre("34,101 0", "2,1 5.0e3"));
}

TEST_F(AxisDrawing, ChoosesXTicksThatLeaveRoomForLabels) {
  // Labels up to "100": 2n characters of 8 pixels are 48 of 100, so at 50 each.
  AxsSetRanges(axes_, 0, 100, 0, 1);
  EXPECT_THAT(AxisTexts(Style(2), AXS_DRAW_LABELS, AXS_X_AXIS),
              ElementsAre("46,117 0", "92,117 50", "138,117 100"));
  // "1000.00": 112 pixels leave one tick, (n + 1) characters are 64: every 1000, two ticks.
  AxsSetRanges(axes_, 0, 1000, 0, 1);
  AxsStyle style = Style(2);
  style.decimals = 2;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_X_AXIS),
              ElementsAre("34,117 0.00", "122,117 1000.00"));
  style.tick_length = -6;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_X_AXIS), Contains("34,89 0.00"));
  // Sums of steps that miss zero by rounding are not labelled as negative.
  AxsSetRanges(axes_, -0.3F, 0.3F, 0, 1);
  style.decimals = 1;
  const AxsTickInfo info = {-0.3F, 0.3F, 0.1F, 10, 7};
  style.ticks = &info;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_LABELS, AXS_X_AXIS),
              Not(Contains(::testing::HasSubstr("-0.0"))));
}

TEST_F(AxisDrawing, WritesTitlesBesideTheAxes) {
  AxsStyle style = Style(2);
  style.title = "m/z";
  style.title_colour = 0x123456;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_TITLE, AXS_X_AXIS), ElementsAre("156,103 m/z"));
  EXPECT_EQ(recorded_.texts[0].colour, 0x123456U);
  EXPECT_FALSE(recorded_.texts[0].background.has_value());
  style.offset = -1;
  style.title = "%";
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_TITLE, AXS_Y_AXIS), ElementsAre("34,51 %"));
  style.title = nullptr;
  EXPECT_THAT(AxisTexts(style, AXS_DRAW_TITLE, AXS_Y_AXIS), IsEmpty());
}

TEST_F(AxisDrawing, DrawsGridsInTheStrongestStyle) {
  const TvPen pen = recorded_.MakePen({platform::kPenSolid, 3, 0xABCDEF});
  const int32_t objects = recorded_.live_objects();
  AxsStyle style = Style(2);
  const AxsTickInfo info = {0, 10, 10, 2, 2};
  style.ticks = &info;
  style.tick_pen = pen;
  const struct {
    int16_t grid;
    int32_t pen_style;
  } cases[] = {{2, platform::kPenDash},     {6, platform::kPenDot},
               {14, platform::kPenDashDot}, {30, platform::kPenDashDotDot},
               {17, platform::kPenSolid},   {4, platform::kPenDot}};
  for (const auto& c : cases) {
    EXPECT_THAT(LinesOf([&] { return AxsDisplayGrid(dc(), axes_, &style, AXS_X_AXIS, c.grid); }),
                ElementsAre("50,110 50,9", "100,110 100,9", "150,110 150,9", "50,117 50,111",
                            "100,117 100,111", "150,117 150,111"));
    EXPECT_EQ(recorded_.lines[0].pen.style, c.pen_style) << c.grid;
    EXPECT_EQ(recorded_.lines[0].pen.width, 3);
    EXPECT_EQ(recorded_.lines[0].pen.colour, 0xABCDEFU);
    EXPECT_EQ(recorded_.lines[3].pen.style, platform::kPenSolid);
  }
  LinesOf([&] { return AxsDisplayGrid(dc(), axes_, &style, AXS_X_AXIS, AXS_GRID_LIGHT | 4); });
  EXPECT_EQ(recorded_.lines[0].pen.style, platform::kPenDot);
  EXPECT_EQ(recorded_.lines[0].pen.colour, 0xD5E6F7U);
  EXPECT_EQ(recorded_.live_objects(), objects);
  EXPECT_EQ(LinesOf([&] { return AxsDisplayGrid(dc(), axes_, &style, AXS_X_AXIS, 0); }).size(), 3U);

  // The grid of a Y axis stays inside its row.
  axes_ = MakeAxes(2, kArea, kMargins);
  style.offset = -1;
  const AxsTickInfo y_info = {0, 100, 100, 1, 2};
  style.ticks = &y_info;
  EXPECT_THAT(LinesOf([&] { return AxsDisplayGrid(dc(), axes_, &style, AXS_Y_AXIS, 1); }),
              ElementsAre("50,9 150,9", "50,74 150,74", "50,44 150,44", "50,109 150,109",
                          "43,9 49,9", "43,74 49,74", "43,44 49,44", "43,109 49,109"));
}

TEST_F(AxisDrawing, DefaultAxesFollowTheResources) {
  AxsSetRanges(axes_, 0, 100, -10, 90);
  const auto with_titles = [&] { return AxsDisplayDefaultAxes(dc(), axes_, "m/z", 0, nullptr, 0); };
  std::vector<std::string> lines = LinesOf(with_titles);
  EXPECT_THAT(lines, Contains("150,111 49,111"));
  EXPECT_THAT(lines, Contains("150,99 49,99"));  // the zero line
  EXPECT_THAT(lines, Contains("49,9 49,110"));
  EXPECT_THAT(recorded_.TextTexts(), Contains(::testing::HasSubstr(" m/z")));
  EXPECT_THAT(recorded_.TextTexts(), Contains(::testing::HasSubstr(" 100")));
  EXPECT_THAT(recorded_.TextTexts(), Contains(::testing::HasSubstr(" %")));
  PltResources resources = {};
  PltGetResources(dc(), &resources);
  EXPECT_EQ(recorded_.texts[0].font, resources.axis_font);

  lines = LinesOf([&] { return AxsDisplayDefaultAxes(dc(), axes_, nullptr, 0, "Counts", 1); });
  EXPECT_THAT(lines, Not(Contains("150,99 49,99")));
  EXPECT_THAT(recorded_.TextTexts(), Not(Contains(::testing::HasSubstr(" m/z"))));
  EXPECT_THAT(recorded_.TextTexts(), Contains(::testing::HasSubstr(" Counts")));

  const auto grid_only = [&] {
    return AxsDisplayDefaultAxesAndGrid(dc(), axes_, "m/z", 0, nullptr, 1, 4, 0, 1);
  };
  EXPECT_THAT(LinesOf(grid_only), Not(Contains("150,111 49,111")));
  EXPECT_THAT(recorded_.texts, IsEmpty());
  EXPECT_EQ(recorded_.lines[0].pen.style, platform::kPenDot);

  const auto scope = [&] { return AxsDisplayScopeAxes(dc(), axes_, "V", 0, nullptr, 1); };
  lines = LinesOf(scope);
  for (const char* side : {"150,109 49,109", "150,9 49,9", "50,9 50,110", "150,9 150,110"}) {
    EXPECT_THAT(lines, Contains(side));
  }
  EXPECT_THAT(lines, Contains("50,103 50,109"));
  EXPECT_THAT(lines, Contains("50,15 50,9"));
}

TEST_F(AxisDrawing, MeasuresBorders) {
  TvSize size = {};
  EXPECT_EQ(AxsTickSize(dc(), &size), 1);
  EXPECT_EQ(size.width, 6);
  EXPECT_EQ(AxsMinLength(dc(), &size), 1);
  EXPECT_EQ(size.height, 24);

  // Lines of 16 pixels, 4 of them leading, characters of 8.
  AxsStyle style = Style(2);
  style.title = "m/z";
  EXPECT_EQ(AxsBorderSize(dc(), &style, 14, AXS_X_AXIS, &size), 1);
  EXPECT_EQ(size.width, 24 + 16);
  EXPECT_EQ(size.height, 8 + 16);
  EXPECT_EQ(AxsBorderSize(dc(), &style, 14, AXS_Y_AXIS, &size), 1);
  EXPECT_EQ(size.width, 40);
  EXPECT_EQ(size.height, 16 + 5);
  style.placement |= AXS_PLACE_PERCENT;
  AxsBorderSize(dc(), &style, AXS_DRAW_LABELS, AXS_Y_AXIS, &size);
  EXPECT_EQ(size.width, 24 + 8 + 8);
  EXPECT_EQ(size.height, 0);

  // The resources' font is 12 high here, 6 wide, 3 leading.
  TvRect margins = {};
  EXPECT_EQ(AxsGetBorder(dc(), &margins, "m/z", nullptr, 0), 12);
  EXPECT_EQ(margins.left, 18 + 6 + 8);
  EXPECT_EQ(margins.top, 12 + 4);
  EXPECT_EQ(margins.right, 18 + 12);
  EXPECT_EQ(margins.bottom, 8 + 12);

  AxsPosition position = {{0, 0, 300, 200}, {20, 10, 5, 15}, 3, 9, 0, 5};
  EXPECT_EQ(AxsGetPositionInfo(dc(), 0, &position), 4);  // 200 / (24 + 25)
  EXPECT_EQ(position.count, 4);
  EXPECT_EQ(position.first, 3);
  EXPECT_EQ(position.step, -53);  // (200 + 3 * 5) / 4
  EXPECT_EQ(position.area.top, 147);
  position = {{0, 0, 300, 200}, {20, 10, 5, 15}, 7, 9, 8, 5};
  EXPECT_EQ(AxsGetPositionInfo(dc(), AXS_POSITION_OVERLAY, &position), 9);
  EXPECT_EQ(position.first, 0);
  EXPECT_EQ(position.step, 0);
  position = {{0, 0, 300, 200}, {20, 10, 5, 15}, 7, 9, 8, 0};
  EXPECT_EQ(AxsGetPositionInfo(dc(), 0, &position), 4);
  EXPECT_EQ(position.first, 5);
  position.count = -1;
  EXPECT_EQ(AxsGetPositionInfo(dc(), 0, &position), 0);
  EXPECT_EQ(position.count, -1);
  position = {{0, 200, 300, 0}, {}, 0, 9, 0, 0};  // upside down
  EXPECT_EQ(AxsGetPositionInfo(dc(), 0, &position), 0);
}

// Tick info that no axis would choose ends all the same, with no more ticks than anybody can see.
TEST_F(AxisDrawing, EndsWithAnyTickInfo) {
  constexpr int32_t kMany = std::numeric_limits<int32_t>::max();
  const AxsTickInfo infos[] = {
      {0, 10, 0, 10, 11},       {0, 10, -1, 10, 11},     {0, 10, kNan, 10, 11},
      {kNan, 10, 1, 10, 11},    {0, kInfinity, 1, 1, 1}, {-kInfinity, 10, 1, 10, 1},
      {0, 10, 1e-30F, 10, 11},  {0, 10, 1, kMany, 11},   {-1e30F, 1e30F, 1, 10, 3},
      {1e30F, -1e30F, 1, 1, 3}, {0, 10, 1, 0, 11},       {-3e8F, 3e8F, 0.001F, kMany, 11},
      {0, 1e-10F, 1, 1, 1},     {0, 10, 1, -kMany, 11}};
  axes_ = MakeAxes(5, {0, 0, 400, 400}, {});
  for (const AxsTickInfo& info : infos) {
    for (const int32_t side : {AXS_X_AXIS, AXS_Y_AXIS}) {
      AxsStyle style = Style(0);
      style.ticks = &info;
      EXPECT_LE(AxisLines(style, 15, side).size(), 10005U);
      EXPECT_LE(recorded_.texts.size(), 10000U);
    }
  }
}

TEST_F(AxisDrawing, RefusesDeadDevicesAndHandles) {
  const AxsStyle style = Style(0);
  EXPECT_EQ(AxsDisplayAxis(dc(), 50, &style, 15, AXS_X_AXIS), -1);
  EXPECT_EQ(AxsDisplayAxis(dc(), axes_, &style, 15, 3), -1);
  EXPECT_EQ(AxsDisplayAxis(nullptr, axes_, &style, 15, AXS_X_AXIS), -1);
  recorded_.fail_restore = true;
  EXPECT_EQ(AxsDisplayGrid(dc(), axes_, &style, AXS_X_AXIS, 1), -1);
  recorded_.fail_restore = false;
  recorded_.fail_save = true;
  EXPECT_EQ(AxsDisplayAxis(dc(), axes_, &style, 15, AXS_X_AXIS), -1);
  EXPECT_EQ(AxsDisplayDefaultAxes(dc(), axes_, "x", 0, nullptr, 0), -1);
  recorded_.fail_save = false;

  AxsSize(axes_, nullptr, nullptr);
  recorded_.Forget();
  EXPECT_EQ(AxsDisplayDefaultAxes(dc(), axes_, "x", 0, nullptr, 0), 0);
  EXPECT_THAT(recorded_.lines, IsEmpty());
  axes_ = MakeAxes(2, kArea, kMargins);
  CosDelete(SystemOf(axes_).row_systems[1]);  // behind the axes object's back
  EXPECT_EQ(AxsDisplayDefaultAxes(dc(), axes_, "x", 0, nullptr, 0), 0);
  EXPECT_THAT(recorded_.lines, IsEmpty());

  recorded_.KillDevice();
  TvSize size = {};
  TvRect rect = {};
  EXPECT_EQ(AxsTickSize(dc(), &size), 0);
  EXPECT_EQ(AxsBorderSize(dc(), &style, 14, AXS_X_AXIS, &size), 0);
  EXPECT_EQ(AxsGetBorder(dc(), &rect, "x", nullptr, 0), 0);
  EXPECT_EQ(AxsDisplayScopeAxes(dc(), axes_, "x", 0, nullptr, 0), -1);
}

TEST_F(AxisDrawing, ChoosesDataPensAndColours) {
  PltResources resources = {};
  ASSERT_EQ(PltGetResources(dc(), &resources), 1);
  TvColour colour = 0;
  int32_t style = -1;
  EXPECT_EQ(AxsGetDataPenDC(dc(), 7, &colour, &style, 1), resources.first[2].pen);
  EXPECT_EQ(colour, resources.first[2].red | TvColour{resources.first[2].green} << 8 |
                        TvColour{resources.first[2].blue} << 16);
  EXPECT_EQ(AxsGetDataPenDC(dc(), 7, nullptr, &style, 0), resources.second[2].pen);
  EXPECT_EQ(style, resources.second[2].style);
  EXPECT_EQ(AxsGetDataPen(7, nullptr, nullptr), AxsGetDataPenExt(2, nullptr, nullptr, 1));
  EXPECT_EQ(AxsGetDataPenDC(dc(), -1, nullptr, nullptr, 1), nullptr);

  const int32_t some[] = {0, 1, 5};
  const int32_t all[] = {0, 1, 2, 3, 4};
  EXPECT_EQ(AxsGetDataColourNum(some, 3), 2);
  EXPECT_EQ(AxsGetDataColourNum(all, 5), 0);
  EXPECT_EQ(AxsGetDataColourNum(all, 0), 0);
  EXPECT_EQ(AxsGetDataColourNum(all, 2), 2);
}

}  // namespace
}  // namespace tervalon::plot
