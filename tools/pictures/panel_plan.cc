#include "tools/pictures/panel_plan.h"

#include <tervalon/drawing.h>
#include <tervalon/number_format.h>

#include <algorithm>
#include <cmath>

#include "tools/pictures/axes_object.h"
#include "tools/pictures/label_placement.h"
#include "tools/pictures/peaks.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kMostLabelDecimals = 4;
constexpr double kDepthShareX = 0.15;
constexpr float kSameX = 0.5F;  // between a name's place and its peak, of masses
constexpr float kSameTime = 0.05F;
constexpr int32_t kStepsOfBentLine = 32;  // that a straight line takes on a scale that bends it

// One row of the panel: the values that it shows, and where.
struct RowView {
  Box data;
  Window x;
  Window y;

  int32_t XAt(double value) const {
    return data.left +
           static_cast<int32_t>(std::lround((value - x.low) / (x.high - x.low) * data.width()));
  }
  // Of what is outside, at the edge.
  int32_t YAt(double value) const {
    const double part = std::clamp((value - y.low) / (double{y.high} - y.low), 0.0, 1.0);
    return data.bottom - static_cast<int32_t>(std::lround(part * data.height()));
  }
  bool Holds(double value) const { return value >= x.low && value <= x.high; }
};

class PanelPlanner {
 public:
  PanelPlanner(const PanelDraft& draft, const Window& y, const PanelRoom& room,
               const PictureStyle& style, const TextMeasure& measure)
      : draft_(draft),
        room_(room),
        style_(style),
        measure_(measure),
        height_(measure.Height()),
        deep_(style.layout == Layout::kDepth && draft.group.size() > 1) {
    plan_.x = draft.ranges.x;
    plan_.y = y;
    plan_.y_unit = draft.ranges.unit.unit;
    plan_.percent = draft.ranges.unit.percent;
    plan_.magnified = style.magnified;
  }

  PanelPlan Plan() {
    PlaceAxes();
    if (rows_.empty()) {
      return plan_;
    }
    PlaceStrip();
    PlaceMarks();
    PlaceXAxis();
    PlaceYAxis();
    PlaceTraces();
    if (!deep_) {
      PlacePeaks();
    }
    if (deep_) {
      PlaceDepth();
    } else if (style_.labels && draft_.ranges.note.empty()) {
      for (const RowView& row : rows_) {
        PlaceLabels(row);
      }
    }
    PlaceNote();
    return plan_;
  }

 private:
  void PlaceAxes();
  void UseRoomAbove();
  void PlaceStrip();
  void PlaceMarks();
  void PlaceXAxis();
  void PlaceYAxis();
  void PlaceTraces();
  void PlacePeaks();
  void PlaceArea(const RowView& row, const PlotSeries& series, const PlotPeak& peak, Ink ink);
  void PlaceCross(const PlotSeries& series, Ink ink);
  void PlaceDepth();
  void PlaceLabels(const RowView& row);
  void PlaceNote();

  void Line(int32_t x1, int32_t y1, int32_t x2, int32_t y2, Ink ink = kAxisInk) {
    plan_.lines.push_back({{x1, y1}, {x2, y2}, ink});
  }
  void Write(const std::string& text, int32_t left, int32_t top, Ink ink = kTextInk) {
    plan_.texts.push_back(
        {{left, top, left + measure_.Width(text), top + height_}, text, ink, Face::kPlain});
  }

  float Base() const {  // that peaks rise from
    return style_.y_scale == YScale::kLog ? plan_.y.low : std::max(plan_.y.low, 0.0F);
  }
  float Height(float x, float y) const { return y * FactorAt(style_.magnified, x); }
  float TopOf(const PlotSeries& series, const PlotPeak& peak) const;
  // Those of a spectrum alone do not have its colour.
  Ink CentroidInk(size_t series) const {
    return static_cast<Ink>(draft_.group.size() == 1 ? 1 : series);
  }
  std::string LabelText(const PlotSeries& series, size_t point, bool* named) const;
  std::string LabelText(const PlotSeries& series, float x, float y, bool* named) const;
  void AddData(const RowView& row, const PlotSeries& series, LabelPlacement& placement) const;
  std::optional<Ink> GroundOf(const Box& box) const;
  void AddFactors(const RowView& row, LabelPlacement& placement) const;

  const PanelDraft& draft_;
  const PanelRoom& room_;
  const PictureStyle& style_;
  const TextMeasure& measure_;
  const int32_t height_;
  const bool deep_;
  PanelPlan plan_;
  std::vector<RowView> rows_;
  Place depth_;  // how far the last trace is behind the first
  int x_decimals_ = 0;
};

void PanelPlanner::PlaceAxes() {
  plan_.area = room_.box;
  plan_.area.top += draft_.strip_height;
  plan_.area.bottom -= TitleRoom(draft_, measure_);
  plan_.margins = {room_.left_margin, Headroom(style_, measure_), room_.right_margin,
                   Footroom(draft_, room_.tick, measure_)};
  if (deep_) {
    plan_.depth_x = DepthX();
    plan_.depth_y = DepthY(draft_.group.size());
    int32_t widest = 0;
    for (const PlotSeries* series : draft_.group) {
      widest = std::max(widest, measure_.Width(series->depth_title));
    }
    plan_.margins.right += widest;
  }
  const AxesObject axes(style_.rows, LeastRowHeight(style_.rows, measure_));
  plan_.rows = axes.Arrange(plan_);
  if (deep_ && plan_.rows > 0) {
    UseRoomAbove();
    plan_.rows = axes.Arrange(plan_);
  }
  AxsSystem system = {};
  AxsGetSystem(axes.handle(), &system);
  for (int32_t i = 0; i < plan_.rows; ++i) {
    TvRect data = {};
    AxsGetArea(axes.handle(), i, &data, 0);
    if (deep_) {
      const int32_t whole = plan_.area.width() - plan_.margins.left - plan_.margins.right;
      depth_.x = whole - static_cast<int32_t>(whole / (plan_.depth_x + 1));
      depth_.y = static_cast<int32_t>(data.top) - plan_.area.top - plan_.margins.top;
    }
    const auto left = static_cast<int32_t>(data.left);
    const auto right = static_cast<int32_t>(data.right) + 1 - depth_.x;
    rows_.push_back(
        {{left, static_cast<int32_t>(data.top), right, static_cast<int32_t>(data.bottom)},
         {system.row_ranges[i].from, system.row_ranges[i].to},
         plan_.y});
    plan_.row_boxes.push_back(rows_.back().data);
  }
  if (plan_.rows > 0) {
    plan_.x_ticks = XTicks(axes.handle(), plan_.x, measure_, &x_decimals_);
  }
}

// Where the highest peaks are not behind, the axes become higher than the panel: until the traces
// reach its top.
void PanelPlanner::UseRoomAbove() {
  const int32_t whole = plan_.area.height() - plan_.margins.top - plan_.margins.bottom;
  const double front = whole / (plan_.depth_y + 1);
  const size_t last = draft_.group.size() - 1;
  double reached = 0;
  for (size_t i = 0; i <= last; ++i) {
    const double shift = (whole - front) * static_cast<double>(i) / static_cast<double>(last);
    float highest = plan_.y.low;
    for (size_t k = 0; k < draft_.group[i]->x.size(); ++k) {
      const float x = draft_.group[i]->x[k];
      if (x >= plan_.x.low && x <= plan_.x.high && draft_.group[i]->y[k] > highest) {
        highest = draft_.group[i]->y[k];
      }
    }
    const float part = std::min((highest - plan_.y.low) / (plan_.y.high - plan_.y.low), 1.0F);
    reached = std::max(reached, shift + part * front);
  }
  if (reached > 0) {
    plan_.area.top -= static_cast<int32_t>(whole * (whole / reached - 1));
  }
}

void PanelPlanner::PlaceStrip() {
  for (PlannedText text : draft_.strip_texts) {
    text.box.left += room_.box.left;
    text.box.right += room_.box.left;
    text.box.top += room_.box.top;
    text.box.bottom += room_.box.top;
    plan_.texts.push_back(text);
  }
  for (const PlannedLine& sample : draft_.strip_samples) {
    Line(sample.from.x + room_.box.left, sample.from.y + room_.box.top,
         sample.to.x + room_.box.left, sample.to.y + room_.box.top, sample.ink);
  }
}

void PanelPlanner::PlaceMarks() {
  for (const RowView& row : rows_) {
    for (const Window& mark : style_.marks) {
      const float from = std::max(mark.low, row.x.low);
      const float to = std::min(mark.high, row.x.high);
      if (from < to) {
        plan_.marks.push_back({row.XAt(from), row.data.top, row.XAt(to), row.data.bottom});
      }
    }
  }
}

void PanelPlanner::PlaceXAxis() {
  for (const RowView& row : rows_) {
    const int32_t y = row.data.bottom;
    Line(row.data.left, y, row.data.right, y);
    int32_t last_end = INT32_MIN;
    for (const Tick& tick : plan_.x_ticks) {
      if (!row.Holds(tick.position)) {
        continue;
      }
      const int32_t x = row.XAt(tick.position);
      Line(x, y, x, y + (tick.label.empty() ? room_.tick / 2 : room_.tick));
      if (tick.label.empty()) {
        continue;
      }
      if (style_.grid && !deep_) {
        plan_.grid.push_back({{x, row.data.top}, {x, y}, kGridInk});
      }
      const int32_t width = measure_.Width(tick.label);
      const int32_t left = std::min(x - width / 2, room_.box.right - width);
      if (draft_.has_x_labels && left > last_end) {
        Write(tick.label, left, y + room_.tick + 1);
        last_end = left + width;
      }
    }
  }
  if (draft_.has_x_labels) {
    const std::string& title = draft_.group[0]->x_title;
    const Box& data = rows_.back().data;
    Write(title, (data.left + data.right - measure_.Width(title)) / 2, plan_.area.bottom);
  }
}

void PanelPlanner::PlaceYAxis() {
  const int32_t labels = MostYLabels(rows_[0].data.height(), measure_);
  plan_.y_ticks = YTicks(style_.y_scale, plan_.y, draft_.ranges.unit, labels);
  for (const RowView& row : rows_) {
    const int32_t x = row.data.left;
    Line(x, row.data.top, x, row.data.bottom);
    if (plan_.y.low < 0 && plan_.y.high > 0 && style_.y_scale != YScale::kLog) {
      Line(x, row.YAt(0), row.data.right, row.YAt(0));
    }
    for (const Tick& tick : plan_.y_ticks) {
      const int32_t y = row.YAt(tick.position);
      Line(x - (tick.label.empty() ? room_.tick / 2 : room_.tick), y, x, y);
      if (tick.label.empty()) {
        continue;
      }
      if (style_.grid && !deep_ && y < row.data.bottom) {
        plan_.grid.push_back({{x, y}, {row.data.right, y}, kGridInk});
      }
      Write(tick.label, x - room_.tick - height_ / 6 - measure_.Width(tick.label), y - height_ / 2);
    }
  }
}

void PanelPlanner::PlaceTraces() {
  const size_t count = draft_.group.size();
  const bool fills_first = style_.filled && !deep_ && count > 1;  // no area hides another's line
  for (size_t i = 0; fills_first && i < count; ++i) {
    if (!draft_.group[i]->sticks) {
      plan_.traces.push_back({.series = draft_.series[i],
                              .ink = static_cast<Ink>(i),
                              .mode = AXS_PLOT_FILLED,
                              .outlined = false,
                              .tinted = true});
    }
  }
  for (size_t i = count; i-- > 0;) {  // what is in front is drawn last
    const PlotSeries& series = *draft_.group[i];
    const bool is_filled = style_.filled && !fills_first;
    PlannedTrace trace = {.series = draft_.series[i],
                          .ink = deep_ ? 0 : static_cast<Ink>(i),
                          .mode = series.sticks ? AXS_PLOT_STICKS
                                  : is_filled   ? AXS_PLOT_FILLED
                                                : AXS_PLOT_JOINED};
    if (deep_) {
      trace.depth = static_cast<float>(i) / static_cast<float>(count - 1);
      trace.has_base = true;
      trace.mode = series.sticks ? AXS_PLOT_STICKS : AXS_PLOT_FILLED;  // hides what is behind
    }
    trace.tinted = style_.filled;
    plan_.traces.push_back(trace);
    if (!series.sticks && !deep_) {
      PlaceCross(series, trace.ink);
    }
  }
}

// The peaks that were found: areas above their baselines, and centroids as sticks.
void PanelPlanner::PlacePeaks() {
  for (const RowView& row : rows_) {
    for (size_t i = 0; i < draft_.group.size(); ++i) {
      for (const PlotPeak& peak : draft_.group[i]->peaks) {
        if (peak.has_area()) {
          PlaceArea(row, *draft_.group[i], peak, static_cast<Ink>(i));
        } else if (row.Holds(peak.x)) {
          Line(row.XAt(peak.x), row.YAt(Base()), row.XAt(peak.x),
               row.YAt(Height(peak.x, TopOf(*draft_.group[i], peak))), CentroidInk(i));
        }
      }
    }
  }
}

// Where a peak's label stands: at the highest that is drawn of it.
float PanelPlanner::TopOf(const PlotSeries& series, const PlotPeak& peak) const {
  if (!peak.has_area()) {
    return OnScale(style_.y_scale, peak.y);
  }
  const auto first = std::ranges::lower_bound(series.x, peak.start) - series.x.begin();
  float top = plan_.y.low;
  for (auto i = static_cast<size_t>(first); i < series.x.size() && series.x[i] <= peak.end; ++i) {
    top = std::max(top, series.y[i]);
  }
  return top;
}

// As far as the row reaches.
void PanelPlanner::PlaceArea(const RowView& row, const PlotSeries& series, const PlotPeak& peak,
                             Ink ink) {
  const float from = std::max(peak.start, row.x.low);
  const float to = std::min(peak.end, row.x.high);
  if (!(from < to)) {
    return;
  }
  const auto baseline = [&](float x) {
    const float part = (x - peak.start) / (peak.end - peak.start);
    const float y = peak.start_y + part * (peak.end_y - peak.start_y);
    return Place{row.XAt(x), row.YAt(Height(x, OnScale(style_.y_scale, y)))};
  };
  PlannedArea area = {.outline = {baseline(from)}, .ink = ink};
  auto i = static_cast<size_t>(std::ranges::lower_bound(series.x, from) - series.x.begin());
  // Where the line to point i crosses the edge of the row.
  const auto add_edge = [&](float x) {
    if (i > 0 && i < series.x.size() && series.x[i] > x) {
      const float part = (x - series.x[i - 1]) / (series.x[i] - series.x[i - 1]);
      const float y = series.y[i - 1] + part * (series.y[i] - series.y[i - 1]);
      area.outline.push_back({row.XAt(x), row.YAt(Height(x, y))});
    }
  };
  add_edge(from);
  for (; i < series.x.size() && series.x[i] <= to; ++i) {
    if (std::isfinite(series.y[i])) {
      area.outline.push_back({row.XAt(series.x[i]), row.YAt(Height(series.x[i], series.y[i]))});
    }
  }
  add_edge(to);
  const int32_t steps = style_.y_scale == YScale::kLinear ? 1 : kStepsOfBentLine;
  for (int32_t step = 0; step <= steps; ++step) {
    area.outline.push_back(
        baseline(to - (to - from) * static_cast<float>(step) / static_cast<float>(steps)));
  }
  plan_.areas.push_back(std::move(area));
}

// A point without another to be joined with.
void PanelPlanner::PlaceCross(const PlotSeries& series, Ink ink) {
  if (series.x.size() != 1) {
    return;
  }
  for (const RowView& row : rows_) {
    if (row.Holds(series.x[0]) && std::isfinite(series.y[0])) {
      const int32_t x = row.XAt(series.x[0]);
      const int32_t y = row.YAt(series.y[0]);
      const int32_t arm = std::max(room_.tick / 2, 2);
      Line(x - arm, y, x + arm + 1, y, ink);
      Line(x, y - arm, x, y + arm + 1, ink);
      return;
    }
  }
}

// The floor that the traces stand on, what each is along its right edge, and the highest peak.
void PanelPlanner::PlaceDepth() {
  const RowView& row = rows_[0];
  const int32_t bottom = row.YAt(Base());
  const Box& data = row.data;
  const Place behind = {data.left + depth_.x, bottom - depth_.y};
  plan_.grid.push_back({{data.left, bottom}, behind, kGridInk});
  plan_.grid.push_back({behind, {data.right + depth_.x, behind.y}, kGridInk});
  Line(data.right, bottom, data.right + depth_.x, behind.y);
  const size_t last = draft_.group.size() - 1;
  const auto at = [&](size_t i) {
    const double part = static_cast<double>(i) / static_cast<double>(last);
    return Place{static_cast<int32_t>(depth_.x * part), static_cast<int32_t>(depth_.y * part)};
  };
  int32_t free_below = INT32_MAX;
  for (size_t i = 0; i <= last; ++i) {
    const int32_t top = bottom - at(i).y - height_ / 2;
    const bool has_room = top + height_ <= free_below &&
                          (i == last || top - height_ >= bottom - depth_.y - height_ / 2);
    if (!has_room) {
      continue;
    }
    const int32_t x = data.right + at(i).x;
    Line(x, bottom - at(i).y, x + room_.tick / 2, bottom - at(i).y);
    Write(draft_.group[i]->depth_title, x + room_.tick / 2 + height_ / 4, top);
    free_below = top;
  }
  const PlotSeries* highest = nullptr;
  size_t point = 0;
  Place shift;
  for (size_t i = 0; i <= last; ++i) {
    const PlotSeries& series = *draft_.group[i];
    for (size_t k = 0; k < series.x.size(); ++k) {
      if (row.Holds(series.x[k]) && (highest == nullptr || series.y[k] > highest->y[point])) {
        highest = &series;
        point = k;
        shift = at(i);
      }
    }
  }
  if (style_.labels && highest != nullptr) {
    bool named = false;
    const std::string text = LabelText(*highest, point, &named);
    const int32_t width = measure_.Width(text);
    const int32_t left = row.XAt(highest->x[point]) + shift.x - width / 2;
    const int32_t top =
        row.YAt(highest->y[point]) - shift.y - height_ - LabelPlacement::Gap(height_);
    plan_.labels.push_back({{left, top, left + width, top + height_}, text, 0, Face::kPlain});
  }
}

std::string PanelPlanner::LabelText(const PlotSeries& series, size_t point, bool* named) const {
  return LabelText(series, series.x[point], series.y[point], named);
}

std::string PanelPlanner::LabelText(const PlotSeries& series, float x, float y, bool* named) const {
  const float reach = series.x_title == "m/z" ? kSameX : kSameTime;
  const int decimals =
      std::min(std::max(series.label_decimals, x_decimals_ + 1), kMostLabelDecimals);
  char number[48];
  std::string value = ftoa(x, number, decimals);
  for (const PeakName& name : style_.names) {
    *named = std::abs(name.x - x) <= reach;
    if (!*named) {
      continue;
    }
    for (size_t i = 0; i < series.x.size(); ++i) {  // of the highest nearby only
      if (std::abs(name.x - series.x[i]) <= reach && series.y[i] > y) {
        *named = false;
      }
    }
    if (*named) {
      return name.text + " " + value;
    }
  }
  return value;
}

void PanelPlanner::AddData(const RowView& row, const PlotSeries& series,
                           LabelPlacement& placement) const {
  const int32_t base = row.YAt(Base());
  const double per_x = row.data.width() / (double{row.x.high} - row.x.low);
  float before = 0;
  bool joined = false;  // with the point before
  float lowest = 0;     // of the points in one column, which are drawn over each other
  float highest = 0;
  int32_t column = INT32_MIN;
  const auto end_column = [&] {
    if (column != INT32_MIN) {
      placement.AddLine({column, row.YAt(lowest)}, {column, row.YAt(highest)});
      column = INT32_MIN;
    }
  };
  const bool magnified = !style_.magnified.empty();
  for (size_t i = 0; i < series.x.size(); ++i) {
    const float x = series.x[i];
    float y = series.y[i];
    if (!row.Holds(x) || std::isnan(y)) {
      end_column();
      joined = false;
      continue;
    }
    y = magnified ? Height(x, y) : y;
    const auto at = row.data.left + static_cast<int32_t>(std::lround((x - row.x.low) * per_x));
    if (at == column) {
      lowest = std::min(lowest, y);
      highest = std::max(highest, y);
    } else {
      const int32_t left = column;
      end_column();
      if (series.sticks) {
        placement.AddLine({at, base}, {at, row.YAt(y)});
      } else if (joined) {
        placement.AddLine({left, row.YAt(before)}, {at, row.YAt(y)});
      }
      column = at;
      lowest = highest = y;
    }
    joined = true;
    before = y;
  }
  end_column();
}

// Where the factors of magnified ranges are written.
void PanelPlanner::AddFactors(const RowView& row, LabelPlacement& placement) const {
  for (const AxsMagnify& range : style_.magnified) {
    const float from = std::max(range.from, row.x.low);
    const float to = std::min(range.to, row.x.high);
    if (from < to && range.factor != 1) {
      const int32_t middle = (row.XAt(from) + row.XAt(to)) / 2;
      const int32_t half = measure_.Width("x10000") / 2 + height_ / 4;
      placement.AddObstacle({middle - half, row.data.top - height_, middle + half, row.data.top});
    }
  }
}

// Of a label: grid lines and brackets do not go through it.
std::optional<Ink> PanelPlanner::GroundOf(const Box& box) const {
  if (!style_.grid && style_.magnified.empty()) {
    return std::nullopt;
  }
  for (const Box& mark : plan_.marks) {
    if (Overlap(box, mark)) {
      const bool inside = box.left >= mark.left && box.right <= mark.right && box.top >= mark.top;
      return inside ? std::optional<Ink>(kMarkInk) : std::nullopt;
    }
  }
  return kGroundInk;
}

void PanelPlanner::PlaceLabels(const RowView& row) {
  // Labels keep off the Y axis' numbers, and below off those of the X axis.
  LabelPlacement placement(
      {row.data.left + 2, row.data.top - plan_.margins.top, room_.box.right, row.data.bottom},
      height_);
  AddFactors(row, placement);
  std::vector<LabelWish> wishes;
  std::vector<PlannedText> texts;
  const float per_pixel =
      (plan_.y.high - plan_.y.low) / static_cast<float>(std::max(row.data.height(), 1));
  const float base = Base();
  for (size_t i = 0; i < draft_.group.size(); ++i) {
    const PlotSeries& series = *draft_.group[i];
    AddData(row, series, placement);
    const PeakLimits limits = {row.x, base, per_pixel * static_cast<float>(height_) / 3,
                               style_.magnified};
    const auto add = [&](float x, float value, const std::string& note, Ink ink) {
      LabelWish wish;
      const float y = Height(x, value);
      const std::string text = LabelText(series, x, value, &wish.named) + note;
      wish.tip = {row.XAt(x), row.YAt(y)};
      wish.downward = y < base;
      wish.weight = std::abs(y - base);
      wish.width = measure_.Width(text);
      wishes.push_back(wish);
      texts.push_back({{}, text, ink, Face::kPlain});
    };
    for (const PlotPeak& peak : series.peaks) {
      if (row.Holds(peak.x)) {
        add(peak.x, TopOf(series, peak), peak.note,
            peak.has_area() ? static_cast<Ink>(i) : CentroidInk(i));
      }
    }
    if (!series.peaks.empty()) {
      continue;
    }
    for (const size_t point : FindPeaks(series, limits)) {
      add(series.x[point], series.y[point], "", static_cast<Ink>(i));
    }
  }
  const std::vector<std::optional<Box>> places = placement.Find(wishes);
  for (size_t i = 0; i < places.size(); ++i) {
    if (places[i]) {
      texts[i].box = *places[i];
      texts[i].ground = GroundOf(*places[i]);
      plan_.labels.push_back(texts[i]);
    }
  }
}

void PanelPlanner::PlaceNote() {
  const std::string& note = draft_.ranges.note;
  if (!note.empty()) {
    const Box& data = rows_[rows_.size() / 2].data;
    Write(note, (data.left + data.right - measure_.Width(note)) / 2,
          (data.top + data.bottom - height_) / 2, kMutedInk);
  }
}

}  // namespace

int32_t Headroom(const PictureStyle& style, const TextMeasure& measure) {
  const int32_t label = measure.Height() + LabelPlacement::Gap(measure.Height()) + 1;
  return style.labels || !style.magnified.empty() ? label : measure.Height() / 2;
}

int32_t Footroom(const PanelDraft& draft, int32_t tick, const TextMeasure& measure) {
  return tick + (draft.has_x_labels ? measure.Height() + 1 : measure.Height() / 4);
}

int32_t TitleRoom(const PanelDraft& draft, const TextMeasure& measure) {
  return draft.has_x_labels ? measure.Height() + measure.Height() / 4 : 0;
}

int32_t MostYLabels(int32_t height, const TextMeasure& measure) {
  return std::clamp(height / (2 * measure.Height()), 1, 6);
}

int32_t LeastRowHeight(int32_t rows, const TextMeasure& measure) {
  return (rows > 1 ? 3 : 2) * measure.Height();
}

double DepthX() { return kDepthShareX; }

double DepthY(size_t traces) { return traces < 4 ? 0.4 : 0.8; }

PanelPlan PlanPanel(const PanelDraft& draft, const Window& y, const PanelRoom& room,
                    const PictureStyle& style, const TextMeasure& measure) {
  return PanelPlanner(draft, y, room, style, measure).Plan();
}

}  // namespace tervalon::tools
