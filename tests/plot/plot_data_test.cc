#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <optional>
#include <random>
#include <utility>

#include "tervalon/magnification.h"
#include "tests/plot/drawing_fixture.h"
#include "tests/support/special_values.h"

namespace tervalon::plot {
namespace {

using tervalon::testing::kInfinity;
using tervalon::testing::kNan;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PlotData : public DrawingTest {
 protected:
  // Data in x 50..149 and y 9..109, X range 0..10, Y range 0..100.
  static constexpr TvRect kArea = {10, 0, 169, 129};
  static constexpr TvRect kMargins = {40, 10, 20, 20};

  int32_t axes_ = MakeAxes(1, kArea, kMargins);
  std::vector<float> x_;
  std::vector<float> y_;

  AxsPlotBlock Block(int32_t mode) {
    AxsPlotBlock plot = {};
    plot.flags = AXS_PLOT_TRACE;
    plot.mode = mode;
    plot.x = x_.data();
    plot.y = y_.data();
    plot.count = static_cast<int32_t>(x_.size());
    return plot;
  }

  int32_t Plot(int32_t mode) {
    AxsPlotBlock plot = Block(mode);
    recorded_.Forget();
    return AxsPlotData(dc(), axes_, &plot);
  }

  // The points of all polylines, as "x,y x,y ...".
  std::vector<std::string> Polylines(const std::vector<float>& x, const std::vector<float>& y) {
    x_ = x;
    y_ = y;
    EXPECT_EQ(Plot(AXS_PLOT_JOINED), 0);
    std::vector<std::string> result;
    for (const auto& line : recorded_.polylines) {
      std::string text;
      for (const TvPoint& point : line.points) {
        text += (text.empty() ? "" : " ") + std::to_string(point.x) + "," + std::to_string(point.y);
      }
      result.push_back(text);
    }
    return result;
  }
};

TEST_F(PlotData, JoinsPointsAndCutsLinesAtTheEdges) {
  EXPECT_THAT(Polylines({1, 2, 4}, {0, 50, 100}), ElementsAre("60,109 70,59 90,9"));
  const TvRect clip = *recorded_.polylines[0].clip;
  EXPECT_EQ(clip.left, 50);
  EXPECT_EQ(clip.top, 9);
  EXPECT_EQ(clip.right, 150);
  EXPECT_EQ(clip.bottom, 110);
  // From outside in, out, over the whole range, and back.
  EXPECT_THAT(Polylines({-1, 1, 9, 11}, {0, 100, 100, 0}), ElementsAre("50,59 60,9 140,9 149,59"));
  EXPECT_THAT(Polylines({-10, 20, -10}, {0, 60, 0}), ElementsAre("50,89 149,69", "149,69 50,89"));
  EXPECT_THAT(Polylines({-5, -1, -2}, {1, 2, 3}), IsEmpty());
  EXPECT_THAT(Polylines({5}, {100}), ElementsAre("100,9"));
  EXPECT_THAT(Polylines({}, {}), IsEmpty());
  // What is no number ends a line; the far away keeps its direction.
  EXPECT_THAT(Polylines({1, 2, 3, 4, kNan, 5}, {0, 50, kNan, 0, 0, 0}),
              ElementsAre("60,109 70,59", "90,109", "100,109"));
  EXPECT_THAT(Polylines({1, 3}, {0, 2.0F * (4087 + 109)}), ElementsAre("60,109 70,-4087 80,-4087"));
  EXPECT_THAT(Polylines({1, kInfinity}, {0, 50}), ElementsAre("60,109 149,109"));
  EXPECT_THAT(Polylines({1, 1}, {-kInfinity, kInfinity}), ElementsAre("60,4205 60,-4087"));
  AxsSetRanges(axes_, 10, 0, 0, 100);  // downward
  EXPECT_THAT(Polylines({-1, 1, 9, 11}, {0, 100, 100, 0}), ElementsAre("149,59 140,9 60,9 50,59"));
}

TEST_F(PlotData, DrawsEachRowAtItsDepth) {
  axes_ = MakeAxes(2, kArea, kMargins);  // 5 units of 20 pixels each
  EXPECT_THAT(Polylines({4, 6}, {0, 100}), ElementsAre("130,44 149,27", "50,92 70,74"));
  axes_ = MakeAxes(1, kArea, kMargins);
  AxsModify(axes_, 1, 1);  // 50 wide, 50 high, and as much to the back
  x_ = {0, 10};
  y_ = {0, 100};
  AxsPlotBlock plot = Block(AXS_PLOT_JOINED);
  plot.z = 0.5;
  recorded_.Forget();
  EXPECT_EQ(AxsPlotData(dc(), axes_, &plot), 0);
  EXPECT_EQ(recorded_.polylines[0].points[0].x, 75);
  EXPECT_EQ(recorded_.polylines[0].points[0].y, 84);
  EXPECT_EQ(recorded_.polylines[0].points[1].x, 124);
  EXPECT_EQ(recorded_.polylines[0].clip->left, 75);
  plot.z = kNan;
  EXPECT_EQ(AxsPlotData(dc(), axes_, &plot), -1);
}

TEST_F(PlotData, DrawsSticksFromTheCrossing) {
  x_ = {0, 2, 2.01F, 5, 10, 11, 7, kNan};
  y_ = {50, 20, 80, 0, 100, 50, kNan, 1};
  EXPECT_EQ(Plot(AXS_PLOT_STICKS), 0);
  EXPECT_THAT(recorded_.LineTexts(), ElementsAre("50,59 50,110", "70,29 70,110", "149,9 149,110"));
  const AxsRange y = {-100, 100, 0};
  AxsSetAxisRange(axes_, &y, AXS_Y_AXIS);
  x_ = {1, 2};
  y_ = {-50, 1e30F};
  EXPECT_EQ(Plot(AXS_PLOT_STICKS), 0);
  EXPECT_THAT(recorded_.LineTexts(), ElementsAre("60,59 60,85", "70,-4087 70,60"));
  AxsSetRanges(axes_, 0, 10, 100, 0);  // downward
  x_ = {1};
  y_ = {25};
  EXPECT_EQ(Plot(AXS_PLOT_STICKS), 0);
  EXPECT_THAT(recorded_.LineTexts(), ElementsAre("60,34 60,110"));
  // A stick where two rows meet belongs to the first.
  axes_ = MakeAxes(2, kArea, kMargins);
  x_ = {5};
  y_ = {100};
  EXPECT_EQ(Plot(AXS_PLOT_STICKS), 0);
  EXPECT_THAT(recorded_.LineTexts(), ElementsAre("149,9 149,45"));
}

TEST_F(PlotData, FillsDownToTheCrossing) {
  x_ = {1, 3};
  y_ = {50, 100};
  EXPECT_EQ(AxsDisplayDefaultData(dc(), axes_, x_.data(), y_.data(), 2, AXS_PLOT_FILLED, 0), 0);
  ASSERT_EQ(recorded_.fills.size(), 1U);
  ASSERT_EQ(recorded_.fills[0].points.size(), 4U);
  EXPECT_EQ(recorded_.fills[0].points[2].x, 80);
  EXPECT_EQ(recorded_.fills[0].points[2].y, 109);
  EXPECT_EQ(recorded_.fills[0].points[3].x, 60);
  ASSERT_EQ(recorded_.polylines.size(), 1U);
  EXPECT_NE(recorded_.fills[0].colour, recorded_.polylines[0].pen.colour);
}

TEST_F(PlotData, FlagsOfTheBlockChangeColoursAndPlaces) {
  x_ = {1, 3};
  y_ = {50, 100};
  const AxsPlotLabel labels[] = {{1, 50, "a"}, {3, 100, "b"}};
  TvRect places[] = {{}, {30, 40, 31, 41}};
  AxsPlotBlock plot = Block(AXS_PLOT_JOINED);
  plot.flags = AXS_PLOT_TRACE | AXS_PLOT_ANNOTATE | AXS_PLOT_LABEL_COLOUR | AXS_PLOT_LABEL_GROUND |
               AXS_PLOT_LABELS_PLACED | AXS_PLOT_FILL_COLOUR | AXS_PLOT_BASE_LINE;
  plot.labels = labels;
  plot.label_count = 2;
  plot.label_rects = places;
  plot.label_colour = 0x010203;
  plot.ground_colour = 0x040506;
  plot.fill_colour = 0x070809;
  AxsMagnifyRange(axes_, 2, 8, 9, 0);
  EXPECT_THAT(TextsOf([&] { return AxsPlotData(dc(), axes_, &plot); }),
              ElementsAre("115,-3 x2", "30,40 b"));
  for (const auto& text : recorded_.texts) {
    EXPECT_EQ(text.colour, 0x010203U);
    EXPECT_EQ(text.background, TvColour{0x040506});
  }
  ASSERT_EQ(recorded_.fills.size(), 1U);
  EXPECT_EQ(recorded_.fills[0].colour, 0x070809U);
  EXPECT_EQ(recorded_.fills[0].points.size(), 4U);
  EXPECT_EQ(recorded_.LineTexts()[0], "50,109 150,109");
  EXPECT_EQ(recorded_.lines[0].pen.colour, recorded_.polylines[0].pen.colour);
  plot.label_rects = nullptr;
  EXPECT_EQ(AxsPlotData(dc(), axes_, &plot), -1);

  // A block of a program that was compiled before these colours were there.
  plot.flags = AXS_PLOT_TRACE | AXS_PLOT_ANNOTATE;
  std::vector<uint8_t> shorter(offsetof(AxsPlotBlock, label_colour));
  std::memcpy(shorter.data(), &plot, shorter.size());
  recorded_.Forget();
  EXPECT_EQ(AxsPlotData(dc(), axes_, reinterpret_cast<AxsPlotBlock*>(shorter.data())), 0);
  EXPECT_THAT(recorded_.fills, IsEmpty());
  EXPECT_EQ(recorded_.texts.size(), 3U);
  EXPECT_EQ(recorded_.texts[1].background, std::nullopt);
}

TEST_F(PlotData, ImagesShowTheCellUnderEachPixel) {
  const TvColour cells[] = {1, 2, 3, 4, 5, 6};  // 3 columns, the lower row first
  const auto draw = [&](AxsRange x, AxsRange y, int32_t columns = 3, int32_t rows = 2) {
    recorded_.Forget();
    return AxsPlotImage(dc(), axes_, cells, columns, rows, &x, &y);
  };
  ASSERT_EQ(draw({0, 3, 0}, {0, 100, 0}), 0);
  ASSERT_EQ(recorded_.images.size(), 1U);
  const auto at = [&](int32_t x, int32_t y) {
    const auto& [rect, pixels] = recorded_.images[0];
    return pixels[static_cast<size_t>((y - rect.top) * (rect.right - rect.left) + x - rect.left)];
  };
  EXPECT_THAT(recorded_.images[0].rect, ::testing::AllOf(::testing::Field(&TvRect::left, 50),
                                                         ::testing::Field(&TvRect::top, 10),
                                                         ::testing::Field(&TvRect::right, 80),
                                                         ::testing::Field(&TvRect::bottom, 110)));
  EXPECT_EQ(std::vector({at(50, 109), at(59, 60), at(60, 60), at(79, 109)}),
            (std::vector<TvColour>{1, 1, 2, 3}));
  EXPECT_EQ(std::vector({at(50, 58), at(60, 10)}), (std::vector<TvColour>{4, 5}));
  // Far more than the row shows, and downward.
  ASSERT_EQ(draw({-1e9F, 1e9F, 0}, {100, 0, 0}), 0);
  EXPECT_EQ(recorded_.images[0].pixels.size(), 10000U);
  EXPECT_EQ(std::vector({at(50, 10), at(149, 109)}), (std::vector<TvColour>{2, 5}));
  // A single cell is a ground, and here all of the row.
  ASSERT_EQ(draw({-1, 11, 0}, {-1, 101, 0}, 1, 1), 0);
  ASSERT_EQ(recorded_.fills.size(), 1U);
  EXPECT_EQ(recorded_.fills[0].points[0].y, 9);
  EXPECT_EQ(recorded_.fills[0].points[1].x, 150);
  EXPECT_EQ(draw({11, 12, 0}, {0, 1, 0}), 0);
  EXPECT_THAT(recorded_.images, IsEmpty());
  EXPECT_EQ(draw({1, 1, 0}, {0, 1, 0}), -1);
  EXPECT_EQ(draw({0, kInfinity, 0}, {0, 1, 0}), -1);
  EXPECT_EQ(draw({0, 1, 0}, {0, 1, 0}, 3, 0), -1);
  EXPECT_EQ(draw({0, 1, 0}, {0, 1, 0}, 1 << 20, 1 << 20), -1);
}

// The pixels of the lines through `points`, in a picture of 200 by 200.
std::vector<bool> PixelsOf(const std::vector<TvPoint>& points) {
  std::vector<bool> pixels(200 * 200);
  for (size_t i = 0; i < points.size(); ++i) {
    const TvPoint a = points[i > 0 ? i - 1 : 0];
    const TvPoint b = points[i];
    const int32_t steps = std::max({std::abs(b.x - a.x), std::abs(b.y - a.y), 1});
    for (int32_t s = 0; s <= steps; ++s) {
      const double share = static_cast<double>(s) / steps;
      const auto x = static_cast<size_t>(std::lround(a.x + share * (b.x - a.x)));
      const auto y = static_cast<size_t>(std::lround(a.y + share * (b.y - a.y)));
      pixels[y * 200 + x] = true;
    }
  }
  return pixels;
}

// However many points there are, the picture is that of all of them, with a few points a column.
TEST_F(PlotData, DrawsTheSamePictureWithFewerPoints) {
  std::mt19937 random(4);
  std::uniform_real_distribution<float> heights(0, 100);
  for (const size_t count : {size_t{50}, size_t{300}, size_t{20000}}) {
    for (const bool backward : {false, true}) {
      x_.clear();
      y_.clear();
      for (size_t i = 0; i < count; ++i) {
        const float share = static_cast<float>(i) / static_cast<float>(count);
        x_.push_back(10.0F * (backward ? 1.0F - share : share));
        y_.push_back(heights(random));
      }
      EXPECT_EQ(Plot(AXS_PLOT_JOINED), 0);
      ASSERT_EQ(recorded_.polylines.size(), 1U);
      const std::vector<TvPoint>& drawn = recorded_.polylines[0].points;
      EXPECT_LE(drawn.size(), 4U * 100U);
      std::vector<TvPoint> all;
      const int32_t system = SystemOf(axes_).row_systems[0];
      for (size_t i = 0; i < count; ++i) {
        all.push_back(
            {std::min(CosXPosOfValue(system, x_[i]), 149), CosYPosOfValue(system, y_[i])});
      }
      EXPECT_TRUE(PixelsOf(drawn) == PixelsOf(all)) << count;

      EXPECT_EQ(Plot(AXS_PLOT_STICKS), 0);
      EXPECT_LE(recorded_.lines.size(), 100U);
      int32_t highest = 109;
      for (const TvPoint& point : all) {
        if (point.x == 77) highest = std::min(highest, point.y);
      }
      for (const auto& line : recorded_.lines) {
        if (line.from.x == 77) {
          EXPECT_EQ(line.from.y, highest);
        }
      }
    }
  }
}

// Points in no order: what they cover, in a time that does not grow with how often.
TEST_F(PlotData, CoversWhatLinesToAndFroCover) {
  std::mt19937 random(4);
  std::uniform_real_distribution<float> places(-1, 11);
  std::uniform_real_distribution<float> heights(20, 80);
  for (const size_t count : {size_t{400}, size_t{20000}}) {
    x_.clear();
    y_.clear();
    std::vector<TvPoint> all;
    for (size_t i = 0; i < count; ++i) {
      x_.push_back(std::clamp(places(random), 0.0F, 9.9F));
      y_.push_back(heights(random));
      const int32_t system = SystemOf(axes_).row_systems[0];
      all.push_back({CosXPosOfValue(system, x_[i]), CosYPosOfValue(system, y_[i])});
    }
    EXPECT_EQ(Plot(AXS_PLOT_FILLED), 0);
    EXPECT_THAT(recorded_.polylines, IsEmpty());
    EXPECT_LE(recorded_.lines.size(), 100U * 30U);
    std::vector<bool> pixels(200 * 200);
    for (const auto& line : recorded_.lines) {
      for (int32_t y = line.from.y; y < line.to.y; ++y) {
        pixels[static_cast<size_t>(y * 200 + line.from.x)] = true;
      }
    }
    // Where a line passes between two pixels either may be covered.
    const std::vector<bool> expected = PixelsOf(all);
    size_t different = 0;
    for (size_t i = 200; i + 200 < pixels.size(); ++i) {
      const auto around = [&](const std::vector<bool>& some) {
        return some[i] || some[i - 1] || some[i + 1] || some[i - 200] || some[i + 200];
      };
      different += pixels[i] != expected[i];
      EXPECT_TRUE((!pixels[i] || around(expected)) && (!expected[i] || around(pixels))) << i;
    }
    EXPECT_LT(different, 50U);
    // The area reaches down to the crossing from the highest line in each column.
    ASSERT_EQ(recorded_.fills.size(), 1U);
    for (size_t column = 0; column < 99; ++column) {
      size_t top = 0;
      while (!pixels[top * 200 + 50 + column]) ++top;
      EXPECT_EQ(recorded_.fills[0].points[column].y, static_cast<int32_t>(top));
    }
  }
}

TEST_F(PlotData, MultipliesAndMarksMagnifiedRanges) {
  AxsMagnifyRange(axes_, 10, 4, 6, 0);
  EXPECT_THAT(Polylines({3, 4, 5, 6}, {5, 5, 5, 5}), ElementsAre("80,104 90,59 100,59 110,104"));
  // Boxes: 12 high, ends 3 wide, over the data's top at 9. The factor is 18 wide.
  AxsPlotBlock plot = Block(AXS_PLOT_JOINED);
  plot.flags = AXS_PLOT_ANNOTATE;
  EXPECT_THAT(LinesOf([&] { return AxsPlotData(dc(), axes_, &plot); }),
              ElementsAre("90,-3 90,9", "110,-3 110,9", "90,3 110,3"));
  EXPECT_THAT(recorded_.TextTexts(), ElementsAre("113,-3 x10"));
  AxsMagnifyRange(axes_, 2.5, -5, 5, 1);  // starts before the range
  EXPECT_THAT(TextsOf([&] { return AxsAnnotateMagnify(dc(), axes_, &plot); }),
              ElementsAre("113,-3 x10", "58,-3 x2.5"));  // clear of each other
  EXPECT_THAT(recorded_.LineTexts(), Contains("50,-3 50,9"));

  TvRect strip = {};
  EXPECT_EQ(AxsSetActiveMagnifyRange(dc(), axes_, -1, 50, 0, &strip), 0);
  EXPECT_EQ(AxsGetActiveMagnifyRange(axes_, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(strip.left, 50);
  EXPECT_EQ(strip.right, 149);
  EXPECT_EQ(strip.top, -3);
  EXPECT_EQ(strip.bottom, 9);
  EXPECT_EQ(AxsSetActiveMagnifyRange(dc(), axes_, -1, 112, 9, nullptr), 1);
  EXPECT_EQ(AxsSetActiveMagnifyRange(dc(), axes_, -1, 113, 9, nullptr), 0);  // beside it
  EXPECT_EQ(AxsGetActiveMagnifyRange(axes_, nullptr, nullptr, nullptr), 0);
  AxsMagnifyRange(axes_, 3, 6.1, 6.5, 4);  // in the way of the first one's factor
  EXPECT_THAT(TextsOf([&] { return AxsAnnotateMagnify(dc(), axes_, &plot); }),
              ElementsAre("90,10 x10", "58,-3 x2.5", "118,-3 x3"));
  AxsMagnifyRange(axes_, 1, 0, 0, 4);
  EXPECT_EQ(AxsSetActiveMagnifyRange(dc(), axes_, 1, 200, 9, nullptr), 0);  // by number
  EXPECT_EQ(AxsGetActiveMagnifyRange(axes_, nullptr, nullptr, nullptr), 1);
  AxsMagnifyRange(axes_, 2, 20, 30, 2);  // out of view
  strip = {};
  EXPECT_EQ(AxsSetActiveMagnifyRange(dc(), axes_, 2, 200, 9, &strip), 1);
  EXPECT_EQ(strip.right, 0);
  EXPECT_EQ(AxsSetActiveMagnifyRange(nullptr, axes_, 0, 0, 0, nullptr), 0);
  EXPECT_EQ(AxsGetActiveMagnifyRange(axes_, nullptr, nullptr, nullptr), 2);
}

TEST_F(PlotData, LabelsAvoidEachOtherAndTheHeaders) {
  const AxsPlotLabel labels[] = {{2, 40, nullptr},      {2.2F, 90, "high"}, {8, 50, nullptr},
                                 {2.1F, 38, "no room"}, {20, 50, "out"},    {0, 10, nullptr},
                                 {5, 1e30F, "top"},     {9, kNan, "nan"}};
  TvRect rects[std::size(labels)];
  AxsPlotBlock plot = Block(AXS_PLOT_STICKS);
  plot.flags = AXS_PLOT_ANNOTATE;
  plot.labels = labels;
  plot.label_count = std::size(labels);
  plot.label_decimals = 1;
  plot.label_rects = rects;
  const auto draw = [&] { return AxsPlotData(dc(), axes_, &plot); };
  // 12 high, 6 a character, 2 over the peak; "no room" would be 42 wide at 50..92.
  EXPECT_THAT(TextsOf(draw),
              ElementsAre("91,0 top", "60,5 high", "121,45 8.0", "61,55 2.0", "50,85 0.0"));
  EXPECT_EQ(rects[0].left, 61);
  EXPECT_EQ(rects[0].bottom, 67);
  for (const int missing : {3, 4, 7}) EXPECT_EQ(rects[missing].right, 0);

  // A header over the middle: the label moves to the side.
  EXPECT_GT(AxsDisplayHeaderAndExclude(dc(), axes_, nullptr, 0, 0, "abcdefghij", 1), 0);
  plot.label_rects = nullptr;
  const std::vector<std::string> texts = TextsOf(draw);
  EXPECT_THAT(texts, ::testing::Not(Contains("91,0 top")));
  EXPECT_THAT(texts, Contains("102,0 top"));

  // Clear of the trace: beside a higher peak on the free side, above a slightly higher one.
  x_ = {2, 3, 7, 7.2F};
  y_ = {90, 50, 50, 52};
  const AxsPlotLabel beside[] = {{3, 50, "peak"}, {7, 50, "peak"}};
  plot = Block(AXS_PLOT_STICKS);
  plot.flags = AXS_PLOT_ANNOTATE;
  plot.labels = beside;
  plot.label_count = 2;
  EXPECT_THAT(TextsOf(draw), ElementsAre("82,45 peak", "108,43 peak"));

  // Where brackets leave no room above a high peak: beside its top.
  AxsHdrExcludeRect(0, nullptr);
  AxsMagnifyRange(axes_, 2, 0, 2.9, 0);
  AxsMagnifyRange(axes_, 2, 3.1, 6, 1);
  const AxsPlotLabel between = {3, 100, "peak"};
  x_ = {3, 7};
  y_ = {100, 50};
  plot = Block(AXS_PLOT_STICKS);
  plot.flags = AXS_PLOT_ANNOTATE;
  plot.labels = &between;
  plot.label_count = 1;
  EXPECT_THAT(TextsOf(draw), Contains("82,11 peak"));

  plot.label_count = -1;
  EXPECT_EQ(draw(), -1);
  plot.label_count = 0;
  plot.mode = 3;
  EXPECT_EQ(draw(), -1);
  plot.mode = 0;
  plot.count = 1;
  plot.x = nullptr;
  EXPECT_EQ(draw(), -1);
}

TEST_F(PlotData, WritesHeadersAndRemembersWhereTheyStand) {
  // Lines of 16 with 4 leading: the area is inset to x 14..165, y 4.
  const auto header = [&](int16_t flags, const char* text, int16_t offset) {
    recorded_.Forget();
    return AxsDisplayHeaderAndExclude(dc(), axes_, nullptr, 0x0000FF, flags, text, offset);
  };
  EXPECT_EQ(header(0, "left", 0), 16);
  EXPECT_THAT(recorded_.TextTexts(), ElementsAre("14,4 left"));
  EXPECT_EQ(recorded_.texts[0].colour, 0x0000FFU);
  EXPECT_EQ(recorded_.texts[0].background, recorded_.window_colour);
  EXPECT_EQ(header(0, "again", 16), -16);  // shares its upper edge
  EXPECT_THAT(recorded_.texts, IsEmpty());
  EXPECT_EQ(header(AXS_HEADER_RIGHT, "right", 16), 16);
  EXPECT_THAT(recorded_.TextTexts(), ElementsAre("125,20 right"));
  // Centred: the text in the area, its rectangle from 75 - 24 on, 50 wide.
  EXPECT_EQ(header(AXS_HEADER_CENTRE, "centre", 0), 16);
  EXPECT_THAT(recorded_.TextTexts(), ElementsAre("65,4 centre"));
  for (const auto& [left, free] : {std::pair{100, 0}, std::pair{102, 1}}) {
    const TvRect beside = {left, 4, 110, 10};
    EXPECT_EQ(AxsCheckHeaderRect(&beside), free);
  }
  // Without exclusion nothing is asked or remembered.
  EXPECT_EQ(AxsDisplayHeader(dc(), axes_, nullptr, 0, 0, "left", 0), 16);
  EXPECT_EQ(AxsDisplayHeaderBkColour(dc(), axes_, nullptr, 0, 0, "left", 0, 0x00FF00), 16);
  EXPECT_EQ(recorded_.texts.back().background, TvColour{0x00FF00});

  const std::vector<TvRect> many(20, TvRect{500, 500, 510, 510});
  AxsHdrExcludeRect(11, many.data());
  const TvRect fifteenth = {600, 0, 610, 10};
  AxsHdrExcludeRect(1, &fifteenth);
  const TvRect sixteenth = {700, 0, 710, 10};
  AxsHdrExcludeRect(1, &sixteenth);
  EXPECT_EQ(AxsCheckHeaderRect(&fifteenth), 0);
  EXPECT_EQ(AxsCheckHeaderRect(&sixteenth), 1);
  AxsHdrExcludeRect(0, many.data());
  EXPECT_EQ(AxsCheckHeaderRect(&fifteenth), 1);

  EXPECT_EQ(AxsDisplayHeader(dc(), 50, nullptr, 0, 0, "x", 0), 0);
  recorded_.fail_save = true;
  EXPECT_EQ(header(0, "x", 0), 0);
  recorded_.fail_save = false;
}

TEST_F(PlotData, ChecksMarkAPoint) {
  EXPECT_EQ(AxsDisplayCheckMark(dc(), axes_, 5, 50, 0), 0);
  ASSERT_EQ(recorded_.polylines.size(), 1U);
  EXPECT_EQ(recorded_.polylines[0].points[1].x, 100);
  EXPECT_EQ(recorded_.polylines[0].points[1].y, 59);
  EXPECT_EQ(AxsDisplayCheckMark(dc(), axes_, 5, 101, 0), 0);
  EXPECT_EQ(recorded_.polylines.size(), 1U);
}

}  // namespace
}  // namespace tervalon::plot
