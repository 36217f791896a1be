#include "tools/pictures/drawing_tools.h"

#include <tervalon/drawing_devices.h>

#include "tools/print/failure.h"

namespace tervalon::tools {

DrawingTools::~DrawingTools() {
  for (TvPen pen : pens_) {
    TvDeleteObject(pen);
  }
  for (TvFont font : fonts_) {
    TvDeleteObject(font);
  }
}

TvPen DrawingTools::MakePen(int32_t dashes, int32_t width, TvColour colour) {
  const TvPen pen = TvCreatePen(dashes, width, colour);
  if (pen == nullptr) {
    throw Failure("a picture", "no pen can be made");
  }
  return pens_.emplace_back(pen);
}

TvFont DrawingTools::MakeFont(int32_t height, bool bold) {
  const TvFont font = TvCreateFont("Arial", -height, bold ? 700 : 400);
  if (font == nullptr) {
    throw Failure("a picture", "no font can be made");
  }
  return fonts_.emplace_back(font);
}

}  // namespace tervalon::tools
