#include "plot/magnify_brackets.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "plot/label_text.h"
#include "plot/magnification.h"
#include "plot/peak_labels.h"
#include "plot/resources.h"
#include "tervalon/drawing.h"
#include "tervalon/magnification.h"

namespace tervalon::plot {
namespace {

int32_t Moved(int32_t position, int64_t by) { return Saturate(position + by); }

// The row at `value` with its data rectangle, and the device x. -1 out of view.
int32_t PlaceEnd(int32_t handle, float value, int32_t* x, TvRect* data) {
  TvPoint point = {};
  const int32_t row = AxsGetAxisCoord(handle, value, 0.0, &point);
  if (row < 0 || AxsGetArea(handle, row, data, 0) == 0) return -1;
  *x = point.x;
  return row;
}

}  // namespace

TvRect Bracket::Box() const {
  return {left_x, Moved(left_data.top, -int64_t{height}), Moved(right_x, 2), left_data.top};
}

std::optional<Bracket> FindBracket(int32_t handle, const AxsSystem& axes, const AxsMagnify& range,
                                   int32_t text_height) {
  if (range.factor == 1.0F || range.factor <= 0.0F) return std::nullopt;
  Bracket bracket;
  const float from = Contains(range, axes.x.low) ? axes.x.low : range.from;
  const float to = Contains(range, axes.x.high) ? axes.x.high : range.to;
  bracket.first_row = PlaceEnd(handle, from, &bracket.left_x, &bracket.left_data);
  bracket.last_row = PlaceEnd(handle, to, &bracket.right_x, &bracket.right_data);
  if (bracket.first_row < 0 || bracket.last_row < 0) return std::nullopt;
  bracket.height = text_height;
  bracket.end_width = text_height / 4;
  return bracket;
}

}  // namespace tervalon::plot

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::LineSegment;
using platform::TheDrawing;

bool Holds(const TvRect& box, int32_t x, int32_t y) {
  return x >= box.left && x <= box.right && y >= box.top && y <= box.bottom;
}

void Activate(int32_t handle, Axes* axes, int32_t index, int32_t text_height, TvPoint point,
              TvRect* strip) {
  for (int32_t i = 0; i < AXS_MAX_MAGNIFY_RANGES; ++i) {
    const AxsMagnify& range = axes->system.magnify[i];
    if (range.factor == 1.0F || range.factor <= 0.0F) continue;
    const std::optional<Bracket> bracket = FindBracket(handle, axes->system, range, text_height);
    const bool hit = bracket && Holds(bracket->Box(), point.x, point.y);
    if (!hit && i != index) continue;
    axes->system.active_magnify = i;
    if (strip != nullptr && bracket) {
      const TvRect box = bracket->Box();
      *strip = {bracket->right_data.left, box.top, bracket->right_data.right, box.bottom};
    }
    return;
  }
}

// The part of a bracket that lies in one row, with its factor.
struct BracketRow {
  int32_t row = 0;
  TvRect data = {};
  TvRect span = {};  // from end to end
  bool has_left = false;
  bool has_right = false;
  int32_t end_width = 0;
  std::string factor;
  TvSize factor_size = {};
  std::optional<TvRect> text;  // where the factor has room
};

// Finds places for the factors of brackets, which others may overlap.
class FactorPlacer {
 public:
  explicit FactorPlacer(std::vector<BracketRow>* rows) : rows_(*rows) {}

  void PlaceAll() {
    for (BracketRow& own : rows_) own.text = PlaceFor(own);
  }

 private:
  // In the widest part of the bracket that no other covers, else behind its end or before its
  // start, else below it.
  std::optional<TvRect> PlaceFor(const BracketRow& own) const {
    const int64_t gap = own.end_width;
    const int64_t width = own.factor_size.width;
    const auto [from, to] = WidestFreePart(own);
    if (to - from >= width + 4 * gap) return TextAt(own, from + (to - from - width + 1) / 2);
    for (const int64_t left : {own.span.right - 1 + gap, own.span.left - gap - width}) {
      const TvRect text = TextAt(own, left);
      const bool is_in_row = text.left >= own.data.left && text.right <= own.data.right;
      if (is_in_row && IsFree(own, text)) return text;
    }
    return Below(own);
  }

  std::pair<int64_t, int64_t> WidestFreePart(const BracketRow& own) const {
    const int64_t end = int64_t{own.span.right} - 1;
    std::pair<int64_t, int64_t> widest = {end, end};
    for (int64_t from = own.span.left; from < end;) {
      int64_t to = end;
      int64_t next = end;
      for (const BracketRow& other : rows_) {
        const int64_t other_end = int64_t{other.span.right} - 1;
        if (&other == &own || other.row != own.row || other_end <= from) continue;
        if (other.span.left < to) {
          to = std::max<int64_t>(other.span.left, from);
          next = other_end;
        }
      }
      if (to - from > widest.second - widest.first) widest = {from, to};
      from = next;
    }
    return widest;
  }

  static TvRect TextAt(const BracketRow& own, int64_t left) {
    return {Saturate(left), own.span.top, Saturate(left + own.factor_size.width), own.data.top};
  }

  std::optional<TvRect> Below(const BracketRow& own) const {
    const int64_t last = int64_t{own.data.right} - own.factor_size.width;
    int64_t left =
        std::clamp<int64_t>(own.span.left, int64_t{own.data.left} + own.end_width,
                            std::max<int64_t>(last, int64_t{own.data.left} + own.end_width));
    for (size_t tries = 0; tries <= rows_.size() && left <= last; ++tries) {
      TvRect text = TextAt(own, left);
      text.top = Moved(own.data.top, 1);
      text.bottom = Moved(text.top, own.factor_size.height);
      if (IsFree(own, text)) return text;
      left = int64_t{text.right} + own.end_width;
    }
    return std::nullopt;
  }

  bool IsFree(const BracketRow& own, const TvRect& text) const {
    return std::ranges::none_of(rows_, [&](const BracketRow& other) {
      if (&other == &own || other.row != own.row) return false;
      return Overlap(text, other.span) || (other.text && Overlap(text, *other.text));
    });
  }

  static bool Overlap(const TvRect& a, const TvRect& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
  }

  std::vector<BracketRow>& rows_;
};

// The brackets of all live ranges in every row where they are in view.
std::vector<BracketRow> FindBracketRows(TvDC dc, int32_t handle, const AxsSystem& axes) {
  std::vector<BracketRow> rows;
  platform::TextMetrics font;
  if ((axes.flags & AXS_FLAG_MAGNIFIED) == 0 || !TheDrawing().Metrics(dc, &font)) return rows;
  for (const AxsMagnify& range : axes.magnify) {
    const std::optional<Bracket> bracket = FindBracket(handle, axes, range, font.height);
    if (!bracket || range.from == range.to) continue;
    for (int32_t row = bracket->first_row; row <= bracket->last_row; ++row) {
      BracketRow part;
      part.row = row;
      part.end_width = bracket->end_width;
      AxsGetArea(handle, row, &part.data, 0);
      part.has_left = row == bracket->first_row;
      part.has_right = row == bracket->last_row;
      part.span = {part.has_left ? bracket->left_x : part.data.left,
                   Moved(part.data.top, -int64_t{bracket->height}),
                   Moved(part.has_right ? bracket->right_x : part.data.right, 1), part.data.top};
      part.factor = FactorLabel(range.factor);
      part.factor_size = TheDrawing().Extent(dc, part.factor);
      rows.push_back(part);
    }
  }
  FactorPlacer(&rows).PlaceAll();
  return rows;
}

// The ends, and a line between them that the factor interrupts.
std::vector<LineSegment> LinesOf(const BracketRow& row) {
  const int32_t left = row.span.left;
  const int32_t right = Moved(row.span.right, -1);
  const int32_t top = row.span.top;
  const int32_t middle = Moved(top, (int64_t{row.data.top} - top) / 2);
  std::vector<LineSegment> lines;
  if (row.has_left) lines.push_back({{left, top}, {left, row.data.top}});
  if (row.has_right) lines.push_back({{right, top}, {right, row.data.top}});
  if (row.text && row.text->top == top && row.text->left > left && row.text->right < right) {
    lines.push_back({{left, middle}, {Moved(row.text->left, -row.end_width), middle}});
    lines.push_back({{Moved(row.text->right, row.end_width), middle}, {right, middle}});
  } else {
    lines.push_back({{left, middle}, {right, middle}});
  }
  return lines;
}

void DrawRanges(TvDC dc, int32_t handle, const AxsSystem& axes, const AxsPlotBlock& plot) {
  platform::Drawing& drawing = TheDrawing();
  drawing.SelectPen(dc, ResourcesFor(dc).tick_pen);
  SelectForLabels(dc, plot);
  for (const BracketRow& row : FindBracketRows(dc, handle, axes)) {
    const std::vector<LineSegment> lines = LinesOf(row);
    drawing.Lines(dc, lines.data(), lines.size());
    if (row.text) drawing.Text(dc, row.text->left, row.text->top, row.factor);
  }
}

}  // namespace

namespace tervalon::plot {

std::vector<TvRect> BracketBoxes(TvDC dc, int32_t handle, const AxsSystem& axes) {
  std::vector<TvRect> boxes;
  for (const BracketRow& row : FindBracketRows(dc, handle, axes)) {
    boxes.push_back(row.span);
    if (row.text) boxes.push_back(*row.text);
  }
  return boxes;
}

}  // namespace tervalon::plot

extern "C" int32_t TERVALON_CALL AxsSetActiveMagnifyRange(TvDC dc, int32_t handle, int32_t index,
                                                          int32_t x, int32_t y, TvRect* strip) {
  Axes* axes = FindAxes(handle);
  if (axes == nullptr || (axes->system.flags & AXS_FLAG_MAGNIFIED) == 0) return 0;
  return Guarded(0, [&] {
    const int32_t previous = axes->system.active_magnify;
    platform::SavedState state(dc);
    platform::TextMetrics font;
    if (!state.saved() || !TheDrawing().SelectFont(dc, ResourcesFor(dc).axis_font) ||
        !TheDrawing().Metrics(dc, &font)) {
      return 0;
    }
    Activate(handle, axes, index, font.height, {x, y}, strip);
    return previous;
  });
}

extern "C" int32_t TERVALON_CALL AxsAnnotateMagnify(TvDC dc, int32_t handle,
                                                    const AxsPlotBlock* plot) {
  const Axes* axes = FindAxes(handle);
  if (axes == nullptr || plot == nullptr) return -1;
  return Guarded(-1, [&] {
    platform::SavedState state(dc);
    if (!state.saved()) return -1;
    DrawRanges(dc, handle, axes->system, *plot);
    return state.Restore() ? 0 : -1;
  });
}
