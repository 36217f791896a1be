// Plans of pictures, with letters of fixed sizes in place of a device context.

#include "tools/pictures/picture_plan.h"

#include <gmock/gmock.h>
#include <tervalon/drawing.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "tools/pictures/label_placement.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Field;
using ::testing::Ge;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

class FixedLetters : public TextMeasure {
 public:
  using TextMeasure::Height;
  using TextMeasure::Width;
  int32_t Width(const std::string& utf8, Face /*face*/) const override {
    return 7 * static_cast<int32_t>(utf8.size());
  }
  int32_t Height(Face face) const override { return face == Face::kTitle ? 16 : 14; }
};

constexpr PictureSize kSize = {960, 600, 96};

PlotSeries Spectrum(std::vector<float> masses, std::vector<float> intensities) {
  return {.title = "scan",
          .x_title = "m/z",
          .range = Window{100, 900},
          .sticks = true,
          .x = std::move(masses),
          .y = std::move(intensities)};
}

// Peaks of the given heights in the middle of every minute.
PlotSeries Trace(const std::vector<float>& heights, float base = 0) {
  PlotSeries series = {.title = "TIC", .x_title = "Time (min)", .range = Window{0, 10}};
  for (size_t i = 0; i < 100 * heights.size(); ++i) {
    const float x = static_cast<float>(i) / 100;
    const float from_top = (x - std::floor(x) - 0.5F) / 0.1F;
    series.x.push_back(x);
    series.y.push_back(base + heights[i / 100] * std::exp(-from_top * from_top));
  }
  return series;
}

PlotSeries Shuffled(const PlotSeries& series) {
  PlotSeries shuffled = series;
  std::mt19937 random(1);
  for (size_t i = series.x.size() - 1; i > 0; --i) {
    const size_t other = random() % (i + 1);
    std::swap(shuffled.x[i], shuffled.x[other]);
    std::swap(shuffled.y[i], shuffled.y[other]);
  }
  return shuffled;
}

PicturePlan PlanOf(std::vector<PlotSeries> series, const PictureStyle& style = {},
                   const PictureSize& size = kSize) {
  return PlanPicture(std::move(series), style, size, FixedLetters());
}

std::vector<std::string> Words(const std::vector<PlannedText>& texts) {
  std::vector<std::string> words;
  std::ranges::transform(texts, std::back_inserter(words), &PlannedText::text);
  return words;
}

std::vector<std::string> Labels(const std::vector<Tick>& ticks) {
  std::vector<std::string> labels;
  for (const Tick& tick : ticks) {
    if (!tick.label.empty()) labels.push_back(tick.label);
  }
  return labels;
}

size_t Overlaps(const std::vector<PlannedText>& texts) {
  size_t count = 0;
  for (size_t i = 0; i < texts.size(); ++i) {
    for (size_t k = 0; k < i; ++k) count += Overlap(texts[i].box, texts[k].box) ? 1 : 0;
  }
  return count;
}

TEST(PicturePlan, PanelsOfOneUnitShareTheirRangeAndTheLowestOnesLabels) {
  const PicturePlan plan = PlanOf({Spectrum({100, 200}, {1, 2}), Spectrum({}, {}),
                                   Spectrum({300, 800}, {5, 3}), Trace({1, 2}), Trace({1, 2, 3})});
  ASSERT_THAT(plan.panels, SizeIs(5));
  for (size_t i = 0; i < plan.panels.size(); ++i) {
    const PanelPlan& panel = plan.panels[i];
    const bool spectrum = i < 3;
    EXPECT_TRUE(spectrum ? panel.x.low < 100 && panel.x.high > 800
                         : panel.x.low == 0 && panel.x.high > 2.9F);
    EXPECT_EQ(panel.row_boxes[0].left, plan.panels[0].row_boxes[0].left);
    const std::vector<std::string> words = Words(panel.texts);
    const auto titles = std::ranges::count(words, "m/z") + std::ranges::count(words, "Time (min)");
    EXPECT_EQ(titles, i == 2 || i == 4 ? 1 : 0);
    EXPECT_EQ(std::ranges::count(words, "500"), i == 2 ? 1 : 0);
  }
}

TEST(PicturePlan, AxesHaveRoundLabelsAndNoLongTickWithoutOne) {
  EXPECT_THAT(Labels(PlanOf({Trace({3, 1})}).panels[0].y_ticks),
              ElementsAre("0", "20", "40", "60", "80", "100"));
  const struct {
    float top;
    std::vector<std::string> labels;
    std::string title;
  } kCases[] = {{7, {"0", "2", "4", "6", "8"}, "Intensity"},
                {0.0007F, {"0", "200", "400", "600", "800"}, "Intensity (x 1e-6)"},
                {1e12F, {"0", "200", "400", "600", "800", "1000"}, "Intensity (x 1e9)"},
                {3.2e5F, {"0", "100", "200", "300", "400"}, "Intensity (x 1e3)"}};
  for (const auto& expected : kCases) {
    const PicturePlan plan =
        PlanOf({Spectrum({100, 300}, {expected.top, expected.top / 3})}, {.counts = true});
    EXPECT_EQ(Labels(plan.panels[0].y_ticks), expected.labels);
    EXPECT_THAT(Words(plan.panels[0].texts), Contains(expected.title));
  }
}

TEST(PicturePlan, SaysWhatIsNotThere) {
  for (const bool counts : {false, true}) {
    PlotSeries empty = Spectrum({}, {});
    empty.empty = "the scan is empty";
    const PicturePlan plan = PlanOf({empty}, {.counts = counts});
    EXPECT_THAT(Words(plan.panels[0].texts), Contains("the scan is empty"));
    EXPECT_THAT(Words(plan.panels[0].texts), Not(Contains(StartsWith("100%"))));
    EXPECT_FLOAT_EQ(plan.panels[0].x.low, 100);
    EXPECT_FLOAT_EQ(plan.panels[0].x.high, 900);
    EXPECT_THAT(plan.warnings, IsEmpty());
  }
  const PicturePlan outside = PlanOf({Spectrum({200}, {5})}, {.x_range = Window{300, 400}});
  EXPECT_THAT(Words(outside.panels[0].texts), Contains("no data in this range"));
  EXPECT_THAT(outside.warnings, ElementsAre("nothing lies in --range"));
  const PicturePlan negative = PlanOf({Spectrum({200, 300}, {-5, -2})});
  EXPECT_FALSE(negative.panels[0].percent);
  EXPECT_THAT(Labels(negative.panels[0].y_ticks), Contains("-4"));
}

TEST(PicturePlan, OnePointIsSeenOnAnAxisOfSomeWidth) {
  const PanelPlan panel = PlanOf({{.x_title = "Time (min)", .x = {4.25F}, .y = {7}}}).panels[0];
  EXPECT_FLOAT_EQ(panel.x.high - panel.x.low, 1);
  EXPECT_THAT(Labels(panel.x_ticks), Contains("4.0"));
  EXPECT_EQ(std::ranges::count(panel.lines, 0, &PlannedLine::ink), 2);
  const PanelPlan first = PlanOf({{.x_title = "Time (min)", .x = {0}, .y = {7}}}).panels[0];
  EXPECT_EQ(first.x.low, 0);  // no time is before the run
}

TEST(PicturePlan, NamesEverySeriesInItsStyleAndItsTop) {
  std::vector<PlotSeries> many(12, Trace({1, 2}));
  for (size_t i = 0; i < many.size(); ++i) {
    many[i].title = "trace " + std::to_string(i);
    for (float& y : many[i].y) y *= static_cast<float>(i + 1);
  }
  PictureStyle style = {.layout = Layout::kOverlaid};
  PanelPlan panel = PlanOf(many, style).panels[0];
  for (size_t i = 0; i < many.size(); ++i) {
    EXPECT_EQ(panel.traces[many.size() - 1 - i].ink, static_cast<Ink>(i));
    EXPECT_THAT(panel.texts, Contains(AllOf(Field(&PlannedText::text, many[i].title),
                                            Field(&PlannedText::ink, static_cast<Ink>(i)))));
  }
  EXPECT_THAT(panel.texts, Contains(AllOf(Field(&PlannedText::text, "100% = 2.40e1"),
                                          Field(&PlannedText::ink, kTextInk))));
  EXPECT_EQ(Overlaps(panel.texts), 0U);
  EXPECT_GT(panel.row_boxes[0].height(), kSize.height * 2 / 3);
  style.normalised = true;
  EXPECT_THAT(Words(PlanOf(many, style).panels[0].texts), Contains("trace 4 (100% = 1.00e1)"));
}

TEST(PicturePlan, NoFilledAreaHidesAnotherTrace) {
  PictureStyle style;
  style.layout = Layout::kOverlaid;
  style.filled = true;
  const PicturePlan plan = PlanOf({Trace({5}), Trace({3})}, style);
  std::vector<int32_t> modes;
  for (const PlannedTrace& trace : plan.panels[0].traces) {
    modes.push_back(trace.mode);
  }
  EXPECT_THAT(modes,
              ElementsAre(AXS_PLOT_FILLED, AXS_PLOT_FILLED, AXS_PLOT_JOINED, AXS_PLOT_JOINED));
}

TEST(PicturePlan, LabelsFollowTheZoomAndKeepTheirSeriesColour) {
  PictureStyle style = {.layout = Layout::kOverlaid, .x_range = Window{0.46F, 0.54F}};
  EXPECT_THAT(Words(PlanOf({Trace({5, 3})}, style).panels[0].labels), ElementsAre("0.500"));
  style.x_range.reset();
  const PanelPlan panel = PlanOf({Trace({5, 0, 0}), Trace({0, 3, 0})}, style).panels[0];
  EXPECT_THAT(panel.labels,
              ElementsAre(AllOf(Field(&PlannedText::text, "0.50"), Field(&PlannedText::ink, 0)),
                          AllOf(Field(&PlannedText::text, "1.50"), Field(&PlannedText::ink, 1))));
}

TEST(PicturePlan, LabelsWhatStandsOutOfTheNoise) {
  PlotSeries noisy = Trace({100, 10, 0}, 50);
  uint32_t chance = 1;
  for (float& y : noisy.y) {
    chance = chance * 1664525 + 1013904223;
    y += static_cast<float>(chance >> 24) / 256 - 0.5F;
  }
  EXPECT_THAT(Words(PlanOf({noisy}).panels[0].labels), ElementsAre("0.50", StartsWith("1.5")));
  // The points of one peak, kept as centroids.
  PlotSeries profile = Spectrum({}, {});
  for (int i = 0; i < 60; ++i) {
    profile.x.push_back(400 + static_cast<float>(i) * 0.05F);
    profile.y.push_back(100 * std::exp(-std::pow(static_cast<float>(i % 20 - 10) / 3, 2.0F)));
  }
  EXPECT_THAT(Words(PlanOf({profile}).panels[0].labels), ElementsAre("400.50", "401.50", "402.50"));
}

// Of a million points few are left, but none that could be seen: the ends, single points that stick
// out, the gap between others; and the noise is that of all of them. In whatever order they come.
TEST(PicturePlan, LeavesOutWhatCannotBeSeenOfManyPoints) {
  constexpr size_t kCount = 1'000'000;
  PlotSeries many = {.title = "TIC", .x_title = "Time (min)"};
  for (size_t i = 0; i < kCount; ++i) {
    many.x.push_back(static_cast<float>(i) / 100'000);
    many.y.push_back(static_cast<float>(i * 7919 % 101));
  }
  many.y[314'159] = 5000;
  many.y[271'828] = -3000;
  std::fill_n(many.y.begin() + 600'000, 50'000, std::nanf(""));
  PlotSeries shuffled = Shuffled(many);
  shuffled.x[0] = std::nanf("");  // a point that is nowhere
  for (const PlotSeries& series : {many, shuffled}) {
    const PicturePlan plan = PlanOf({series});
    const PlotSeries& left = plan.series[0];
    EXPECT_LT(left.x.size(), 8 * static_cast<size_t>(kSize.width));
    EXPECT_TRUE(std::ranges::is_sorted(left.x));
    EXPECT_EQ(left.x.front(), many.x.front());
    EXPECT_EQ(left.x.back(), many.x.back());
    EXPECT_THAT(left.y, Contains(5000));
    EXPECT_THAT(left.y, Contains(-3000));
    EXPECT_TRUE(std::ranges::any_of(left.y, [](float y) { return std::isnan(y); }));
    EXPECT_THAT(Words(plan.panels[0].labels), UnorderedElementsAre("3.14", "2.72"));
  }
  const PlotSeries few = Trace({1, 3, 2});
  EXPECT_EQ(PlanOf({Shuffled(few)}).series[0].x, few.x);
  EXPECT_EQ(PlanOf({Shuffled(few)}).series[0].y, few.y);
}

TEST(PicturePlan, KeepsLabelsOfWhatIsOffScaleAndBelowTheirTipsOfWhatPointsDown) {
  const PanelPlan magnified = PlanOf({Spectrum({200, 500, 700}, {100, 60, 4})},
                                     {.magnified = {{.from = 400, .to = 800, .factor = 10}}})
                                  .panels[0];
  EXPECT_THAT(Words(magnified.labels), ElementsAre("200.00", "500.00", "700.00"));
  const PanelPlan negative = PlanOf({Spectrum({200, 500}, {100, -60})}).panels[0];
  ASSERT_THAT(negative.labels, SizeIs(2));
  const Box& data = negative.row_boxes[0];
  const double down = (negative.y.high + 60) / (negative.y.high - negative.y.low);
  EXPECT_GT(negative.labels[1].box.top, data.top + static_cast<int32_t>(down * data.height()));
  EXPECT_LE(negative.labels[1].box.bottom, data.bottom);
}

TEST(PicturePlan, LeavesOutRowsThatWouldBeLow) {
  const PicturePlan plan = PlanOf({Trace({1, 2, 3})}, {.rows = 5}, {700, 330, 96});
  ASSERT_THAT(plan.warnings, ElementsAre(EndsWith("of 5 rows have room")));
  EXPECT_LT(plan.panels[0].rows, 5);
  for (const Box& row : plan.panels[0].row_boxes) EXPECT_GE(row.height(), 3 * 14 - 1);
  EXPECT_THROW(PlanOf(std::vector<PlotSeries>(20, Trace({1})), {}, {300, 200, 96}), Failure);
}

TEST(PicturePlan, DepthUsesTheRoomAndNamesTheHighestPeak) {
  std::vector<PlotSeries> scans;
  for (int i = 0; i < 21; ++i) {
    scans.push_back(Spectrum({150, 455, 460}, {0.1F, i == 3 ? 100.0F : 20.0F, 5}));
    scans.back().depth_title = "scan " + std::to_string(130 + i);
  }
  const PanelPlan panel = PlanOf(scans, {.layout = Layout::kDepth}).panels[0];
  EXPECT_GT(panel.x.low, 400);  // what is below 1 % is cut off
  EXPECT_THAT(Words(panel.labels), ElementsAre("455.00"));
  EXPECT_THAT(Words(panel.texts), AllOf(Contains("scan 130"), Contains("scan 150")));
  EXPECT_LT(panel.labels[0].box.top, 80);
  EXPECT_EQ(Overlaps(panel.texts), 0U);
}

TEST(PicturePlan, FoundPeaksStandOnTheirBaselinesInEveryRowAndScale) {
  PlotSeries series = Trace({4, 0, 0, 0}, 1);
  series.peaks = {{.x = 0.5F,
                   .y = 4,
                   .start = 0.1F,
                   .end = 0.9F,
                   .start_y = 1,
                   .end_y = 1.5F,
                   .note = ", area 7"}};
  for (const PictureStyle& style :
       {PictureStyle{}, PictureStyle{.rows = 5}, PictureStyle{.counts = true},
        PictureStyle{.y_scale = YScale::kSqrt}, PictureStyle{.x_range = Window{0.3F, 2}}}) {
    const PanelPlan panel = PlanOf({series}, style).panels[0];
    ASSERT_THAT(panel.areas, SizeIs(panel.rows == 1 ? 1 : 2)) << "it lies in two of the rows";
    const float top = style.y_scale == YScale::kSqrt ? std::sqrt(5.0F) : 5;
    for (size_t row = 0; row < panel.areas.size(); ++row) {
      const Box& box = panel.row_boxes[row];
      const std::vector<Place>& outline = panel.areas[row].outline;
      EXPECT_EQ(outline.front().x, outline.back().x);
      EXPECT_EQ(outline.front().y, outline.back().y);
      const auto [highest, lowest] = std::ranges::minmax(outline, {}, &Place::y);
      const auto at = [&](float y) {
        return static_cast<float>(box.bottom) -
               (y - panel.y.low) / (panel.y.high - panel.y.low) * static_cast<float>(box.height());
      };
      EXPECT_NEAR(static_cast<float>(highest.y), at(top), row == 0 ? 8.0F : 200.0F);
      EXPECT_LE(static_cast<float>(lowest.y), at(1) + 1) << "nothing below the baseline";
      for (const Place& place : outline) {
        EXPECT_THAT(place.x, AllOf(Ge(box.left), Le(box.right)));
      }
    }
    EXPECT_THAT(Words(panel.labels), Contains(EndsWith(", area 7")));
  }
  PlotSeries spectrum = Spectrum({100, 150, 200, 250}, {1, 6, 2, 0});
  spectrum.peaks = {{.x = 151.25F, .y = 6}};
  const PanelPlan panel = PlanOf({spectrum}).panels[0];
  EXPECT_THAT(Words(panel.labels), ElementsAre("151.25"));
  EXPECT_THAT(panel.lines, Contains(Field(&PlannedLine::ink, 1)));
}

TEST(PicturePlan, ComparesTwo) {
  PanelPlan panel = PlanOf({Spectrum({200, 300}, {10, 5}), Spectrum({200, 300}, {40, 80})},
                           {.layout = Layout::kMirrored})
                        .panels[0];
  EXPECT_THAT(Labels(panel.y_ticks), ElementsAre("100", "50", "0", "50", "100"));
  const PicturePlan difference =
      PlanOf({Spectrum({200, 300, 400}, {10, 5, 1}), Spectrum({200.1F, 250, 300.5F}, {4, 3, 2})},
             {.layout = Layout::kDifference});
  EXPECT_THAT(difference.series[0].x, ElementsAre(200, 250, 300, 300.5F, 400));
  EXPECT_THAT(difference.series[0].y, ElementsAre(6, -3, 5, -2, 1));
}

TEST(PicturePlan, ScalesThatAreNotLinearHaveRoundLabels) {
  const std::vector<PlotSeries> series = {Spectrum({200, 300, 400}, {1000, 31, 1})};
  EXPECT_THAT(Labels(PlanOf(series, {.y_scale = YScale::kLog}).panels[0].y_ticks),
              AllOf(Contains("100"), Contains("10"), Contains("1"), Contains("0.1")));
  const PanelPlan root = PlanOf(series, {.y_scale = YScale::kSqrt}).panels[0];
  EXPECT_THAT(Labels(root.y_ticks), AllOf(Contains("100"), Contains("0"), Contains("10")));
  EXPECT_FLOAT_EQ(root.y.high, std::sqrt(1000.0F));
}

// All that the painter hands to the library, a line each.
std::string TextOf(const PicturePlan& plan) {
  std::ostringstream out;
  const auto box = [&out](const Box& b) -> std::ostream& {
    return out << b.left << ' ' << b.top << ' ' << b.right << ' ' << b.bottom << ' ';
  };
  const auto texts = [&](const std::vector<PlannedText>& all) {
    for (const PlannedText& text : all) box(text.box) << text.ink << ' ' << text.text << '\n';
  };
  const auto lines = [&](const std::vector<PlannedLine>& all) {
    for (const PlannedLine& line : all) {
      box({line.from.x, line.from.y, line.to.x, line.to.y}) << line.ink << '\n';
    }
  };
  for (const PanelPlan& panel : plan.panels) {
    box(panel.area);
    box(panel.margins) << panel.rows << ' ' << panel.x.low << ' ' << panel.x.high << ' '
                       << panel.y.low << ' ' << panel.y.high << '\n';
    for (const Box& mark : panel.marks) box(mark) << '\n';
    for (const PlannedTrace& trace : panel.traces) {
      out << trace.series << ' ' << trace.ink << ' ' << trace.mode << ' ' << trace.depth << ' '
          << plan.series[trace.series].x.size() << '\n';
    }
    lines(panel.grid);
    lines(panel.lines);
    texts(panel.labels);
    texts(panel.texts);
  }
  texts(plan.texts);
  return out.str();
}

uint32_t Digest(const std::string& text) {
  uint32_t digest = 2166136261;
  for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 16777619;
  return digest;
}

// What was recorded on one platform holds on every other.
TEST(PicturePlan, IsTheSameOnAllPlatforms) {
  const std::vector<PlotSeries> spectra = {
      Spectrum({123.4F, 200, 201, 455.29F, 456.29F, 637.33F}, {31, 10, 4, 1000, 310, 7}),
      Spectrum({150.7F, 311.08F, 523.28F}, {40, 300, 2})};
  const std::vector<PlotSeries> traces = {Trace({1, 3, 2, 0.7F}), Trace({2, 1, 1.3F, 4}, -0.1F)};
  const struct {
    const std::vector<PlotSeries>& series;
    PictureStyle style;
    uint32_t digest;
  } kCases[] = {
      {spectra, {.title = "stacked", .details = "function 1", .grid = true}, 4129611209},
      {spectra,
       {.layout = Layout::kMirrored, .magnified = {{.from = 100, .to = 300, .factor = 7}}},
       95984453},
      {spectra, {.layout = Layout::kDepth}, 1303473885},
      {spectra, {.y_scale = YScale::kLog, .names = {{455.3F, "verapamil"}}}, 4087042916},
      {traces,
       {.layout = Layout::kOverlaid, .rows = 3, .normalised = true, .filled = true},
       2883040113},
      {traces, {.marks = {{0.3F, 0.7F}}, .counts = true, .grid = true}, 2335628403},
      {traces, {.layout = Layout::kDifference, .x_range = Window{0.5F, 3.5F}}, 843108100},
      {traces, {.layout = Layout::kOverlaid, .y_scale = YScale::kSqrt}, 594875619},
  };
  for (const auto& one : kCases) {
    const std::string text = TextOf(PlanOf(one.series, one.style));
    EXPECT_EQ(Digest(text), one.digest) << text;
  }
}

// Thousands of peaks, of which no label may stand across a stick or another label.
TEST(LabelPlacement, NoLabelStandsAcrossSticksOrOthers) {
  constexpr int32_t kHeight = 14;
  const Box area = {0, 0, 900, 500};
  LabelPlacement placement(area, kHeight);
  std::vector<LabelWish> wishes;
  uint32_t chance = 7;
  for (int i = 0; i < 400; ++i) {
    chance = chance * 1664525 + 1013904223;
    const auto x = static_cast<int32_t>(chance >> 8) % 900;
    const auto y = 20 + static_cast<int32_t>(chance >> 20) % 480;
    placement.AddLine({x, 500}, {x, y});
    wishes.push_back({.tip = {x, y}, .weight = static_cast<float>(500 - y), .width = 44});
  }
  const std::vector<std::optional<Box>> places = placement.Find(wishes);
  size_t count = 0;
  for (size_t i = 0; i < places.size(); ++i) {
    if (!places[i]) continue;
    ++count;
    EXPECT_THAT(places[i]->top, AllOf(Ge(area.top), Le(area.bottom - kHeight)));
    for (size_t k = 0; k < wishes.size(); ++k) {
      const Place& tip = wishes[k].tip;
      EXPECT_FALSE(Overlap(*places[i], {tip.x, tip.y, tip.x + 1, area.bottom}));
      EXPECT_FALSE(k != i && places[k] && Overlap(*places[i], *places[k]));
      const bool higher_nearby = std::abs(tip.x - wishes[i].tip.x) < 22 && tip.y < wishes[i].tip.y;
      EXPECT_FALSE(higher_nearby);
    }
  }
  EXPECT_GT(count, 10U);
}

}  // namespace
}  // namespace tervalon::tools
