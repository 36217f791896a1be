#include "tools/pictures/plot_drawing.h"

#include <tervalon/drawing.h>
#include <tervalon/magnification.h>
#include <tervalon/number_format.h>
#include <tervalon/plot_resources.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>

#include "tools/pictures/picture.h"
#include "tools/pictures/plot_labels.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr double kDepthX = 0.18;
constexpr double kDepthY = 0.6;
constexpr size_t kMostLegendLines = 8;

struct Span {
  float low = std::numeric_limits<float>::infinity();
  float high = -std::numeric_limits<float>::infinity();

  void Add(float value) {
    if (std::isfinite(value)) {
      low = std::min(low, value);
      high = std::max(high, value);
    }
  }
  bool empty() const { return low > high; }
};

std::string Exponential(double value) {
  char text[40];
  return etoa(value, text, 2);
}

// Texts of a device context, in its axis font.
class TextMeasure {
 public:
  explicit TextMeasure(TvDC dc) : dc_(dc) {
    PltResources resources = {};
    PltGetResources(dc, &resources);
    style_.label_font = style_.title_font = resources.axis_font;
    colour_ = resources.text_colour;
    TvSize size = {};
    AxsBorderSize(dc, &style_, AXS_DRAW_LABELS, AXS_X_AXIS, &size);
    height_ = size.height;
  }

  TvFont font() const { return style_.title_font; }
  TvColour colour() const { return colour_; }
  int32_t height() const { return height_; }
  int32_t line_pitch() const { return height_ + 2; }  // headers must not touch

  // With a character's width on both sides.
  int32_t Width(const std::string& text) const {
    AxsStyle style = style_;
    style.title = text.c_str();
    TvSize size = {};
    AxsBorderSize(dc_, &style, AXS_DRAW_TITLE, AXS_X_AXIS, &size);
    return size.width;
  }

  // The beginning of a UTF-8 text that fits, with dots where the rest was. Of the platform's form.
  std::string Fitting(std::string text, int32_t width) const {
    std::string shown = Picture::DeviceText(text);
    while (!text.empty() && Width(shown) > width) {
      do {
        text.pop_back();
      } while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80);
      shown = Picture::DeviceText(text) + "...";
    }
    return text.empty() ? "" : shown;
  }

 private:
  const TvDC dc_;
  AxsStyle style_ = {};
  TvColour colour_ = 0;
  int32_t height_ = 0;
};

// An axes object.
class Axes {
 public:
  explicit Axes(int32_t rows) : handle_(AxsCreate(rows, 0, 1, 1)) {}
  ~Axes() { AxsDelete(handle_); }
  Axes(const Axes&) = delete;
  Axes& operator=(const Axes&) = delete;
  int32_t handle() const { return handle_; }

 private:
  const int32_t handle_;
};

// Axes with all that is drawn on them.
class Panel {
 public:
  Panel(TvDC dc, const TextMeasure& measure, const PictureStyle& style,
        std::vector<PlotSeries> series, std::string title)
      : dc_(dc),
        measure_(measure),
        style_(style),
        series_(std::move(series)),
        title_(std::move(title)),
        axes_(style.rows) {
    ChooseRanges();
    ComposeLegend();
  }

  // Lines of text above the data.
  int32_t HeaderLines(int32_t width) const {
    const auto legend = static_cast<int32_t>(legend_.size());
    return title_.empty() ? legend : std::max(1, legend + (TitleBesideLegend(width) ? 0 : 1));
  }

  TvRect Margins(int32_t width) const {
    TvRect margins = {};
    AxsGetBorder(dc_, &margins, XTitle().c_str(), style_.counts ? kCountsTitle : nullptr, 0);
    if (style_.counts) {
      for (const float end : {y_.low, y_.high}) {
        char label[32];
        margins.left = std::max(margins.left, measure_.Width(ftoa(end, label, 0)));
      }
    }
    const int32_t height = measure_.height();
    const bool annotated = !style_.magnified.empty() || (style_.labels && !IsDeep());
    margins.top = std::max(margins.top, HeaderLines(width) * measure_.line_pitch() + height / 4);
    margins.top += annotated ? height + height / 4 : 0;
    return margins;
  }

  int32_t handle() const { return axes_.handle(); }

  void Draw(int32_t width);

 private:
  static constexpr const char* kCountsTitle = "counts";

  const std::string& XTitle() const { return series_[0].x_title; }
  bool IsDeep() const { return style_.layout == Layout::kDepth && series_.size() > 1; }
  bool HasOwnColours() const { return series_.size() <= kMostLegendLines; }

  // Two lines of the same height, or one for both.
  bool TitleBesideLegend(int32_t width) const {
    return !legend_.empty() &&
           measure_.Width(Picture::DeviceText(title_)) + measure_.Width(legend_[0]) <= width;
  }

  void ChooseRanges();
  std::string LineName(const AxsPlotBlock& block) const;
  void ComposeLegend();
  int32_t XDecimals() const;
  AxsPlotBlock Block(const PlotSeries& series, size_t index) const;
  void DrawHeaders(int32_t width) const;
  std::vector<AxsPlotLabel> Labels() const;
  void DrawAnnotation() const;
  void DrawDepthAxis() const;

  const TvDC dc_;
  const TextMeasure& measure_;
  const PictureStyle& style_;
  std::vector<PlotSeries> series_;
  const std::string title_;
  const Axes axes_;
  Span x_;
  Span y_;
  std::vector<std::string> legend_;
};

void Panel::ChooseRanges() {
  const auto in_view = [this](float x) { return x >= x_.low && x <= x_.high; };
  if (style_.x_range) {
    x_ = {style_.x_range->low, style_.x_range->high};
  } else {
    bool sticks = false;
    for (const PlotSeries& series : series_) {
      std::ranges::for_each(series.x, [this](float x) { x_.Add(x); });
      sticks = sticks || series.sticks;
    }
    if (sticks && !x_.empty()) {  // none on the axes themselves
      const float edge = std::max((x_.high - x_.low) / 50, 0.5F);
      x_ = {x_.low - edge, x_.high + edge};
    }
  }
  for (PlotSeries& series : series_) {
    Span own;
    for (size_t i = 0; i < series.x.size(); ++i) {
      if (in_view(series.x[i])) {
        own.Add(series.y[i]);
      }
    }
    if (style_.normalised && own.high > 0) {
      for (float& y : series.y) {
        y = y / own.high * 100;
      }
      own = {own.low / own.high * 100, 100};
    }
    y_.Add(own.low);
    y_.Add(own.high);
  }
  if (x_.empty()) {
    x_ = {0, 1};
  }
  y_ = y_.empty() ? Span{0, 1} : Span{std::min(y_.low, 0.0F), std::max(y_.high, 0.0F)};
  AxsSetRanges(handle(), x_.low, x_.high, y_.low, y_.high);
  for (size_t i = 0; i < style_.magnified.size(); ++i) {
    const AxsMagnify& range = style_.magnified[i];
    AxsMagnifyRange(handle(), range.factor, range.from, range.to, static_cast<int32_t>(i));
  }
}

// The second set of data styles differs by its lines, not by its colours.
std::string Panel::LineName(const AxsPlotBlock& block) const {
  static constexpr const char* kNames[] = {"", ", dashed", ", dotted", ", dash-dotted",
                                           ", dash-dot-dotted"};
  int32_t style = 0;
  if (block.second != 0) {
    AxsGetDataPenDC(dc_, block.style, nullptr, &style, 0);
  }
  return style > 0 && style < static_cast<int32_t>(std::size(kNames)) ? kNames[style] : "";
}

// Of several series a line for each, or for all what they have in common.
void Panel::ComposeLegend() {
  if (HasOwnColours()) {
    for (size_t i = 0; i < series_.size(); ++i) {
      legend_.push_back(series_[i].title + LineName(Block(series_[i], i)));
    }
  } else {
    legend_.push_back(series_.front().title + " to " + series_.back().title);
  }
  if (!style_.counts && !style_.normalised) {
    legend_[0] += ", 100% = " + Exponential(y_.high);
  }
}

// As many as ticks at round numbers need; about ten of them.
int32_t Panel::XDecimals() const {
  const float width = (x_.high - x_.low) / static_cast<float>(style_.rows);
  int32_t decimals = 0;
  for (float least = 10; width < least && decimals < 4; least /= 10) {
    ++decimals;
  }
  return decimals;
}

AxsPlotBlock Panel::Block(const PlotSeries& series, size_t index) const {
  AxsPlotBlock block = {};
  block.flags = AXS_PLOT_TRACE;
  block.mode = series.sticks ? AXS_PLOT_STICKS : style_.filled ? AXS_PLOT_FILLED : AXS_PLOT_JOINED;
  block.x = series.x.data();
  block.y = series.y.data();
  block.count = static_cast<int32_t>(series.x.size());
  block.style = HasOwnColours() ? static_cast<int32_t>(index % PLT_DATA_STYLES) : 0;
  block.second = HasOwnColours() && index >= PLT_DATA_STYLES ? 1 : 0;
  if (IsDeep()) {
    block.z = static_cast<float>(index) / static_cast<float>(series_.size() - 1);
  }
  return block;
}

// The title on the left, a line for each series on the right in its colour.
void Panel::DrawHeaders(int32_t width) const {
  AxsHdrExcludeRect(0, nullptr);
  const auto write = [this](const std::string& text, TvColour colour, int32_t flags, int32_t line) {
    const int32_t offset =
        1 + line * measure_.line_pitch();  // labels avoid those that have an offset
    AxsDisplayHeaderAndExclude(dc_, handle(), measure_.font(), colour, static_cast<int16_t>(flags),
                               text.c_str(), static_cast<int16_t>(offset));
  };
  int32_t line = 0;
  if (!title_.empty()) {
    write(measure_.Fitting(title_, width), measure_.colour(), 0, 0);
    line = TitleBesideLegend(width) ? 0 : 1;
  }
  for (size_t i = 0; i < legend_.size(); ++i) {
    const AxsPlotBlock block = Block(series_[i], i);
    TvColour colour = measure_.colour();
    if (legend_.size() > 1) {
      AxsGetDataPenDC(dc_, block.style, &colour, nullptr, block.second == 0 ? 1 : 0);
    }
    write(measure_.Fitting(legend_[i], width), colour, AXS_HEADER_RIGHT, line++);
  }
}

// Of peaks that several series have at the same place the highest has a label.
std::vector<AxsPlotLabel> Panel::Labels() const {
  AxsSystem system = {};
  AxsGetSystem(handle(), &system);
  std::vector<AxsPlotLabel> labels;
  for (const PlotSeries& series : series_) {
    const std::vector<AxsPlotLabel> peaks = FindPeaks(series, system);
    labels.insert(labels.end(), peaks.begin(), peaks.end());
  }
  if (series_.size() > 1) {
    std::ranges::stable_sort(labels, std::greater(), &AxsPlotLabel::y);
    const float near = (x_.high - x_.low) / 64 / static_cast<float>(style_.rows);
    std::vector<AxsPlotLabel> highest;
    for (const AxsPlotLabel& label : labels) {
      const auto is_near = [&](const AxsPlotLabel& other) {
        return std::abs(other.x - label.x) < near;
      };
      if (std::ranges::none_of(highest, is_near)) {
        highest.push_back(label);
      }
    }
    labels = std::move(highest);
  }
  return labels;
}

// Brackets, and the labels of all series together, so that they avoid each other.
void Panel::DrawAnnotation() const {
  PlotSeries all = {.sticks = series_[0].sticks};
  for (const PlotSeries& series : series_) {
    all.x.insert(all.x.end(), series.x.begin(), series.x.end());
    all.y.insert(all.y.end(), series.y.begin(), series.y.end());
    all.x.push_back(NAN);  // between the ends of two series there is no line
    all.y.push_back(NAN);
  }
  const bool labelled = style_.labels && !IsDeep();
  const std::vector<AxsPlotLabel> labels = labelled ? Labels() : std::vector<AxsPlotLabel>{};
  AxsPlotBlock block = Block(all, 0);
  block.flags = AXS_PLOT_ANNOTATE;
  block.labels = labels.data();
  block.label_count = static_cast<int32_t>(labels.size());
  block.label_decimals = series_[0].label_decimals;
  AxsPlotData(dc_, handle(), &block);
}

void Panel::DrawDepthAxis() const {
  PltResources resources = {};
  if (IsDeep() && PltGetResources(dc_, &resources) != 0) {
    AxsStyle style = {};
    style.axis_pen = resources.axis_pen;
    AxsDisplayAxis(dc_, handle(), &style, AXS_DRAW_LINE, AXS_Z_AXIS);
  }
}

void Panel::Draw(int32_t width) {
  if (IsDeep()) {
    AxsModify(handle(), kDepthX, kDepthY);
  }
  DrawHeaders(width);
  const std::string x_title = Picture::DeviceText(XTitle());
  const char* y_title = style_.counts ? kCountsTitle : nullptr;
  const auto draw_axes = [&](bool axes, bool grid) {
    AxsDisplayDefaultAxesAndGrid(dc_, handle(), x_title.c_str(), XDecimals(), y_title, 0,
                                 AXS_GRID_DOT, axes ? 1 : 0, grid ? 1 : 0);
  };
  draw_axes(false, style_.grid);
  DrawDepthAxis();
  for (size_t i = series_.size(); i-- > 0;) {  // what is in front is drawn last
    AxsPlotBlock block = Block(series_[i], i);
    AxsPlotData(dc_, handle(), &block);
  }
  DrawAnnotation();
  draw_axes(true, false);
}

TvRect LargestMargins(const std::vector<std::unique_ptr<Panel>>& panels, int32_t width) {
  TvRect largest = {};
  for (const auto& panel : panels) {
    const TvRect own = panel->Margins(width);
    largest.left = std::max(largest.left, own.left);
    largest.top = std::max(largest.top, own.top);
    largest.right = std::max(largest.right, own.right);
    largest.bottom = std::max(largest.bottom, own.bottom);
  }
  return largest;
}

}  // namespace

void DrawPlots(TvDC dc, int32_t width, int32_t height, std::vector<PlotSeries> series,
               const PictureStyle& style) {
  const TextMeasure measure(dc);
  std::vector<std::unique_ptr<Panel>> panels;
  const auto add = [&](std::vector<PlotSeries> shown) {
    panels.push_back(std::make_unique<Panel>(dc, measure, style, std::move(shown),
                                             panels.empty() ? style.title : ""));
  };
  if (style.layout == Layout::kStacked) {
    std::ranges::for_each(series, [&](PlotSeries& one) { add({std::move(one)}); });
  } else {
    add(std::move(series));
  }

  const int32_t edge = measure.height() / 2;
  const int32_t room = width - 4 * edge;  // for a header line
  AxsPosition position = {};
  position.area = {edge, edge, width - 1 - edge, height - 1 - edge};
  position.margins = LargestMargins(panels, room);
  position.count = static_cast<int32_t>(panels.size());
  const auto wanted = position.count;
  if (AxsGetPositionInfo(dc, 0, &position) < wanted) {
    throw Failure(
        "a picture of " + std::to_string(width) + " by " + std::to_string(height) + " pixels",
        "too small for " + (wanted == 1 ? "a plot" : std::to_string(wanted) + " plots"));
  }
  for (int32_t i = 0; i < wanted; ++i) {
    AxsPositionAxis(panels[static_cast<size_t>(i)]->handle(), wanted - 1 - i, 0, position);
    panels[static_cast<size_t>(i)]->Draw(room);
  }
}

}  // namespace tervalon::tools
