#include "tools/pictures/picture_plan.h"

#include <tervalon/number_format.h>

#include <algorithm>

#include "tools/pictures/legend.h"
#include "tools/pictures/panel_plan.h"
#include "tools/pictures/thinning.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr int32_t kTicksPerInch = 16;     // as long as the library's
constexpr int32_t kLegendShare = 4;       // of a panel's height, at most
constexpr int32_t kFewestWithTitle = 14;  // lines of text that a picture is high
constexpr int32_t kFewestWithDetails = 20;
constexpr int32_t kColumnsPerPixel = 2;  // that points are left out in
constexpr size_t kPlotsOfUsualSize = 3;
constexpr double kShareOfPlot = 0.29;  // that each further one adds

std::string Exponential(double value) {
  char text[40];
  return etoa(value, text, 2);
}

class PicturePlanner {
 public:
  PicturePlanner(std::vector<PlotSeries> series, const PictureStyle& style, const PictureSize& size,
                 const TextMeasure& measure)
      : style_(style),
        measure_(measure),
        tick_(std::max(size.pixels_per_inch / kTicksPerInch, 2)),
        edge_(measure.Height() / 2) {
    plan_.size = size;
    plan_.series = std::move(series);
  }

  PicturePlan Plan() {
    MakeDrafts();
    LinkAndPrepare();
    PlaceTitle();
    PlaceLegends();
    PlacePanels();
    return std::move(plan_);
  }

 private:
  // Whether a panel has the X axis of the one below it.
  bool IsLinked(size_t draft) const {
    return draft + 1 < drafts_.size() && style_.rows == 1 &&
           drafts_[draft].group[0]->x_title == drafts_[draft + 1].group[0]->x_title;
  }

  void MakeDrafts() {
    if (style_.layout == Layout::kDifference) {
      plan_.series = {Difference(plan_.series[0], plan_.series[1])};
    }
    for (PlotSeries& series : plan_.series) {
      Thin(series, style_.x_range, kColumnsPerPixel * plan_.size.width * style_.rows);
    }
    for (size_t i = 0; i < plan_.series.size(); ++i) {
      if (drafts_.empty() || style_.layout == Layout::kStacked) {
        drafts_.emplace_back();
      }
      drafts_.back().series.push_back(i);
      drafts_.back().group.push_back(&plan_.series[i]);
    }
    for (size_t i = 0; i < drafts_.size(); ++i) {
      drafts_[i].has_x_labels = !IsLinked(i);
    }
  }

  void LinkAndPrepare() {
    for (size_t first = 0; first < drafts_.size();) {
      size_t last = first;
      while (IsLinked(last)) {
        ++last;
      }
      const Window x = CommonX(first, last);
      for (; first <= last; ++first) {
        PanelDraft& draft = drafts_[first];
        draft.ranges = PrepareSeries(draft.group, x, style_);
      }
    }
    const auto has_nothing = [](const PanelDraft& draft) { return !draft.ranges.note.empty(); };
    if (style_.x_range && std::ranges::all_of(drafts_, has_nothing)) {
      plan_.warnings.emplace_back("nothing lies in --range");
    }
  }

  Window CommonX(size_t first, size_t last) const {
    if (style_.x_range) {
      return *style_.x_range;
    }
    std::optional<Window> common;
    for (size_t i = first; i <= last; ++i) {
      const SeriesGroup& group = drafts_[i].group;
      if (common && std::ranges::all_of(group, [](auto* one) { return one->x.empty(); })) {
        continue;
      }
      const Window own = WholeX(group, style_);
      common =
          common ? Window{std::min(common->low, own.low), std::max(common->high, own.high)} : own;
    }
    return *common;
  }

  void PlaceTitle() {
    top_ = edge_;
    const int32_t width = plan_.size.width - 2 * edge_;
    const auto line = [&](const std::string& text, Ink ink, Face face) {
      if (!text.empty()) {
        const std::string shown = measure_.Fitting(text, width, face);
        const int32_t bottom = top_ + measure_.Height(face);
        plan_.texts.push_back(
            {{edge_, top_, edge_ + measure_.Width(shown, face), bottom}, shown, ink, face});
        top_ = bottom;
      }
    };
    const int32_t lines = plan_.size.height / measure_.Height();
    line(lines < kFewestWithTitle ? "" : style_.title, kTextInk, Face::kTitle);
    line(lines < kFewestWithDetails ? "" : style_.details, kMutedInk, Face::kPlain);
    top_ += top_ > edge_ ? edge_ : 0;
  }

  std::string YTitle(PanelDraft& draft) const {
    YUnit& unit = draft.ranges.unit;
    const PlotSeries& series = *draft.group[0];
    if (unit.percent) {
      return style_.layout == Layout::kDifference ? "Difference (%)" : "Relative intensity (%)";
    }
    if (style_.y_scale == YScale::kLinear) {
      unit.exponent = CommonExponent(std::max(draft.ranges.high, -draft.ranges.low));
    }
    const std::string power = ExponentText(unit.exponent);
    const std::string inside =
        series.y_unit + (power.empty() || series.y_unit.empty() ? "" : " ") + power;
    return series.y_title + (inside.empty() ? "" : " (" + inside + ")");
  }

  Legend LegendOf(PanelDraft& draft) const {
    Legend legend = {.title = draft.y_title};
    const bool each_own = style_.normalised || style_.layout == Layout::kMirrored;
    const bool percent = draft.ranges.unit.percent && draft.ranges.note.empty();
    for (size_t i = 0; i < draft.group.size() && !IsDeep(draft); ++i) {
      if (draft.group.size() == 1 && draft.y_title.starts_with(draft.group[i]->title)) {
        continue;  // the axis is named after it
      }
      std::string text = draft.group[i]->title;
      if (percent && each_own && draft.group.size() > 1) {
        const float top = draft.ranges.tops[i];
        text += top > 0 ? " (100% = " + Exponential(top) + ")" : " (no data)";
      }
      legend.entries.push_back({text, static_cast<Ink>(i)});
    }
    if (percent && (!each_own || draft.group.size() == 1)) {
      legend.top = "100% = " + Exponential(draft.ranges.tops[0]);
    }
    return legend;
  }

  bool IsDeep(const PanelDraft& draft) const {
    return style_.layout == Layout::kDepth && draft.group.size() > 1;
  }

  void PlaceLegends() {
    const auto count = static_cast<int32_t>(drafts_.size());
    const int32_t share = (plan_.size.height - top_) / count / kLegendShare / measure_.Height();
    std::string above;
    for (PanelDraft& draft : drafts_) {
      draft.y_title = YTitle(draft);
      Legend legend = LegendOf(draft);
      legend.hidden = legend.title == above;
      above = draft.y_title;
      draft.strip_height =
          PlaceLegend(legend, plan_.size.width - style_.beside - 2 * edge_, std::max(share, 1),
                      measure_, &draft.strip_texts, &draft.strip_samples);
      draft.strip_height += draft.strip_height > 0 ? edge_ / 2 : 0;
    }
  }

  // Besides its data, of one row of each.
  int32_t Overhead(const PanelDraft& draft) const {
    return draft.strip_height + TitleRoom(draft, measure_) +
           style_.rows * (Headroom(style_, measure_) + Footroom(draft, tick_, measure_));
  }

  // What is left for the data of each panel.
  int32_t DataHeight() const {
    int32_t data = plan_.size.height - edge_ - top_;
    for (const PanelDraft& draft : drafts_) {
      data -= Overhead(draft);
    }
    return data / static_cast<int32_t>(drafts_.size());
  }

  // As many rows as are high enough.
  void ChooseRows() {
    const int32_t wanted = style_.rows;
    while (style_.rows > 1 && DataHeight() / style_.rows < LeastRowHeight(style_.rows, measure_)) {
      --style_.rows;
    }
    if (style_.rows < wanted) {
      plan_.warnings.push_back("only " + std::to_string(style_.rows) + " of " +
                               std::to_string(wanted) + " rows have room");
    }
  }

  void PlacePanels() {
    ChooseRows();
    const auto count = static_cast<int32_t>(drafts_.size());
    const int32_t data = DataHeight();
    const int32_t row_height = std::max(data / style_.rows, LeastRowHeight(style_.rows, measure_));
    int32_t left = 0;
    std::vector<Window> y_ranges;
    for (const PanelDraft& draft : drafts_) {
      const int32_t labels = MostYLabels(row_height, measure_);
      const Window y = PlottedY(draft.ranges, style_, labels);
      for (const Tick& tick : YTicks(style_.y_scale, y, draft.ranges.unit, labels)) {
        left = std::max(left, measure_.Width(tick.label));
      }
      y_ranges.push_back(y);
    }
    PanelRoom room = {.box = {edge_, top_, plan_.size.width - style_.beside - edge_, top_},
                      .left_margin = left + tick_ + measure_.Height() / 4,
                      .right_margin = measure_.Height(),
                      .tick = tick_};
    for (size_t i = 0; i < drafts_.size(); ++i) {
      room.box.bottom = room.box.top + Overhead(drafts_[i]) + data;
      plan_.panels.push_back(PlanPanel(drafts_[i], y_ranges[i], room, style_, measure_));
      if (plan_.panels.back().row_boxes.empty()) {
        throw Failure(
            "a picture of " + std::to_string(plan_.size.width) + " by " +
                std::to_string(plan_.size.height) + " pixels",
            "too small for " + (count == 1 ? "a plot" : std::to_string(count) + " plots"));
      }
      room.box.top = room.box.bottom;
    }
  }

  PictureStyle style_;
  const TextMeasure& measure_;
  const int32_t tick_;
  const int32_t edge_;
  int32_t top_ = 0;  // of what is not planned yet
  PicturePlan plan_;
  std::vector<PanelDraft> drafts_;
};

}  // namespace

PicturePlan PlanPicture(std::vector<PlotSeries> series, const PictureStyle& style,
                        const PictureSize& size, const TextMeasure& measure) {
  return PicturePlanner(std::move(series), style, size, measure).Plan();
}

double UsualGrowth(size_t plots) {
  return plots <= kPlotsOfUsualSize
             ? 1
             : 1 + static_cast<double>(plots - kPlotsOfUsualSize) * kShareOfPlot;
}

}  // namespace tervalon::tools
