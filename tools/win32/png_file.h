// PNG files of bitmaps.

#ifndef TOOLS_WIN32_PNG_FILE_H_
#define TOOLS_WIN32_PNG_FILE_H_

#include <cstdint>
#include <ostream>

namespace tervalon::tools {

struct BitmapPixels {
  const uint8_t* bytes;  // blue, green, red and one more for each pixel, the lowest row first
  int32_t width;
  int32_t height;
  uint32_t per_metre;  // how many of them
};

// False when the file could not be written whole.
bool WritePng(std::ostream& stream, const BitmapPixels& pixels);

}  // namespace tervalon::tools

#endif  // TOOLS_WIN32_PNG_FILE_H_
