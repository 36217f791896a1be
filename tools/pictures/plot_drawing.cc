#include "tools/pictures/plot_drawing.h"

#include <tervalon/drawing.h>
#include <tervalon/magnification.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "tools/pictures/picture.h"

namespace tervalon::tools {
namespace {

constexpr double kPointsPerInch = 72;
constexpr double kTitleSize = 1.2;        // of the plain text
constexpr int32_t kDataPensPerInch = 96;  // side by side
constexpr int32_t kAxisPensPerInch = 120;
constexpr double kTint = 0.25;
constexpr int32_t kNoLine = 5;  // the style of a pen

int32_t Cell(Face face) { return face == Face::kTitle ? 1 : 0; }

int32_t PenWidth(int32_t pixels_per_inch, int32_t per_inch) {
  return std::max(1, (pixels_per_inch + per_inch / 3) / per_inch);
}

}  // namespace

PlotPainter::PlotPainter(TvDC dc, const PictureSize& size, const Theme& theme, double points)
    : dc_(dc), size_(size), theme_(theme), canvas_(1, 1) {
  const double pixels = points * size.pixels_per_inch / kPointsPerInch;
  for (const Face face : {Face::kPlain, Face::kTitle}) {
    const int32_t i = Cell(face);
    const double own = i == 1 ? pixels * kTitleSize : pixels;
    fonts_[i] = tools_.MakeFont(std::max(4, static_cast<int32_t>(std::lround(own))), i == 1);
    AxsStyle style = {};
    style.label_font = style.title_font = fonts_[i];
    TvSize line = {};
    TvSize label = {};
    AxsBorderSize(dc, &style, AXS_DRAW_LABELS, AXS_X_AXIS, &line);
    AxsBorderSize(dc, &style, AXS_DRAW_LABELS, AXS_Y_AXIS, &label);
    heights_[i] = line.height;
    letters_[i] = (label.width - 2) / 2;
  }
  const int32_t axis_width = PenWidth(size.pixels_per_inch, kAxisPensPerInch);
  const int32_t data_width = PenWidth(size.pixels_per_inch, kDataPensPerInch);
  axis_pen_ = tools_.MakePen(0, axis_width, theme.axis);
  muted_pen_ = tools_.MakePen(0, axis_width, theme.muted);
  grid_pen_ = tools_.MakePen(0, axis_width, theme.grid);
  no_pen_ = tools_.MakePen(kNoLine, 1, theme.ground);
  for (size_t i = 0; i < 2 * size_t{PLT_DATA_STYLES}; ++i) {
    const LineStyle& style = theme.StyleOf(i);
    const TvPen pen = tools_.MakePen(style.dashes, data_width, style.colour);
    styles_.push_back({pen, style.dashes, static_cast<uint8_t>(style.colour & 255),
                       static_cast<uint8_t>(style.colour >> 8 & 255),
                       static_cast<uint8_t>(style.colour >> 16 & 255)});
  }
  PanelPlan page;
  page.area = {0, 0, size.width, size.height};
  page.x = {0, static_cast<float>(size.width)};
  page.y = {0, static_cast<float>(size.height)};
  canvas_.Arrange(page);
}

PlotPainter::~PlotPainter() { PltReleaseResources(dc_); }

int32_t PlotPainter::Width(const std::string& utf8, Face face) const {
  const std::string text = Picture::DeviceText(utf8);
  AxsStyle style = {};
  style.title_font = fonts_[Cell(face)];
  style.title = text.c_str();
  TvSize size = {};
  AxsBorderSize(dc_, &style, AXS_DRAW_TITLE, AXS_X_AXIS, &size);
  return size.width - 2 * letters_[Cell(face)];  // which are on both sides of a title
}

int32_t PlotPainter::Height(Face face) const { return heights_[Cell(face)]; }

TvColour PlotPainter::ColourOf(Ink ink) const {
  switch (ink) {
    case kTextInk:
      return theme_.text;
    case kMutedInk:
      return theme_.muted;
    case kAxisInk:
      return theme_.axis;
    case kGridInk:
      return theme_.grid;
    case kMarkInk:
      return theme_.mark;
    case kGroundInk:
      return theme_.ground;
    default:
      return theme_.StyleOf(static_cast<size_t>(ink)).colour;
  }
}

// What is drawn next in the first data style.
void PlotPainter::UseFor(Ink ink, Face face, bool lines) const {
  PltResources resources = {};
  resources.axis_pen = axis_pen_;
  resources.tick_pen = muted_pen_;
  resources.axis_font = fonts_[Cell(face)];
  resources.text_colour = theme_.text;
  if (ink >= 0) {
    resources.first[0] = styles_[static_cast<size_t>(ink) % styles_.size()];
  } else {
    const TvColour colour = ColourOf(ink);
    resources.first[0] = {
        ink == kGridInk ? grid_pen_ : axis_pen_, 0, static_cast<uint8_t>(colour & 255),
        static_cast<uint8_t>(colour >> 8 & 255), static_cast<uint8_t>(colour >> 16 & 255)};
  }
  resources.first[0].pen = lines ? resources.first[0].pen : no_pen_;
  PltSetResources(dc_, &resources);
}

void PlotPainter::Paint(const PicturePlan& plan) {
  PaintArea({0, 0, size_.width, size_.height}, theme_.ground);
  for (const PanelPlan& panel : plan.panels) {
    PaintPanel(plan, panel);
  }
  PaintTexts(plan.texts);
}

void PlotPainter::PaintPanel(const PicturePlan& plan, const PanelPlan& panel) {
  for (const Box& mark : panel.marks) {
    PaintArea(mark, theme_.mark);
  }
  PaintLines(panel.grid);
  PaintMaps(panel);
  const AxesObject axes(panel.rows, 1);
  axes.Arrange(panel);
  for (const PlannedArea& area : panel.areas) {
    PaintPeakArea(area);
  }
  for (const PlannedTrace& trace : panel.traces) {
    PaintTrace(axes, plan.series[trace.series], trace);
  }
  if (!panel.magnified.empty()) {
    UseFor(kMutedInk, Face::kPlain);
    AxsPlotBlock brackets = {};
    brackets.flags = AXS_PLOT_LABEL_COLOUR;
    brackets.label_colour = theme_.text;
    AxsAnnotateMagnify(dc_, axes.handle(), &brackets);
  }
  PaintLines(panel.lines);
  PaintTexts(panel.labels);
  PaintTexts(panel.texts);
}

// The values of the canvas grow upward.
void PlotPainter::PaintArea(const Box& box, TvColour colour) const {
  PaintCells(box, {&colour, 1}, 1);
}

void PlotPainter::PaintCells(const Box& box, std::span<const TvColour> colours,
                             int32_t columns) const {
  const AxsRange x = {static_cast<float>(box.left), static_cast<float>(box.right), 0};
  const AxsRange y = {static_cast<float>(size_.height - box.bottom),
                      static_cast<float>(size_.height - box.top), 0};
  AxsPlotImage(dc_, canvas_.handle(), colours.data(), columns,
               static_cast<int32_t>(colours.size()) / columns, &x, &y);
}

void PlotPainter::PaintMaps(const PanelPlan& panel) const {
  const std::vector<TvColour> scale = MapColours(theme_, kMapLevels);
  for (const PlannedMap& map : panel.maps) {
    std::vector<TvColour> colours(map.levels.size());
    std::ranges::transform(map.levels, colours.begin(),
                           [&](uint8_t level) { return scale[level]; });
    PaintCells(map.box, colours, map.columns);
  }
}

void PlotPainter::PaintTrace(const AxesObject& axes, const PlotSeries& series,
                             const PlannedTrace& trace) const {
  UseFor(trace.ink, Face::kPlain, trace.outlined);
  AxsPlotBlock block = {};
  block.flags = AXS_PLOT_TRACE;
  block.mode = trace.mode;
  block.x = series.x.data();
  block.y = series.y.data();
  block.count = static_cast<int32_t>(series.x.size());
  block.z = trace.depth;
  if (trace.mode == AXS_PLOT_FILLED) {
    block.flags |= AXS_PLOT_FILL_COLOUR;
    block.fill_colour = Mixed(theme_.ground, ColourOf(trace.ink), trace.tinted ? kTint : 0);
  }
  if (trace.has_base) {
    block.flags |= AXS_PLOT_BASE_LINE;
  }
  AxsPlotData(dc_, axes.handle(), &block);
}

// Its outline comes back to where it began, so that nothing is filled below it.
void PlotPainter::PaintPeakArea(const PlannedArea& area) const {
  UseFor(area.ink, Face::kPlain);
  std::vector<float> x;
  std::vector<float> y;
  for (const Place& place : area.outline) {
    x.push_back(static_cast<float>(place.x));
    y.push_back(static_cast<float>(size_.height - 1 - place.y));
  }
  AxsPlotBlock block = {};
  block.flags = AXS_PLOT_TRACE | AXS_PLOT_FILL_COLOUR;
  block.mode = AXS_PLOT_FILLED;
  block.x = x.data();
  block.y = y.data();
  block.count = static_cast<int32_t>(x.size());
  block.fill_colour = Mixed(theme_.ground, ColourOf(area.ink), kTint);
  AxsPlotData(dc_, canvas_.handle(), &block);
}

void PlotPainter::PaintLines(std::span<const PlannedLine> lines) const {
  struct Points {
    std::vector<float> x;
    std::vector<float> y;
  };
  std::map<Ink, Points> inks;
  const auto below = static_cast<float>(size_.height - 1);
  for (const PlannedLine& line : lines) {
    Points& points = inks[line.ink];
    for (const Place& end : {line.from, line.to}) {
      points.x.push_back(static_cast<float>(end.x));
      points.y.push_back(below - static_cast<float>(end.y));
    }
    points.x.push_back(NAN);  // lines of their own
    points.y.push_back(NAN);
  }
  for (const auto& [ink, points] : inks) {
    UseFor(ink, Face::kPlain);
    AxsPlotBlock block = {};
    block.flags = AXS_PLOT_TRACE;
    block.mode = AXS_PLOT_JOINED;
    block.x = points.x.data();
    block.y = points.y.data();
    block.count = static_cast<int32_t>(points.x.size());
    AxsPlotData(dc_, canvas_.handle(), &block);
  }
}

void PlotPainter::PaintTexts(std::span<const PlannedText> texts) const {
  struct Batch {
    std::vector<std::string> texts;
    std::vector<TvRect> rects;
  };
  std::map<std::tuple<Ink, Face, std::optional<Ink>>, Batch> batches;
  for (const PlannedText& text : texts) {
    Batch& batch = batches[{text.ink, text.face, text.ground}];
    batch.texts.push_back(Picture::DeviceText(text.text));
    batch.rects.push_back({text.box.left, text.box.top, text.box.right, text.box.bottom});
  }
  for (auto& [kind, batch] : batches) {
    const auto& [ink, face, ground] = kind;
    UseFor(kTextInk, face);
    std::vector<AxsPlotLabel> labels;
    for (const std::string& text : batch.texts) {
      labels.push_back({0, 0, text.c_str()});
    }
    AxsPlotBlock block = {};
    block.flags = AXS_PLOT_ANNOTATE | AXS_PLOT_LABELS_PLACED | AXS_PLOT_LABEL_COLOUR;
    block.flags |= ground ? AXS_PLOT_LABEL_GROUND : 0;
    block.labels = labels.data();
    block.label_count = static_cast<int32_t>(labels.size());
    block.label_rects = batch.rects.data();
    block.label_colour = ColourOf(ink);
    block.ground_colour = ColourOf(ground.value_or(kGroundInk));
    AxsPlotData(dc_, canvas_.handle(), &block);
  }
}

}  // namespace tervalon::tools
