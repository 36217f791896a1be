#include "tests/support/recording_drawing.h"

#include <algorithm>
#include <cstdlib>

#include "plot/resources.h"

namespace tervalon::testing {
namespace {

std::string At(const TvPoint& point) {
  return std::to_string(point.x) + "," + std::to_string(point.y);
}

}  // namespace

// What an earlier test's drawing was asked for means nothing to this one, and the other way round.
RecordingDrawing::RecordingDrawing() { plot::ReleaseAllResources(); }
RecordingDrawing::~RecordingDrawing() { plot::ReleaseAllResources(); }

void RecordingDrawing::KillDevice() {
  alive_ = false;
  if (listener_ != nullptr) listener_(dc());
}

void RecordingDrawing::Forget() {
  lines.clear();
  polylines.clear();
  fills.clear();
  images.clear();
  texts.clear();
}

std::vector<std::string> RecordingDrawing::LineTexts() const {
  std::vector<std::string> result;
  for (const DrawnLine& line : lines) result.push_back(At(line.from) + " " + At(line.to));
  return result;
}

std::vector<std::string> RecordingDrawing::TextTexts() const {
  std::vector<std::string> result;
  for (const DrawnText& text : texts) result.push_back(At(text.at) + " " + text.text);
  return result;
}

bool RecordingDrawing::Save(TvDC dc) {
  if (!IsLive(dc) || fail_save) return false;
  saved_.push_back(state_);
  return true;
}

bool RecordingDrawing::Restore(TvDC dc) {
  if (!IsLive(dc) || saved_.empty()) return false;
  state_ = saved_.back();
  saved_.pop_back();
  return !fail_restore;
}

bool RecordingDrawing::Capabilities(TvDC dc, platform::DeviceMetrics* out) {
  if (!IsLive(dc)) return false;
  *out = capabilities;
  return true;
}

TvPen RecordingDrawing::MakePen(const platform::PenDescription& description) {
  const auto pen = reinterpret_cast<TvPen>(++last_object_);
  pens_[pen] = description;
  return pen;
}

bool RecordingDrawing::DescribePen(TvPen pen, platform::PenDescription* out) {
  const auto found = pens_.find(pen);
  if (found == pens_.end()) return false;
  *out = found->second;
  return true;
}

bool RecordingDrawing::DeletePen(TvPen pen) { return pens_.erase(pen) > 0; }

TvFont RecordingDrawing::MakeFont(const platform::FontDescription& description) {
  const auto font = reinterpret_cast<TvFont>(++last_object_);
  fonts_[font] = description;
  return font;
}

bool RecordingDrawing::DeleteFont(TvFont font) { return fonts_.erase(font) > 0; }

bool RecordingDrawing::SelectPen(TvDC dc, TvPen pen) {
  if (!IsLive(dc)) return false;
  if (pen == nullptr) return true;
  if (!DescribePen(pen, &state_.pen_description)) return false;
  state_.pen = pen;
  return true;
}

bool RecordingDrawing::SelectFont(TvDC dc, TvFont font) {
  if (!IsLive(dc)) return false;
  if (font == nullptr) return true;
  const auto found = fonts_.find(font);
  if (found == fonts_.end()) return false;
  state_.font = font;
  state_.height = std::abs(found->second.height);
  return true;
}

TvPen RecordingDrawing::SelectedPen(TvDC dc) { return IsLive(dc) ? state_.pen : nullptr; }
TvFont RecordingDrawing::SelectedFont(TvDC dc) { return IsLive(dc) ? state_.font : nullptr; }

bool RecordingDrawing::SetTextColour(TvDC dc, TvColour colour) {
  state_.text_colour = colour;
  return IsLive(dc);
}

bool RecordingDrawing::SetOpaqueBackground(TvDC dc, bool opaque) {
  state_.opaque = opaque;
  return IsLive(dc);
}

bool RecordingDrawing::SetBackgroundColour(TvDC dc, TvColour colour) {
  state_.background = colour;
  return IsLive(dc);
}

bool RecordingDrawing::Metrics(TvDC dc, platform::TextMetrics* out) {
  *out = {};
  if (!IsLive(dc)) return false;
  *out = {state_.height, state_.height * 3 / 4, state_.height / 4, state_.height / 2};
  return true;
}

TvSize RecordingDrawing::Extent(TvDC dc, std::string_view text) {
  if (!IsLive(dc)) return {};
  return {static_cast<int32_t>(text.size()) * (state_.height / 2), state_.height};
}

bool RecordingDrawing::Lines(TvDC dc, const platform::LineSegment* segments, size_t count) {
  if (!IsLive(dc)) return false;
  for (size_t i = 0; i < count; ++i) {
    lines.push_back({segments[i].from, segments[i].to, state_.pen_description, state_.clip});
  }
  return true;
}

bool RecordingDrawing::Polyline(TvDC dc, const TvPoint* points, size_t count) {
  if (!IsLive(dc)) return false;
  polylines.push_back({{points, points + count}, state_.pen_description, state_.clip});
  return true;
}

bool RecordingDrawing::FillRectangle(TvDC dc, const TvRect& rect, TvColour colour) {
  if (!IsLive(dc)) return false;
  fills.push_back({{{rect.left, rect.top}, {rect.right, rect.bottom}}, colour, true, state_.clip});
  return true;
}

bool RecordingDrawing::FillPolygon(TvDC dc, const TvPoint* points, size_t count, TvColour colour) {
  if (!IsLive(dc)) return false;
  fills.push_back({{points, points + count}, colour, false, state_.clip});
  return true;
}

bool RecordingDrawing::Image(TvDC dc, const TvRect& rect, const TvColour* pixels) {
  if (!IsLive(dc)) return false;
  images.push_back({rect, {pixels, pixels + (rect.right - rect.left) * (rect.bottom - rect.top)}});
  return true;
}

DrawnText RecordingDrawing::Drawn(int32_t x, int32_t y, std::string_view text) const {
  DrawnText drawn = {{x, y}, std::string(text), state_.font, state_.text_colour, {}, {}, {}};
  if (state_.opaque) drawn.background = state_.background;
  drawn.clip = state_.clip;
  return drawn;
}

bool RecordingDrawing::Text(TvDC dc, int32_t x, int32_t y, std::string_view text) {
  if (!IsLive(dc)) return false;
  texts.push_back(Drawn(x, y, text));
  return true;
}

bool RecordingDrawing::TextWithin(TvDC dc, const TvRect& rect, platform::TextAlign align,
                                  std::string_view text) {
  if (!IsLive(dc)) return false;
  const int32_t x = platform::AlignedLeft(rect, align, Extent(dc, text).width);
  texts.push_back(Drawn(x, rect.top, text));
  texts.back().within = rect;
  return true;
}

bool RecordingDrawing::Clip(TvDC dc, const TvRect& rect) {
  if (!IsLive(dc)) return false;
  TvRect inside = rect;
  if (state_.clip) {
    inside = {std::max(rect.left, state_.clip->left), std::max(rect.top, state_.clip->top),
              std::min(rect.right, state_.clip->right), std::min(rect.bottom, state_.clip->bottom)};
  }
  state_.clip = inside;
  return true;
}

}  // namespace tervalon::testing
