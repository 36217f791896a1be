#include "viewer/core/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "tools/pictures/thinning.h"
#include "tools/print/failure.h"

namespace tervalon::viewer {
namespace {

constexpr int32_t kStillPixels = 3;  // a hand that clicks moves the mouse as far as this
constexpr size_t kMostEarlier = 100;
constexpr size_t kVeryMany = 200000;       // points
constexpr int32_t kCoarseColumns = 32768;  // of those as seen from afar, with four points each
constexpr ptrdiff_t kEnoughPerPixel = 16;  // points
constexpr double kNarrowest = 1e-6;        // of the place: floats can tell no more apart

// The value at a pixel of a range that is drawn on that many, from the first one's.
float ValueAt(const Window& range, double pixel, int32_t pixels) {
  const double part = std::clamp(pixel / std::max(pixels, 1), 0.0, 1.0);
  return static_cast<float>(range.low + part * (double{range.high} - range.low));
}

// What a row shows of its panel's X range.
Window RowRange(const tools::PanelPlan& panel, size_t row) {
  const auto rows = static_cast<float>(panel.row_boxes.size());
  const float step = (panel.x.high - panel.x.low) / rows;
  const float low = panel.x.low + step * static_cast<float>(row);
  return {low, low + step};
}

int32_t Distance(const Box& box, Place place) {
  return std::max({box.top - place.y, place.y - box.bottom + 1, 0});
}

bool SameWindow(const std::optional<Window>& a, const std::optional<Window>& b) {
  return a.has_value() == b.has_value() && (!a || (a->low == b->low && a->high == b->high));
}

// So narrow that floats cannot tell its ends apart.
bool IsNothing(const std::optional<Window>& range) {
  if (!range) return false;
  const double width = double{range->high} - range->low;
  return !(width > kNarrowest * std::max(std::fabs(range->low), std::fabs(range->high)));
}

}  // namespace

bool operator==(const View& a, const View& b) {
  return SameWindow(a.x, b.x) && SameWindow(a.y, b.y);
}

PlotPlace FindPlace(const PicturePlan& plan, Place place) {
  PlotPlace found;
  int32_t nearest = 0;
  const Box* box = nullptr;
  for (size_t panel = 0; panel < plan.panels.size(); ++panel) {
    const std::vector<Box>& rows = plan.panels[panel].row_boxes;
    for (size_t row = 0; row < rows.size(); ++row) {
      // What is below a row belongs to it.
      const int32_t above = rows[row].top - place.y;
      const int32_t distance = above > 0 ? 2 * above : Distance(rows[row], place);
      if (box != nullptr && distance >= nearest) continue;
      nearest = distance;
      box = &rows[row];
      found.panel = panel;
      found.row = row;
    }
  }
  if (box == nullptr) return found;
  const tools::PanelPlan& panel = plan.panels[found.panel];
  const double right = place.x - box->left + 0.5;
  const double up = box->bottom - place.y - 0.5;
  found.x = ValueAt(RowRange(panel, found.row), right, box->width());
  found.y = ValueAt(panel.y, up, box->height());
  found.axis_y = static_cast<float>(found.y / panel.y_unit);
  const bool inside_x = right >= 0 && place.x < box->right;
  const bool inside_y = up >= 0 && place.y >= box->top;
  if (inside_x && inside_y) {
    found.zone = PlotPlace::Zone::kData;
  } else if (inside_x && up < 0) {
    found.zone = PlotPlace::Zone::kBelow;
  } else if (inside_y && right < 0) {
    found.zone = PlotPlace::Zone::kBeside;
  }
  return found;
}

void Chart::Show(std::vector<PlotSeries> series, PictureStyle style) {
  series_ = std::move(series);
  map_.reset();
  coarse_.assign(series_.size(), {});
  for (size_t i = 0; i < series_.size(); ++i) {
    if (series_[i].x.size() < kVeryMany || !std::ranges::is_sorted(series_[i].x)) continue;
    coarse_[i] = series_[i];
    tools::Thin(coarse_[i], std::nullopt, kCoarseColumns);
  }
  style_ = std::move(style);
  is_stale_ = true;
}

void Chart::Show(tools::MassMap map, PictureStyle style) {
  series_.clear();
  map_ = std::move(map);
  style_ = std::move(style);
  is_stale_ = true;
}

void Chart::Restyle(PictureStyle style) {
  style_ = std::move(style);
  is_stale_ = true;
}

const PicturePlan& Chart::Plan(const PictureSize& size, const TextMeasure& measure) {
  const bool fits = plan_ && !is_stale_ && plan_->size.width == size.width &&
                    plan_->size.height == size.height &&
                    plan_->size.pixels_per_inch == size.pixels_per_inch;
  if (fits) return *plan_;
  plan_ = PlanAnew(size, measure);
  is_stale_ = false;
  if (!view_.x && !plan_->panels.empty()) whole_.x = Planned(0, false);
  if (!view_.y && !plan_->panels.empty()) whole_.y = Planned(0, true);
  return *plan_;
}

std::vector<PlotSeries> Chart::SeriesSeen(const PictureSize& size) const {
  std::vector<PlotSeries> seen;
  for (size_t i = 0; i < series_.size(); ++i) {
    const PlotSeries& coarse = coarse_[i];
    const auto part = [this](const PlotSeries& of) {
      const auto begin = std::ranges::lower_bound(of.x, view_.x->low);
      const auto end = std::upper_bound(begin, of.x.end(), view_.x->high);
      return std::pair(begin - of.x.begin(), end - of.x.begin());
    };
    if (coarse.x.empty()) {
      seen.push_back(series_[i]);
      continue;
    }
    if (!view_.x || part(coarse).second - part(coarse).first > kEnoughPerPixel * size.width) {
      seen.push_back(coarse);
      continue;
    }
    // All in the range, and what lines from outside lead to.
    const auto [begin, end] = part(series_[i]);
    const auto cut = [first = std::max<ptrdiff_t>(begin - 1, 0),
                      end = end](const std::vector<float>& values) {
      const ptrdiff_t last = std::min<ptrdiff_t>(end + 1, std::ssize(values));
      return std::vector<float>(values.begin() + first, values.begin() + last);
    };
    PlotSeries& own = seen.emplace_back(coarse);
    own.x = cut(series_[i].x);
    own.y = cut(series_[i].y);
  }
  return seen;
}

PicturePlan Chart::PlanAnew(const PictureSize& size, const TextMeasure& measure,
                            const std::string& title) const {
  PictureStyle style = style_;
  style.title = title;
  style.x_range = view_.x;
  style.y_range = view_.y;
  if (map_) return PlanMap(*map_, style, size, measure);
  const bool is_stack = style.layout == tools::Layout::kStacked && series_.size() > 1;
  if (!is_stack) return PlanPicture(SeriesSeen(size), style, size, measure);
  try {
    return PlanPicture(SeriesSeen(size), style, size, measure);
  } catch (const tools::Failure&) {
    // What has no room one below another has it in the same axes.
    style.layout = tools::Layout::kOverlaid;
    style.normalised = true;
    return PlanPicture(SeriesSeen(size), style, size, measure);
  }
}

void Chart::Change(const View& view) {
  view_ = view;
  is_stale_ = true;
}

void Chart::SetView(const View& view) {
  if (view == view_ || IsNothing(view.x) || IsNothing(view.y)) return;
  if (earlier_.size() == kMostEarlier) earlier_.erase(earlier_.begin());
  earlier_.push_back(view_);
  Change(view);
}

bool Chart::SeeLast() {
  if (earlier_.empty()) return false;
  Change(earlier_.back());
  earlier_.pop_back();
  return true;
}

Window Chart::Planned(size_t panel, bool along_y) const {
  const tools::PanelPlan& seen = plan_->panels[panel];
  if (!along_y) return seen.x;
  return {static_cast<float>(seen.y.low / seen.y_unit),
          static_cast<float>(seen.y.high / seen.y_unit)};
}

Window Chart::Seen(size_t panel, bool along_y) const {
  const std::optional<Window>& view = along_y ? view_.y : view_.x;
  const std::optional<Window>& whole = along_y ? whole_.y : whole_.x;
  if (view) return *view;
  return is_stale_ && whole ? *whole : Planned(panel, along_y);
}

std::optional<Window> Chart::Inside(Window range, bool along_y) const {
  const std::optional<Window>& whole = along_y ? whole_.y : whole_.x;
  if (!whole) return range;
  range = {std::max(range.low, whole->low), std::min(range.high, whole->high)};
  if (range.low <= whole->low && range.high >= whole->high) return std::nullopt;
  return range.low < range.high ? range : *whole;
}

void Chart::Zoom(Place around, double factor, bool along_y) {
  if (!plan_) return;
  const PlotPlace place = FindPlace(*plan_, around);
  if (place.zone == PlotPlace::Zone::kOutside) return;
  const Window seen = Seen(place.panel, along_y);
  // Where that pixel will be, when what was seen last is not what is to be seen.
  const Window planned = Planned(place.panel, along_y);
  const double part = ((along_y ? place.axis_y : place.x) - double{planned.low}) /
                      (double{planned.high} - planned.low);
  const double centre = seen.low + part * (double{seen.high} - seen.low);
  const Window range = {static_cast<float>(centre - (centre - seen.low) * factor),
                        static_cast<float>(centre + (seen.high - centre) * factor)};
  View view = view_;
  (along_y ? view.y : view.x) = Inside(range, along_y);
  SetView(view);
}

const Box* Chart::FirstRow() const {
  const bool has_row = plan_ && !plan_->panels.empty() && !plan_->panels[0].row_boxes.empty();
  return has_row ? &plan_->panels[0].row_boxes[0] : nullptr;
}

void Chart::ZoomMiddle(double factor) {
  const Box* const row = FirstRow();
  if (row == nullptr) return;
  Zoom({(row->left + row->right) / 2, (row->top + row->bottom) / 2}, factor, false);
}

void Chart::ZoomHeight(double factor) {
  if (FirstRow() == nullptr) return;
  const Window seen = Seen(0, true);
  View view = view_;
  const Window range = {seen.low,
                        static_cast<float>(seen.low + (double{seen.high} - seen.low) * factor)};
  view.y = Inside(range, true);
  SetView(view);
}

void Chart::Move(double part) {
  if (!plan_ || plan_->panels.empty() || !view_.x) return;
  auto way = static_cast<float>(part * (view_.x->high - view_.x->low));
  if (whole_.x) {
    const float left = std::min(whole_.x->low - view_.x->low, 0.0F);
    const float right = std::max(whole_.x->high - view_.x->high, 0.0F);
    way = std::clamp(way, left, right);
  }
  View view = view_;
  view.x = {view_.x->low + way, view_.x->high + way};
  SetView(view);
}

void Chart::Press(Button button, Place place) {
  if (!plan_) return;
  pressed_ = {button, place, FindPlace(*plan_, place)};
  if (pressed_->found.zone == PlotPlace::Zone::kOutside) pressed_.reset();
}

std::optional<Box> Chart::MarkTo(Place place) {
  if (!pressed_ || !plan_) return std::nullopt;
  const PlotPlace& start = pressed_->found;
  Box box = plan_->panels[start.panel].row_boxes[start.row];
  if (start.zone == PlotPlace::Zone::kBeside) {
    const auto [top, bottom] = std::minmax(pressed_->place.y, place.y);
    box.top = std::clamp(top, box.top, box.bottom);
    box.bottom = std::clamp(bottom + 1, box.top, box.bottom);
  } else {
    const auto [left, right] = std::minmax(pressed_->place.x, place.x);
    box.left = std::clamp(left, box.left, box.right);
    box.right = std::clamp(right + 1, box.left, box.right);
  }
  return box;
}

Gesture Chart::Release(Place place) {
  if (!pressed_ || !plan_) return {};
  const Pressed start = *std::exchange(pressed_, std::nullopt);
  const bool along_y = start.found.zone == PlotPlace::Zone::kBeside;
  const int32_t way = along_y ? place.y - start.place.y : place.x - start.place.x;
  const tools::PanelPlan& panel = plan_->panels[start.found.panel];
  const Box& row = panel.row_boxes[start.found.row];
  Gesture gesture = {Gesture::Kind::kNone, start.found.panel, {start.found.x, start.found.x}};
  const Window range = RowRange(panel, start.found.row);
  gesture.reach =
      (range.high - range.low) * (kStillPixels + 1) / static_cast<float>(std::max(row.width(), 1));
  if (std::abs(way) <= kStillPixels) {
    const bool clicked =
        start.button == Button::kLeft && start.found.zone == PlotPlace::Zone::kData;
    gesture.kind = clicked ? Gesture::Kind::kClick : Gesture::Kind::kNone;
    return gesture;
  }
  // To the end of the row or column where the mouse left it.
  const Place end = along_y ? Place{row.left, std::clamp(place.y, row.top, row.bottom - 1)}
                            : Place{std::clamp(place.x, row.left, row.right - 1), row.top};
  const PlotPlace found = FindPlace(*plan_, end);
  const auto ordered = [](float a, float b) { return Window{std::min(a, b), std::max(a, b)}; };
  gesture.x = ordered(start.found.x, found.x);
  View view = view_;
  switch (start.found.zone) {
    case PlotPlace::Zone::kData:
      gesture.kind =
          start.button == Button::kLeft ? Gesture::Kind::kSelect : Gesture::Kind::kBackground;
      return gesture;
    case PlotPlace::Zone::kBelow:
      view.x = gesture.x;
      break;
    case PlotPlace::Zone::kBeside:
      view.y = ordered(start.found.axis_y, found.axis_y);
      break;
    case PlotPlace::Zone::kOutside:
      return gesture;
  }
  gesture.kind = Gesture::Kind::kView;
  SetView(view);
  return gesture;
}

void Chart::DoubleClick(Place place) {
  pressed_.reset();
  if (!plan_) return;
  const PlotPlace::Zone zone = FindPlace(*plan_, place).zone;
  View view = view_;
  if (zone != PlotPlace::Zone::kBeside) view.x.reset();
  if (zone != PlotPlace::Zone::kBelow) view.y.reset();
  SetView(view);
}

}  // namespace tervalon::viewer
