#include "plot/resources.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/canvas.h"
#include "tests/support/recording_drawing.h"

namespace tervalon {
namespace {

using testing::RecordingDrawing;

class ResourcesTest : public ::testing::Test {
 protected:
  ~ResourcesTest() override { plot::ReleaseAllResources(); }

  RecordingDrawing drawing_;
  platform::ScopedReplacement<platform::Drawing> replaced_{&drawing_};
  TvDC dc_ = drawing_.dc();
};

TEST_F(ResourcesTest, DefaultsAreToldApart) {
  PltResources resources;
  ASSERT_EQ(PltGetResources(dc_, &resources), 1);
  std::set<TvColour> colours;
  std::set<int32_t> styles;
  for (int i = 0; i < PLT_DATA_STYLES; ++i) {
    const PltDataStyle& first = resources.first[i];
    const PltDataStyle& second = resources.second[i];
    platform::PenDescription pen;
    ASSERT_TRUE(drawing_.DescribePen(first.pen, &pen));
    EXPECT_EQ(pen.style, first.style);
    EXPECT_EQ(pen.colour,
              TvColour{first.red} | TvColour{first.green} << 8 | TvColour{first.blue} << 16);
    colours.insert(pen.colour);
    ASSERT_TRUE(drawing_.DescribePen(second.pen, &pen));
    EXPECT_EQ(pen.style, second.style);
    styles.insert(pen.style);
  }
  EXPECT_EQ(colours.size(), 5U);
  EXPECT_EQ(styles.size(), 5U);
}

// On every resolution about as thick as on a screen, and the text as high.
TEST_F(ResourcesTest, SizesFollowTheResolution) {
  struct Case {
    int32_t pixels_per_inch, width, height;
  };
  for (const Case& device :
       {Case{96, 1, 12}, Case{192, 2, 24}, Case{300, 2, 38}, Case{600, 5, 75}}) {
    drawing_.capabilities.pixels_per_inch_x = device.pixels_per_inch;
    drawing_.capabilities.pixels_per_inch_y = device.pixels_per_inch;
    const PltResources resources = plot::ResourcesFor(dc_);
    platform::PenDescription pen;
    ASSERT_TRUE(drawing_.DescribePen(resources.axis_pen, &pen));
    EXPECT_EQ(pen.width, device.width);
    ASSERT_TRUE(drawing_.SelectFont(dc_, resources.axis_font));
    EXPECT_EQ(drawing_.Extent(dc_, "x").height, device.height);
  }
}

TEST_F(ResourcesTest, ReplacedAndReleasedPerDevice) {
  const TvPen own_tick_pen = plot::ResourcesFor(dc_).tick_pen;
  PltResources wanted = {};
  wanted.axis_pen = drawing_.MakePen({0, 7, 0});
  wanted.text_colour = 0x00FF00;
  wanted.first[1] = {wanted.axis_pen, 3, 1, 2, 3};
  ASSERT_EQ(PltSetResources(dc_, &wanted), 1);
  const PltResources& used = plot::ResourcesFor(dc_);
  EXPECT_EQ(used.axis_pen, wanted.axis_pen);
  EXPECT_EQ(used.tick_pen, own_tick_pen);
  EXPECT_EQ(used.text_colour, 0x00FF00U);
  EXPECT_EQ(used.first[1].green, 2);
  EXPECT_NE(used.first[0].pen, nullptr);
  EXPECT_EQ(plot::ResourcesFor(nullptr).text_colour, 0U);

  EXPECT_EQ(PltReleaseResources(nullptr), 1);
  EXPECT_EQ(PltReleaseResources(dc_), 1);
  EXPECT_EQ(drawing_.live_objects(), 1);  // the application's pen
  EXPECT_EQ(plot::ResourcesFor(dc_).text_colour, 0U);
}

TEST_F(ResourcesTest, GoWithTheirDevice) {
  plot::ResourcesFor(dc_);
  EXPECT_GT(drawing_.live_objects(), 0);
  drawing_.KillDevice();
  EXPECT_EQ(drawing_.live_objects(), 0);
  PltResources resources;
  EXPECT_EQ(PltGetResources(dc_, &resources), 0);
  EXPECT_EQ(PltSetResources(dc_, &resources), 0);
  EXPECT_EQ(plot::ResourcesFor(dc_).axis_pen, nullptr);
  EXPECT_EQ(drawing_.live_objects(), 0);
}

// Where nobody tells that a device has gone, the next one's resources take the place of its own.
TEST(ResourcesOfRealDevicesTest, DeadOnesAreReplaced) {
  TvPen pen = nullptr;
  platform::PenDescription description;
  {
    const testing::Canvas canvas(20, 20);
    pen = plot::ResourcesFor(canvas.dc()).axis_pen;
    EXPECT_TRUE(platform::TheDrawing().DescribePen(pen, &description));
  }
  const testing::Canvas other(20, 20);
  EXPECT_TRUE(
      platform::TheDrawing().DescribePen(plot::ResourcesFor(other.dc()).axis_pen, &description));
  plot::ReleaseAllResources();
  EXPECT_FALSE(platform::TheDrawing().DescribePen(pen, &description));
}

}  // namespace
}  // namespace tervalon
