// Drawing over the platform's own device contexts: the same calls paint a screen, a printer or a
// bitmap, and record into a metafile. An enhanced metafile is measured on the device that it was
// made for; the older kind, which answers no questions, on the screen.

#include "platform/drawing.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "platform/lock.h"

namespace tervalon::platform {
namespace {

static_assert(sizeof(TvPoint) == sizeof(POINT) && sizeof(TvSize) == sizeof(SIZE) &&
              sizeof(TvRect) == sizeof(RECT) && sizeof(TvColour) == sizeof(COLORREF));
static_assert(kPenDash == PS_DASH && kPenDot == PS_DOT && kPenDashDot == PS_DASHDOT &&
              kPenDashDotDot == PS_DASHDOTDOT && kPenNull == PS_NULL);

constexpr int32_t kFarthest = 1 << 26;  // what the platform draws
constexpr int32_t kFarthestInOldMetafile = std::numeric_limits<int16_t>::max();
constexpr size_t kPointsAtOnce = 8000;  // fits the records of an old metafile
constexpr int32_t kMostPenWidth = 10000;
constexpr int32_t kMostFontHeight = 10000;

bool IsPen(HGDIOBJ object) {
  const DWORD type = GetObjectType(object);
  return type == OBJ_PEN || type == OBJ_EXTPEN;
}
bool IsFont(HGDIOBJ object) { return GetObjectType(object) == OBJ_FONT; }
bool IsOldMetafile(HDC dc) { return GetObjectType(dc) == OBJ_METADC; }

// A text is UTF-8, or else of the system's code page, as those of older systems are.
std::wstring Wide(std::string_view text) {
  constexpr size_t kLongest = 8192;  // more than any device is wide
  constexpr size_t kMostBytes = 4 * kLongest;
  const auto bytes = static_cast<int>(std::min(text.size(), kMostBytes));
  std::wstring wide(static_cast<size_t>(bytes), 0);
  const auto convert = [&](UINT code_page, DWORD flags) {
    return MultiByteToWideChar(code_page, flags, text.data(), bytes, wide.data(), bytes);
  };
  int length = convert(CP_UTF8, text.size() <= kMostBytes ? MB_ERR_INVALID_CHARS : 0);
  if (length == 0) length = convert(CP_ACP, 0);
  wide.resize(std::min(static_cast<size_t>(length), kLongest));
  return wide;
}

constinit Mutex selections_lock;  // the service is never destroyed, this is

class Win32Drawing : public Drawing {
 public:
  bool IsLive(TvDC dc) override {
    const DWORD type = GetObjectType(dc);
    return type == OBJ_DC || type == OBJ_MEMDC || type == OBJ_METADC || type == OBJ_ENHMETADC;
  }

  bool Save(TvDC dc) override {
    if (!IsLive(dc)) return false;
    if (IsOldMetafile(dc)) {
      std::vector<Selection>& saved = Selections(dc);
      saved.push_back(saved.empty() ? Selection{} : saved.back());
    }
    if (SaveDC(dc) != 0) return true;
    ForgetSelection(dc);
    return false;
  }

  bool Restore(TvDC dc) override {
    ForgetSelection(dc);
    return IsLive(dc) && RestoreDC(dc, -1) != FALSE;
  }

  bool Capabilities(TvDC dc, DeviceMetrics* out) override {
    *out = {};
    if (!IsLive(dc)) return false;
    const Ruler ruler = RulerOf(dc);
    *out = {GetDeviceCaps(ruler.dc(), LOGPIXELSX), GetDeviceCaps(ruler.dc(), LOGPIXELSY),
            GetDeviceCaps(ruler.dc(), HORZRES), GetDeviceCaps(ruler.dc(), VERTRES)};
    BITMAP bitmap = {};
    if (GetObjectType(dc) == OBJ_MEMDC &&
        GetObjectA(GetCurrentObject(dc, OBJ_BITMAP), sizeof(bitmap), &bitmap) != 0) {
      out->width = bitmap.bmWidth;
      out->height = bitmap.bmHeight;
    }
    return out->pixels_per_inch_x > 0 && out->pixels_per_inch_y > 0;
  }

  // The platform draws a simple pen that is broken and wide as a solid one.
  TvPen MakePen(const PenDescription& description) override {
    const auto& [style, width, colour] = description;
    if (style < kPenSolid || style > kPenNull || width < 0 || width > kMostPenWidth) return nullptr;
    if (width <= 1 || style == kPenSolid || style == kPenNull) {
      return CreatePen(style, width, colour);
    }
    const LOGBRUSH brush = {BS_SOLID, colour, 0};
    const auto kind = PS_GEOMETRIC | PS_ENDCAP_FLAT | PS_JOIN_ROUND | static_cast<DWORD>(style);
    return ExtCreatePen(kind, static_cast<DWORD>(width), &brush, 0, nullptr);
  }

  bool DescribePen(TvPen pen, PenDescription* out) override {
    LOGPEN simple = {};
    EXTLOGPEN extended[2] = {};  // with room for the lengths of a style of its own
    if (GetObjectType(pen) == OBJ_PEN && GetObjectA(pen, sizeof(simple), &simple) != 0) {
      *out = {static_cast<int32_t>(simple.lopnStyle), simple.lopnWidth.x, simple.lopnColor};
    } else if (GetObjectType(pen) == OBJ_EXTPEN &&
               GetObjectA(pen, 0, nullptr) <= static_cast<int>(sizeof(extended)) &&
               GetObjectA(pen, sizeof(extended), extended) != 0) {
      *out = {static_cast<int32_t>(extended->elpPenStyle & PS_STYLE_MASK),
              static_cast<int32_t>(extended->elpWidth), extended->elpColor};
    } else {
      return false;
    }
    if (out->style > kPenNull) out->style = kPenSolid;
    return true;
  }

  bool DeletePen(TvPen pen) override { return IsPen(pen) && DeleteObject(pen) != FALSE; }

  TvFont MakeFont(const FontDescription& description) override {
    if (description.height < -kMostFontHeight || description.height > kMostFontHeight) {
      return nullptr;
    }
    return CreateFontW(description.height, 0, 0, 0, description.weight, FALSE, FALSE, FALSE,
                       DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS, DEFAULT_QUALITY,
                       DEFAULT_PITCH | FF_SWISS, Wide(description.face).c_str());
  }
  bool DeleteFont(TvFont font) override { return IsFont(font) && DeleteObject(font) != FALSE; }

  bool SelectPen(TvDC dc, TvPen pen) override {
    if (!IsLive(dc)) return false;
    if (pen == nullptr) return true;
    if (!IsPen(pen) || !Select(dc, pen)) return false;
    if (Selection* selection = CurrentSelection(dc)) selection->pen = pen;
    return true;
  }
  bool SelectFont(TvDC dc, TvFont font) override {
    if (!IsLive(dc)) return false;
    if (font == nullptr) return true;
    if (!IsFont(font) || !Select(dc, font)) return false;
    if (Selection* selection = CurrentSelection(dc)) selection->font = font;
    return true;
  }

  TvPen SelectedPen(TvDC dc) override {
    if (!IsLive(dc)) return nullptr;
    if (!IsOldMetafile(dc)) return static_cast<TvPen>(GetCurrentObject(dc, OBJ_PEN));
    const Selection* selection = CurrentSelection(dc);
    return selection != nullptr ? selection->pen : nullptr;
  }
  TvFont SelectedFont(TvDC dc) override {
    if (!IsLive(dc)) return nullptr;
    if (!IsOldMetafile(dc)) return static_cast<TvFont>(GetCurrentObject(dc, OBJ_FONT));
    const Selection* selection = CurrentSelection(dc);
    return selection != nullptr ? selection->font : nullptr;
  }

  bool SetTextColour(TvDC dc, TvColour colour) override {
    return IsLive(dc) && SetTextColor(dc, colour) != CLR_INVALID;
  }
  bool SetOpaqueBackground(TvDC dc, bool opaque) override {
    return IsLive(dc) && SetBkMode(dc, opaque ? OPAQUE : TRANSPARENT) != 0;
  }
  bool SetBackgroundColour(TvDC dc, TvColour colour) override {
    return IsLive(dc) && SetBkColor(dc, colour) != CLR_INVALID;
  }
  TvColour WindowColour() override { return GetSysColor(COLOR_WINDOW); }

  bool Metrics(TvDC dc, TextMetrics* out) override {
    *out = {};
    if (!IsLive(dc)) return false;
    TEXTMETRICA metrics = {};
    const Ruler ruler = RulerOf(dc);
    if (!GetTextMetricsA(ruler.dc(), &metrics)) return false;
    *out = {metrics.tmHeight, metrics.tmAscent, metrics.tmInternalLeading, metrics.tmAveCharWidth};
    return true;
  }

  TvSize Extent(TvDC dc, std::string_view text) override {
    if (!IsLive(dc)) return {};
    SIZE size = {};
    const Ruler ruler = RulerOf(dc);
    const std::wstring wide = Wide(text);
    const auto length = static_cast<int>(wide.size());
    if (!GetTextExtentPoint32W(ruler.dc(), wide.c_str(), length, &size)) return {};
    return {size.cx, size.cy};
  }

  bool Lines(TvDC dc, const LineSegment* lines, size_t count) override {
    if (!IsLive(dc)) return false;
    bool drawn = true;
    for (size_t i = 0; i < count; ++i) {
      const POINT from = Reachable(dc, lines[i].from);
      const POINT to = Reachable(dc, lines[i].to);
      drawn = MoveToEx(dc, from.x, from.y, nullptr) && LineTo(dc, to.x, to.y) && drawn;
    }
    return drawn;
  }

  bool Polyline(TvDC dc, const TvPoint* points, size_t count) override {
    if (!IsLive(dc)) return false;
    if (count == 0) return true;
    std::vector<POINT> reachable = AllReachable(dc, points, count);
    // The platform leaves out the last pixel of a thin line.
    PenDescription pen;
    if (!DescribePen(SelectedPen(dc), &pen) || pen.width <= 1) {
      reachable.push_back({reachable.back().x + 1, reachable.back().y});
    }
    bool drawn = true;
    for (size_t first = 0; first + 1 < reachable.size(); first += kPointsAtOnce - 1) {
      const size_t points_left = std::min(kPointsAtOnce, reachable.size() - first);
      drawn = ::Polyline(dc, &reachable[first], static_cast<int>(points_left)) && drawn;
    }
    return drawn;
  }

  bool FillRectangle(TvDC dc, const TvRect& rect, TvColour colour) override {
    if (!IsLive(dc)) return false;
    const RECT reachable = Reachable(dc, rect);
    const HBRUSH brush = CreateSolidBrush(colour);
    const bool filled = brush != nullptr && FillRect(dc, &reachable, brush) != 0;
    DeleteObject(brush);
    return filled;
  }

  bool FillPolygon(TvDC dc, const TvPoint* points, size_t count, TvColour colour) override {
    if (!IsLive(dc)) return false;
    if (count < 3) return true;
    const std::vector<POINT> reachable = AllReachable(dc, points, count);
    const HBRUSH brush = CreateSolidBrush(colour);
    if (brush == nullptr) return false;
    bool filled = SaveDC(dc) != 0;
    if (filled) {
      SelectObject(dc, GetStockObject(NULL_PEN));
      SelectObject(dc, brush);
      SetPolyFillMode(dc, WINDING);
      filled = Polygon(dc, reachable.data(), static_cast<int>(reachable.size())) != FALSE;
      RestoreDC(dc, -1);
    }
    DeleteObject(brush);
    return filled;
  }

  bool Image(TvDC dc, const TvRect& rect, const TvColour* pixels) override {
    if (!IsLive(dc)) return false;
    const int32_t width = rect.right - rect.left;
    const int32_t height = rect.bottom - rect.top;
    if (width <= 0 || height <= 0) return true;
    std::vector<uint32_t> words(static_cast<size_t>(width) * static_cast<size_t>(height));
    std::transform(pixels, pixels + words.size(), words.begin(), [](TvColour colour) {
      return RGB(GetBValue(colour), GetGValue(colour), GetRValue(colour));
    });
    BITMAPINFO info = {};
    info.bmiHeader = {sizeof(info.bmiHeader), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    return StretchDIBits(dc, rect.left, rect.top, width, height, 0, 0, width, height, words.data(),
                         &info, DIB_RGB_COLORS, SRCCOPY) != 0;
  }

  bool Text(TvDC dc, int32_t x, int32_t y, std::string_view text) override {
    return IsLive(dc) && Write(dc, {x, y}, nullptr, text);
  }

  bool TextWithin(TvDC dc, const TvRect& rect, TextAlign align, std::string_view text) override {
    if (!IsLive(dc)) return false;
    const TvSize size = Extent(dc, text);
    const TvPoint at = {AlignedLeft(rect, align, size.width), rect.top};
    // Some letters reach a little beyond their place, which is no reason to cut them.
    const bool fits = size.width <= int64_t{rect.right} - rect.left &&
                      size.height <= int64_t{rect.bottom} - rect.top;
    const RECT reachable = Reachable(dc, rect);
    return Write(dc, at, fits ? nullptr : &reachable, text);
  }

  bool Clip(TvDC dc, const TvRect& rect) override {
    if (!IsLive(dc)) return false;
    const RECT reachable = Reachable(dc, rect);
    return IntersectClipRect(dc, reachable.left, reachable.top, reachable.right,
                             reachable.bottom) != ERROR;
  }

  void OnDeviceGone(void (*)(TvDC dc)) override {}

 private:
  // What is selected in an old metafile since it was saved.
  struct Selection {
    TvPen pen = nullptr;
    TvFont font = nullptr;
  };

  // Where texts for a device context are measured: there, or for an old metafile on the screen in
  // the font that the metafile has selected.
  class Ruler {
   public:
    Ruler(HDC dc, TvFont font)
        : screen_(IsOldMetafile(dc) ? CreateCompatibleDC(nullptr) : nullptr),
          dc_(IsOldMetafile(dc) ? screen_ : dc) {
      if (screen_ != nullptr && font != nullptr) SelectObject(screen_, font);
    }
    ~Ruler() {
      if (screen_ != nullptr) DeleteDC(screen_);
    }
    Ruler(const Ruler&) = delete;
    Ruler& operator=(const Ruler&) = delete;

    HDC dc() const { return dc_; }

   private:
    const HDC screen_;
    const HDC dc_;
  };
  Ruler RulerOf(HDC dc) { return {dc, IsOldMetafile(dc) ? SelectedFont(dc) : nullptr}; }

  static bool Select(HDC dc, HGDIOBJ object) {
    const HGDIOBJ previous = SelectObject(dc, object);
    return previous != nullptr && previous != HGDI_ERROR;
  }

  // How far it is from each character to the next, as measured; nothing when it cannot be. Without
  // these the platform may set a text wider than it says: by the widths of smoothed or hinted
  // forms.
  std::vector<INT> Advances(HDC dc, const std::wstring& text) {
    std::vector<INT> advances(text.size());
    SIZE size = {};
    const Ruler ruler = RulerOf(dc);
    if (advances.empty() ||
        !GetTextExtentExPointW(ruler.dc(), text.c_str(), static_cast<int>(text.size()), 0, nullptr,
                               advances.data(), &size)) {
      return {};
    }
    std::adjacent_difference(advances.begin(), advances.end(), advances.begin());
    return advances;
  }

  // Cut off at the edges of `within`, unless it is null.
  bool Write(HDC dc, TvPoint at, const RECT* within, std::string_view text) {
    constexpr UINT kFromUpperLeft = TA_LEFT | TA_TOP | TA_NOUPDATECP;
    if (IsOldMetafile(dc) || GetTextAlign(dc) != kFromUpperLeft) SetTextAlign(dc, kFromUpperLeft);
    const POINT reachable = Reachable(dc, at);
    const std::wstring wide = Wide(text);
    const std::vector<INT> advances = Advances(dc, wide);
    return ExtTextOutW(dc, reachable.x, reachable.y, within != nullptr ? ETO_CLIPPED : 0, within,
                       wide.c_str(), static_cast<UINT>(wide.size()),
                       advances.empty() ? nullptr : advances.data()) != FALSE;
  }

  static POINT Within(int32_t farthest, const TvPoint& point) {
    return {std::clamp(point.x, -farthest, farthest), std::clamp(point.y, -farthest, farthest)};
  }
  static int32_t Farthest(HDC dc) { return IsOldMetafile(dc) ? kFarthestInOldMetafile : kFarthest; }
  static POINT Reachable(HDC dc, const TvPoint& point) { return Within(Farthest(dc), point); }
  static RECT Reachable(HDC dc, const TvRect& rect) {
    const POINT first = Reachable(dc, TvPoint{rect.left, rect.top});
    const POINT last = Reachable(dc, TvPoint{rect.right, rect.bottom});
    return {first.x, first.y, last.x, last.y};
  }
  static std::vector<POINT> AllReachable(HDC dc, const TvPoint* points, size_t count) {
    const int32_t farthest = Farthest(dc);
    std::vector<POINT> result;
    result.reserve(count + 1);
    std::transform(points, points + count, std::back_inserter(result),
                   [=](const TvPoint& point) { return Within(farthest, point); });
    return result;
  }

  // A device context's own are its user's, without the lock.
  std::vector<Selection>& Selections(TvDC dc) {
    const Held held(&selections_lock);
    return selections_[dc];
  }
  Selection* CurrentSelection(TvDC dc) {
    const Held held(&selections_lock);
    const auto found = selections_.find(dc);
    return found != selections_.end() ? &found->second.back() : nullptr;
  }
  void ForgetSelection(TvDC dc) {
    const Held held(&selections_lock);
    const auto found = selections_.find(dc);
    if (found == selections_.end()) return;
    found->second.pop_back();
    if (found->second.empty()) selections_.erase(found);
  }

  std::map<TvDC, std::vector<Selection>> selections_;  // of old metafiles, while saved
};

}  // namespace

TERVALON_DEFINE_SERVICE(Drawing, Win32Drawing)

}  // namespace tervalon::platform
