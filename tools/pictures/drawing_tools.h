// Pens and fonts of the platform.

#ifndef TOOLS_PICTURES_DRAWING_TOOLS_H_
#define TOOLS_PICTURES_DRAWING_TOOLS_H_

#include <tervalon/types.h>

#include <cstdint>
#include <vector>

namespace tervalon::tools {

// Makes them, and deletes them in the end: after the device context is done with.
class DrawingTools {
 public:
  DrawingTools() = default;
  ~DrawingTools();
  DrawingTools(const DrawingTools&) = delete;
  DrawingTools& operator=(const DrawingTools&) = delete;

  // Dashes: the style of a pen, 0 solid. Throws a Failure.
  TvPen MakePen(int32_t dashes, int32_t width, TvColour colour);
  // Of characters that high, in pixels. Throws a Failure.
  TvFont MakeFont(int32_t height, bool bold);

 private:
  std::vector<TvPen> pens_;
  std::vector<TvFont> fonts_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_DRAWING_TOOLS_H_
