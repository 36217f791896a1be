// What a picture will look like, as values: planned without a device context, and painted by
// plot_drawing.h. Positions are pixels of the picture.

#ifndef TOOLS_PICTURES_PICTURE_PLAN_H_
#define TOOLS_PICTURES_PICTURE_PLAN_H_

#include <tervalon/axes.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/pictures/axis_ticks.h"
#include "tools/pictures/geometry.h"
#include "tools/pictures/picture.h"
#include "tools/pictures/plot_series.h"
#include "tools/pictures/text_measure.h"

namespace tervalon::tools {

enum class Layout {
  kStacked,     // each in its own axes, one below another
  kOverlaid,    // all in the same axes
  kDepth,       // one behind another
  kMirrored,    // of two the second upside down
  kDifference,  // of two the first less the second
};

struct PeakName {
  float x;
  std::string text;
};

struct PictureStyle {
  std::string title = {};
  std::string details = {};  // a line below the title
  Layout layout = Layout::kStacked;
  int32_t rows = 1;  // that the X range is divided into
  std::optional<Window> x_range = {};
  std::optional<Window> y_range = {};  // in the unit of the axis
  YScale y_scale = YScale::kLinear;
  std::vector<AxsMagnify> magnified = {};
  std::vector<Window> marks = {};
  std::vector<PeakName> names = {};
  bool counts = false;      // Y axis in the data's own unit instead of percent
  bool normalised = false;  // each series relative to its own highest point
  bool filled = false;
  bool labels = true;
  bool grid = false;
  int32_t beside = 0;  // pixels that stay free to the right of the plots
};

// Whose colour something has: a series' number, or one of these.
using Ink = int32_t;
constexpr Ink kTextInk = -1;
constexpr Ink kMutedInk = -2;
constexpr Ink kAxisInk = -3;
constexpr Ink kGridInk = -4;
constexpr Ink kMarkInk = -5;
constexpr Ink kGroundInk = -6;

struct PlannedText {
  Box box;
  std::string text;
  Ink ink = kTextInk;
  Face face = Face::kPlain;
  std::optional<Ink> ground = {};  // what is below it is hidden
};

struct PlannedLine {
  Place from;
  Place to;
  Ink ink = kAxisInk;
};

struct PlannedTrace {
  size_t series = 0;  // its number in the picture
  Ink ink = 0;
  int32_t mode = 0;       // AXS_PLOT_JOINED, ...
  float depth = 0;        // 0 in front, 1 behind
  bool outlined = true;   // else only its area is painted
  bool tinted = false;    // this, which otherwise has the ground's colour
  bool has_base = false;  // a line that it stands on
};

// An area with its outline.
struct PlannedArea {
  std::vector<Place> outline;
  Ink ink = 0;
};

constexpr size_t kMapLevels = 64;

struct PlannedMap {
  Box box;
  int32_t columns = 1;
  std::vector<uint8_t> levels;  // row after row, the lowest first
};

struct PanelPlan {
  // Of the axes object.
  Box area = {};
  Box margins = {};  // widths
  int32_t rows = 1;
  Window x = {};
  Window y = {};      // as plotted, on the Y scale
  double y_unit = 1;  // of the axis, as plotted
  double depth_x = 0;
  double depth_y = 0;
  std::vector<AxsMagnify> magnified = {};

  std::vector<Box> row_boxes = {};  // that the data of each row occupy
  std::vector<Tick> x_ticks = {};
  std::vector<Tick> y_ticks = {};
  bool percent = false;
  std::vector<Box> marks = {};
  std::vector<PlannedMap> maps = {};
  std::vector<PlannedLine> grid = {};
  std::vector<PlannedArea> areas = {};  // of peaks, below the traces
  std::vector<PlannedTrace> traces = {};
  std::vector<PlannedLine> lines = {};   // axes, ticks, crosses, samples of the legend
  std::vector<PlannedText> labels = {};  // of peaks
  std::vector<PlannedText> texts = {};   // all others
};

struct PicturePlan {
  PictureSize size = {};
  std::vector<PlotSeries> series = {};  // as plotted
  std::vector<PanelPlan> panels = {};
  std::vector<PlannedText> texts = {};
  std::vector<std::string> warnings = {};
};

// Series that do not share axes may have different X axes. Throws a Failure when the picture is too
// small.
PicturePlan PlanPicture(std::vector<PlotSeries> series, const PictureStyle& style,
                        const PictureSize& size, const TextMeasure& measure);

// How many times as high as a picture of one plot one of that many has to be.
double UsualGrowth(size_t plots);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PICTURE_PLAN_H_
