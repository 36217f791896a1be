#include "viewer/win32/page.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "tools/pictures/plot_drawing.h"
#include "tools/print/failure.h"
#include "viewer/win32/text.h"

namespace tervalon::viewer {
namespace {

constexpr double kMillimetresPerInch = 25.4;
constexpr double kPointsPerInch = 72;
constexpr double kMargin = 15;  // millimetres
constexpr double kHead = 8;     // the line above the plot takes
constexpr double kPoints = 9;   // of text
constexpr const char* kTheme = "light";

void DrawHead(const Document& document, HDC dc, RECT place, double pixels_per_inch) {
  const auto height = static_cast<int>(std::lround(kPoints * pixels_per_inch / kPointsPerInch));
  const HFONT font = CreateFontW(-std::max(height, 4), 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE,
                                 DEFAULT_CHARSET, OUT_TT_PRECIS, CLIP_DEFAULT_PRECIS,
                                 DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, L"Arial");
  const HGDIOBJ before = SelectObject(dc, font);
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, RGB(0, 0, 0));
  constexpr UINT kFormat = DT_SINGLELINE | DT_TOP | DT_NOPREFIX | DT_PATH_ELLIPSIS;
  DrawTextW(dc, Wide(document.run()->path()).c_str(), -1, &place, kFormat);
  SelectObject(dc, before);
  DeleteObject(font);
}

}  // namespace

std::string DrawPlot(Document& document, HDC dc, const PictureSize& size) {
  try {
    tools::PlotPainter painter(dc, size, tools::ThemeOf(kTheme), kPoints);
    painter.Paint(document.chart()->PlanAnew(size, painter.measure(), document.Title()));
    return "";
  } catch (const tools::Failure& failure) {
    return failure.what();
  } catch (const std::bad_alloc&) {
    return "Out of memory";
  }
}

std::string DrawPage(Document& document, HDC dc, const Paper& paper, double pixels_per_inch) {
  const auto pixels = [&](double millimetres) {
    return static_cast<int>(std::lround(millimetres * pixels_per_inch / kMillimetresPerInch));
  };
  const RECT inner = {pixels(kMargin), pixels(kMargin), pixels(paper.width - kMargin),
                      pixels(paper.height - kMargin)};
  DrawHead(document, dc, inner, pixels_per_inch);
  POINT corner = {};
  OffsetViewportOrgEx(dc, inner.left, inner.top + pixels(kHead), &corner);
  const PictureSize size = {inner.right - inner.left, inner.bottom - inner.top - pixels(kHead),
                            std::max(static_cast<int>(std::lround(pixels_per_inch)), 1)};
  std::string failure = DrawPlot(document, dc, size);
  SetViewportOrgEx(dc, corner.x, corner.y, nullptr);
  return failure;
}

}  // namespace tervalon::viewer
