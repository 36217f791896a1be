// A recording device context in place of the platform's, of 96 pixels per inch: ticks are 6 long.

#ifndef TESTS_PLOT_DRAWING_FIXTURE_H_
#define TESTS_PLOT_DRAWING_FIXTURE_H_

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/drawing.h"
#include "tervalon/drawing.h"
#include "tervalon/plot_resources.h"
#include "tests/plot/tables.h"
#include "tests/support/recording_drawing.h"

namespace tervalon::plot {

class DrawingTest : public PlotTables {
 protected:
  DrawingTest() { AxsHdrExcludeRect(0, nullptr); }
  ~DrawingTest() override {
    EXPECT_EQ(recorded_.saved_states(), 0);
    AxsHdrExcludeRect(0, nullptr);
  }

  TvDC dc() { return recorded_.dc(); }

  // The lines drawn by `draw`, as "x,y x,y".
  template <typename Draw>
  std::vector<std::string> LinesOf(const Draw& draw) {
    recorded_.Forget();
    EXPECT_EQ(draw(), 0);
    return recorded_.LineTexts();
  }

  // The texts drawn by `draw`, as "x,y text".
  template <typename Draw>
  std::vector<std::string> TextsOf(const Draw& draw) {
    recorded_.Forget();
    EXPECT_EQ(draw(), 0);
    return recorded_.TextTexts();
  }

  testing::RecordingDrawing recorded_;
  platform::ScopedReplacement<platform::Drawing> replacement_{&recorded_};
};

}  // namespace tervalon::plot

#endif  // TESTS_PLOT_DRAWING_FIXTURE_H_
