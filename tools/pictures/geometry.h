// Places in a picture, in pixels: the same on every system.

#ifndef TOOLS_PICTURES_GEOMETRY_H_
#define TOOLS_PICTURES_GEOMETRY_H_

#include <cstdint>

namespace tervalon::tools {

struct Place {
  int32_t x = 0;
  int32_t y = 0;
};

// Right and bottom are outside.
struct Box {
  int32_t left = 0;
  int32_t top = 0;
  int32_t right = 0;
  int32_t bottom = 0;

  int32_t width() const { return right - left; }
  int32_t height() const { return bottom - top; }
};

inline bool Overlap(const Box& a, const Box& b) {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_GEOMETRY_H_
