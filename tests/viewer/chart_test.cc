// Plots that somebody works with: where a pixel is, what the mouse means, zooms and back.

#include "viewer/core/chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/viewer/small_run.h"

namespace tervalon::viewer {
namespace {

using Zone = PlotPlace::Zone;

PlotSeries Line(const std::string& title, size_t points, float highest) {
  PlotSeries series = {.title = title, .x_title = "Time (min)"};
  for (size_t i = 0; i < points; ++i) {
    series.x.push_back(10 * static_cast<float>(i) / static_cast<float>(points - 1));
    series.y.push_back(i % 2 == 0 ? 0 : highest);
  }
  return series;
}

Chart ChartOf(size_t count, PictureStyle style = {}) {
  std::vector<PlotSeries> series;
  for (size_t i = 0; i < count; ++i) {
    series.push_back(Line("trace " + std::to_string(i), 101, 200 * static_cast<float>(i + 1)));
  }
  Chart chart;
  chart.Show(std::move(series), std::move(style));
  return chart;
}

TEST(ChartTest, EveryPixelHasAPlace) {
  for (const size_t panels : {1, 2, 3}) {
    for (const int32_t rows : {1, 2}) {
      Chart chart = ChartOf(panels, {.rows = panels == 1 ? rows : 1});
      const PicturePlan& plan = PlanOf(chart);
      size_t inside = 0;
      for (Place place = {0, 0}; place.y < kScreen.height; place.y += 3) {
        for (place.x = 0; place.x < kScreen.width; place.x += 3) {
          const PlotPlace found = FindPlace(plan, place);
          const tools::PanelPlan& panel = plan.panels[found.panel];
          const Box& box = panel.row_boxes[found.row];
          const bool in_x = place.x >= box.left && place.x < box.right;
          const bool in_y = place.y >= box.top && place.y < box.bottom;
          ASSERT_EQ(found.zone == Zone::kData, in_x && in_y);
          ASSERT_EQ(found.zone == Zone::kBelow, in_x && place.y >= box.bottom);
          ASSERT_EQ(found.zone == Zone::kBeside, in_y && place.x < box.left);
          ASSERT_GE(found.x, panel.x.low);
          ASSERT_LE(found.x, panel.x.high);
          if (found.zone != Zone::kData) continue;
          ++inside;
          // Where that value is drawn, the pixel is.
          const double width =
              (double{panel.x.high} - panel.x.low) / static_cast<double>(panel.row_boxes.size());
          const double part = (found.x - panel.x.low) / width - static_cast<double>(found.row);
          ASSERT_NEAR(box.left + part * box.width(), place.x + 0.5, 0.01);
          const double up = (found.y - panel.y.low) / (double{panel.y.high} - panel.y.low);
          ASSERT_NEAR(box.bottom - up * box.height(), place.y + 0.5, 0.01);
        }
      }
      EXPECT_GT(inside, 5000U);
    }
  }
}

TEST(ChartTest, WhatTheMouseMeans) {
  using Kind = Gesture::Kind;
  struct Case {
    Button button;
    Place from;  // in parts of a hundred of the second panel's data
    Place to;
    Kind kind;
    Window x;        // of the gesture, minutes
    View view = {};  // afterwards
  };
  const Case cases[] = {
      {Button::kLeft, {50, 50}, {50, 50}, Kind::kClick, {5, 5}},
      {Button::kLeft, {50, 50}, {50, 10}, Kind::kClick, {5, 5}},  // up is no way along X
      {Button::kLeft, {20, 50}, {60, 99}, Kind::kSelect, {2, 6}},
      {Button::kLeft, {60, 50}, {20, 1}, Kind::kSelect, {2, 6}},
      {Button::kRight, {20, 50}, {60, 50}, Kind::kBackground, {2, 6}},
      {Button::kRight, {20, 50}, {20, 50}, Kind::kNone, {2, 2}},
      {Button::kLeft, {20, 50}, {300, 50}, Kind::kSelect, {2, 10}},  // out of the window
      {Button::kLeft, {20, 102}, {60, 140}, Kind::kView, {2, 6}, {.x = Window{2, 6}}},
      {Button::kLeft, {60, 102}, {20, 30}, Kind::kView, {2, 6}, {.x = Window{2, 6}}},
      // Along Y in percent, as the axis says.
      {Button::kLeft, {-1, 90}, {-1, 40}, Kind::kView, {0, 0}, {.y = Window{10, 60}}},
      {Button::kLeft, {20, 102}, {20, 103}, Kind::kNone, {2, 2}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(&one - cases);
    Chart chart = ChartOf(2);
    const Box box = PlanOf(chart).panels[1].row_boxes[0];
    const auto place = [&](Place part) {
      return Place{box.left + part.x * box.width() / 100, box.top + part.y * box.height() / 100};
    };
    chart.Press(one.button, place(one.from));
    const auto mark = chart.MarkTo(place(one.to));
    ASSERT_TRUE(mark.has_value());
    EXPECT_GE(mark->left, box.left);
    EXPECT_LE(mark->right, box.right);
    const Gesture gesture = chart.Release(place(one.to));
    EXPECT_EQ(gesture.kind, one.kind);
    EXPECT_EQ(gesture.panel, 1U);
    EXPECT_NEAR(gesture.x.low, one.x.low, 0.03);
    EXPECT_NEAR(gesture.x.high, one.x.high, 0.03);
    ASSERT_EQ(chart.view().x.has_value(), one.view.x.has_value());
    ASSERT_EQ(chart.view().y.has_value(), one.view.y.has_value());
    if (one.view.x) {
      EXPECT_NEAR(chart.view().x->high, one.view.x->high, 0.03);
    }
    if (one.view.y) {
      EXPECT_NEAR(chart.view().y->low, one.view.y->low, 0.6);
      EXPECT_NEAR(chart.view().y->high, one.view.y->high, 0.6);
    }
    EXPECT_FALSE(chart.MarkTo(place(one.to)).has_value());
    EXPECT_EQ(chart.Release(place(one.to)).kind, Kind::kNone);  // pressed once
  }
}

// Against a list of what was seen.
TEST(ChartTest, ZoomsAreUndoneOneByOne) {
  std::mt19937 random(1);
  Chart chart = ChartOf(2);
  std::vector<View> seen = {View()};
  const auto place = [&] {
    return Place{static_cast<int32_t>(random() % kScreen.width),
                 static_cast<int32_t>(random() % kScreen.height)};
  };
  for (int i = 0; i < 1500; ++i) {
    PlanOf(chart);
    const double factor = 0.5 + static_cast<double>(random() % 200) / 100;
    switch (random() % 7) {
      case 0:
        chart.Zoom(place(), factor, random() % 2 == 0);
        break;
      case 1:
        chart.Move(factor - 1.5);
        break;
      case 2:
        chart.ZoomHeight(factor);
        break;
      case 3:
        chart.Press(Button::kLeft, place());
        chart.Release(place());
        break;
      case 4:
        chart.DoubleClick(place());
        break;
      default:
        ASSERT_EQ(chart.has_last(), seen.size() > 1);
        if (chart.SeeLast()) seen.pop_back();
    }
    if (!(chart.view() == seen.back())) seen.push_back(chart.view());
    if (seen.size() > 101) seen.erase(seen.begin());
    ASSERT_TRUE(chart.view() == seen.back());
    for (const auto& range : {chart.view().x, chart.view().y}) {
      if (range) {
        ASSERT_LT(range->low, range->high);
      }
    }
    if (chart.view().x) {  // never beyond what there is
      ASSERT_GE(chart.view().x->low, -0.001F);
      ASSERT_LE(chart.view().x->high, 10.001F);
    }
  }
}

TEST(ChartTest, KeysComeFasterThanPictures) {
  Chart slow = ChartOf(1);
  Chart quick = ChartOf(1);
  PlanOf(quick);
  const auto zoom = [](Chart& chart, int step) {
    if (step == 2) chart.Move(0.25);
    if (step == 3) chart.SeeAll();
    if (step == 6) chart.SeeLast();
    chart.ZoomMiddle(0.5);
    chart.ZoomHeight(0.5);
    chart.Zoom({500, 300}, 0.8, false);
  };
  for (int step = 0; step < 8; ++step) {
    PlanOf(slow);
    zoom(slow, step);
    zoom(quick, step);
    EXPECT_NEAR(quick.view().x->low, slow.view().x->low, 1e-3);
    EXPECT_NEAR(quick.view().x->high, slow.view().x->high, 1e-3);
    EXPECT_NEAR(quick.view().y->high, slow.view().y->high, 1e-3);
  }
}

TEST(ChartTest, NothingOfMillionsOfPointsIsLost) {
  constexpr size_t kPoints = 1000000;
  std::mt19937 random(3);
  PlotSeries series = Line("", kPoints, 100);
  for (float& y : series.y) y = static_cast<float>(random() % 1000);
  for (int i = 0; i < 300; ++i) series.y[random() % kPoints] = 1000 + static_cast<float>(i);
  Chart chart;
  chart.Show({series}, {.counts = true, .labels = false});
  for (int i = 0; i < 60; ++i) {
    const float width = 10 * std::pow(0.8F, static_cast<float>(i % 30));
    const float low = (10 - width) * static_cast<float>(random() % 1000) / 1000;
    chart.SetView(i % 30 == 0 ? View() : View{.x = Window{low, low + width}});
    const PicturePlan& plan = PlanOf(chart);
    const Window x = plan.panels[0].x;
    float highest = 0;
    for (size_t k = 0; k < kPoints; ++k) {
      if (series.x[k] >= x.low && series.x[k] <= x.high) highest = std::max(highest, series.y[k]);
    }
    float shown = 0;
    for (size_t k = 0; k < plan.series[0].x.size(); ++k) {
      const float at = plan.series[0].x[k];
      if (at >= x.low && at <= x.high) shown = std::max(shown, plan.series[0].y[k]);
    }
    ASSERT_EQ(shown, highest) << "from " << x.low << " to " << x.high;
    ASSERT_LT(plan.series[0].x.size(), 20000U);
  }
}

TEST(ChartTest, StacksWithoutRoomShareTheirAxes) {
  Chart chart = ChartOf(6);
  EXPECT_EQ(PlanOf(chart, {800, 900, 96}).panels.size(), 6U);
  EXPECT_EQ(PlanOf(chart, {800, 250, 96}).panels.size(), 1U);
  EXPECT_EQ(chart.plan()->panels[0].traces.size(), 6U);
}

TEST(ChartTest, NothingOfAMapIsLostWhereItIsSmall) {
  tools::MassMap map = {.times = {0, 10}, .masses = {100, 900}, .columns = 1600, .rows = 900};
  map.levels.assign(static_cast<size_t>(map.columns * map.rows), 0);
  const auto show = [&map](const PictureSize& size, const View& view) {
    Chart chart;
    chart.Show(map, {});
    chart.SetView(view);
    const tools::PlannedMap& planned = PlanOf(chart, size).panels[0].maps[0];
    return std::ranges::count_if(planned.levels, [](uint8_t level) { return level == 60; });
  };
  std::mt19937 random(5);
  for (int i = 0; i < 100; ++i) {
    const size_t cell = random() % map.levels.size();
    map.levels[cell] = 60;
    EXPECT_EQ(show({300, 200, 96}, {}), 1) << "cell " << cell;
    // In half of both ranges it is in one of the four parts.
    EXPECT_EQ(show({300, 200, 96}, {Window{0, 5}, Window{100, 500}}) +
                  show({300, 200, 96}, {Window{5, 10}, Window{100, 500}}) +
                  show({300, 200, 96}, {Window{0, 5}, Window{500, 900}}) +
                  show({300, 200, 96}, {Window{5, 10}, Window{500, 900}}),
              1)
        << "cell " << cell;
    map.levels[cell] = 0;
  }
}

}  // namespace
}  // namespace tervalon::viewer
