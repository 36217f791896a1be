// One panel of a picture: axes with all that is drawn on them.

#ifndef TOOLS_PICTURES_PANEL_PLAN_H_
#define TOOLS_PICTURES_PANEL_PLAN_H_

#include <string>
#include <vector>

#include "tools/pictures/picture_plan.h"
#include "tools/pictures/plot_ranges.h"

namespace tervalon::tools {

// What is settled before the panel has its place.
struct PanelDraft {
  std::vector<size_t> series;  // their numbers in the picture
  SeriesGroup group;
  PlotRanges ranges;
  std::string y_title;
  bool has_x_labels = true;              // not where they stand below another panel
  std::vector<PlannedText> strip_texts;  // as at (0, 0)
  std::vector<PlannedLine> strip_samples;
  int32_t strip_height = 0;
};

struct PanelRoom {
  Box box;              // with the strip above and the title below
  int32_t left_margin;  // for labels of the Y axis
  int32_t right_margin;
  int32_t tick;  // the length of one
};

// What is above the data of every row: labels, brackets.
int32_t Headroom(const PictureStyle& style, const TextMeasure& measure);

// What is below the data of every row: ticks, labels; and below all of them.
int32_t Footroom(const PanelDraft& draft, int32_t tick, const TextMeasure& measure);
int32_t TitleRoom(const PanelDraft& draft, const TextMeasure& measure);

// How many labels have room on a Y axis of that height.
int32_t MostYLabels(int32_t height, const TextMeasure& measure);

// The lowest that a row's data may be, of several or of one.
int32_t LeastRowHeight(int32_t rows, const TextMeasure& measure);

// The shares of a plot in three dimensions that go to the depth.
double DepthX();
double DepthY(size_t traces);

// `y` is the range as plotted.
PanelPlan PlanPanel(const PanelDraft& draft, const Window& y, const PanelRoom& room,
                    const PictureStyle& style, const TextMeasure& measure);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PANEL_PLAN_H_
