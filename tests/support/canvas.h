// A real device context to draw on and to look at: an image, on Windows a bitmap in memory.

#ifndef TESTS_SUPPORT_CANVAS_H_
#define TESTS_SUPPORT_CANVAS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "tervalon/types.h"

namespace tervalon::testing {

constexpr TvColour kWhite = 0xFFFFFF;

class Canvas {
 public:
  // White; of a screen's resolution.
  Canvas(int32_t width, int32_t height);
  ~Canvas();
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;

  TvDC dc() const;

  // Takes what is drawn by now; the calls below look at that.
  void Look();

  TvColour At(int32_t x, int32_t y) const;

  // The smallest rectangle around all pixels that are not white; none where all are.
  std::optional<TvRect> Inked() const;

  // The pixels that are not white.
  int64_t InkedCount() const;

 private:
  struct Device;

  int32_t width_;
  int32_t height_;
  std::unique_ptr<Device> device_;
  std::vector<TvColour> pixels_;
};

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_CANVAS_H_
