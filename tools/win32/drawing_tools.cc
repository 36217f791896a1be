#include "tools/pictures/drawing_tools.h"

#include <windows.h>

#include "tools/print/failure.h"

namespace tervalon::tools {

DrawingTools::~DrawingTools() {
  for (TvPen pen : pens_) {
    DeleteObject(pen);
  }
  for (TvFont font : fonts_) {
    DeleteObject(font);
  }
}

// Pens of some width are dashed only when they are geometric.
TvPen DrawingTools::MakePen(int32_t dashes, int32_t width, TvColour colour) {
  const LOGBRUSH brush = {BS_SOLID, colour, 0};
  const DWORD style = PS_GEOMETRIC | PS_ENDCAP_FLAT | PS_JOIN_MITER | static_cast<DWORD>(dashes);
  const TvPen pen = width > 1 && dashes != 0
                        ? ExtCreatePen(style, static_cast<DWORD>(width), &brush, 0, nullptr)
                        : CreatePen(dashes, width, colour);
  if (pen == nullptr) {
    throw Failure("a picture", "no pen can be made");
  }
  return pens_.emplace_back(pen);
}

TvFont DrawingTools::MakeFont(int32_t height, bool bold) {
  const TvFont font = CreateFontW(-height, 0, 0, 0, bold ? FW_BOLD : FW_NORMAL, FALSE, FALSE, FALSE,
                                  DEFAULT_CHARSET, OUT_TT_PRECIS, CLIP_DEFAULT_PRECIS,
                                  DEFAULT_QUALITY, DEFAULT_PITCH | FF_SWISS, L"Arial");
  if (font == nullptr) {
    throw Failure("a picture", "no font can be made");
  }
  return fonts_.emplace_back(font);
}

}  // namespace tervalon::tools
