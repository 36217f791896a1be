#include "plot/headers.h"

#include <algorithm>
#include <span>

#include "appsvc/export_guard.h"
#include "platform/drawing.h"
#include "platform/lock.h"
#include "plot/truncate.h"
#include "tervalon/drawing.h"

namespace tervalon::plot {
namespace {

// Of the page that is being drawn.
struct PageExclusions {
  ExclusionList headers;
  ExclusionList labels;
};
constinit platform::Mutex page_lock;
PageExclusions page;  // under page_lock

bool IsFree(const TvRect& rect) {
  const std::span<const TvRect> headers = page.headers.rects();
  return std::none_of(headers.begin(), headers.end(),
                      [&rect](const TvRect& header) { return Touch(rect, header); });
}

// Takes the room of a header, and keeps labels out of it. False when another header is there.
bool TakeRoom(const TvRect& rect, bool keeps_labels_out) {
  const platform::Held held(&page_lock);
  if (!IsFree(rect)) return false;
  page.headers.Add(rect);
  if (keeps_labels_out) page.labels.Add(rect);
  return true;
}

}  // namespace

ExclusionList LabelExclusions() {
  const platform::Held held(&page_lock);
  return page.labels;
}

}  // namespace tervalon::plot

using namespace tervalon;        // NOLINT(google-build-using-namespace)
using namespace tervalon::plot;  // NOLINT(google-build-using-namespace)

namespace {

using platform::TextAlign;
using platform::TheDrawing;

struct Header {
  int32_t axes;
  TvFont font;
  TvColour colour;
  TvColour background;
  int16_t flags;
  const char* text;
  int16_t offset;
  bool exclude;
};

TextAlign AlignOf(int16_t flags) {
  if ((flags & AXS_HEADER_RIGHT) != 0) return TextAlign::kRight;
  return (flags & AXS_HEADER_CENTRE) != 0 ? TextAlign::kCentre : TextAlign::kLeft;
}

// Centred headers are measured from 0, not from the left of the area.
TvRect RectOf(const TvRect& area, TextAlign align, TvSize extent) {
  int64_t left = area.left;
  int64_t right = int64_t{area.left} + extent.width;
  if (align == TextAlign::kRight) {
    right = area.right;
    left = right - extent.width;
  } else if (align == TextAlign::kCentre) {
    left = (int64_t{area.right} - area.left) / 2 - extent.width / 2;
    right = left + extent.width + 2;
  }
  return {Saturate(left), area.top, Saturate(right), Saturate(int64_t{area.top} + extent.height)};
}

int32_t Draw(TvDC dc, const Header& header) {
  platform::Drawing& drawing = TheDrawing();
  TvRect area = {};
  constexpr int32_t kWithoutBottom =
      AXS_AREA_WHOLE | AXS_AREA_KEEP_LEFT | AXS_AREA_KEEP_RIGHT | AXS_AREA_KEEP_TOP;
  if (header.text == nullptr || AxsGetArea(header.axes, 0, &area, kWithoutBottom) == 0) return 0;
  platform::SavedState state(dc);
  if (!state.saved()) return 0;
  drawing.SelectFont(dc, header.font);
  drawing.SetTextColour(dc, header.colour);
  drawing.SetBackgroundColour(dc, header.background);
  drawing.SetOpaqueBackground(dc, true);
  platform::TextMetrics font;
  if (!drawing.Metrics(dc, &font)) return 0;

  area.left = Saturate(int64_t{area.left} + font.internal_leading);
  area.right = Saturate(int64_t{area.right} - font.internal_leading);
  area.top = Saturate(int64_t{area.top} + font.internal_leading + header.offset);
  const TextAlign align = AlignOf(header.flags);
  const TvSize extent = drawing.Extent(dc, header.text);
  const TvRect rect = RectOf(area, align, extent);
  if (header.exclude && !TakeRoom(rect, header.offset > 0)) return -extent.height;
  drawing.TextWithin(dc, area, align, header.text);
  return extent.height;
}

}  // namespace

extern "C" int32_t TERVALON_CALL AxsDisplayHeader(TvDC dc, int32_t axes, TvFont font,
                                                  TvColour colour, int16_t flags, const char* text,
                                                  int16_t offset) {
  return AxsDisplayHeaderBkColour(dc, axes, font, colour, flags, text, offset,
                                  TheDrawing().WindowColour());
}

extern "C" int32_t TERVALON_CALL AxsDisplayHeaderBkColour(TvDC dc, int32_t axes, TvFont font,
                                                          TvColour colour, int16_t flags,
                                                          const char* text, int16_t offset,
                                                          TvColour background) {
  return Guarded(0, [&] {
    return Draw(dc, {axes, font, colour, background, flags, text, offset, false});
  });
}

extern "C" int32_t TERVALON_CALL AxsDisplayHeaderAndExclude(TvDC dc, int32_t axes, TvFont font,
                                                            TvColour colour, int16_t flags,
                                                            const char* text, int16_t offset) {
  const TvColour background = TheDrawing().WindowColour();
  return Guarded(0, [&] {
    return Draw(dc, {axes, font, colour, background, flags, text, offset, true});
  });
}

extern "C" void TERVALON_CALL AxsHdrExcludeRect(int32_t count, const TvRect* rects) {
  const platform::Held held(&page_lock);
  if (count < 1 || rects == nullptr) {
    page = {};
    return;
  }
  for (int32_t i = 0; i < std::min(count, AXS_MAX_HEADER_RECTS); ++i) page.headers.Add(rects[i]);
}

extern "C" int32_t TERVALON_CALL AxsCheckHeaderRect(const TvRect* rect) {
  if (rect == nullptr) return 0;
  const platform::Held held(&page_lock);
  return IsFree(*rect) ? 1 : 0;
}
