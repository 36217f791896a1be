#include "tests/support/canvas.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <cairo.h>

#include "tervalon/drawing_devices.h"
#include "tests/support/temp_directory.h"
#endif

namespace tervalon::testing {
namespace {

// From the red, green and blue of a word with blue in its low byte.
TvColour FromWord(uint32_t word) {
  return (word >> 16 & 0xFF) | (word & 0xFF00) | (word & 0xFF) << 16;
}

}  // namespace

#if defined(_WIN32)

struct Canvas::Device {
  Device(int32_t width, int32_t height) {
    BITMAPINFO info = {};
    info.bmiHeader = {sizeof(info.bmiHeader), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* bits = nullptr;
    dc = CreateCompatibleDC(nullptr);
    bitmap = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    words = static_cast<uint32_t*>(bits);
    previous = SelectObject(dc, bitmap);
    PatBlt(dc, 0, 0, width, height, WHITENESS);
  }
  ~Device() {
    SelectObject(dc, previous);
    DeleteObject(bitmap);
    DeleteDC(dc);
  }

  void Read(std::vector<TvColour>* pixels) const {
    GdiFlush();
    std::transform(words, words + pixels->size(), pixels->begin(), FromWord);
  }

  HDC dc;
  HBITMAP bitmap;
  HGDIOBJ previous;
  uint32_t* words;
};

#else

struct Canvas::Device {
  Device(int32_t width, int32_t height) : dc(TvCreateImageDC(width, height, 96)) {}
  ~Device() { TvDeleteDC(dc); }

  // As the picture's file shows them.
  void Read(std::vector<TvColour>* pixels) const {
    const TempDirectory directory;
    const std::string path = directory.Path("canvas.png");
    ASSERT_EQ(TvSavePng(dc, path.c_str()), 1);
    std::vector<uint8_t> bytes = ReadFile(path);
    cairo_surface_t* image = cairo_image_surface_create_from_png_stream(ReadSome, &bytes);
    const int width = cairo_image_surface_get_width(image);
    ASSERT_EQ(static_cast<size_t>(width * cairo_image_surface_get_height(image)), pixels->size());
    const auto* row = cairo_image_surface_get_data(image);
    for (auto pixel = pixels->begin(); pixel != pixels->end(); pixel += width) {
      const auto* words = reinterpret_cast<const uint32_t*>(row);
      std::transform(words, words + width, pixel, FromWord);
      row += cairo_image_surface_get_stride(image);
    }
    cairo_surface_destroy(image);
  }

  static cairo_status_t ReadSome(void* closure, unsigned char* data, unsigned int length) {
    auto* bytes = static_cast<std::vector<uint8_t>*>(closure);
    if (bytes->size() < length) return CAIRO_STATUS_READ_ERROR;
    std::copy_n(bytes->begin(), length, data);
    bytes->erase(bytes->begin(), bytes->begin() + length);
    return CAIRO_STATUS_SUCCESS;
  }

  TvDC dc;
};

#endif

Canvas::Canvas(int32_t width, int32_t height)
    : width_(width),
      height_(height),
      device_(std::make_unique<Device>(width, height)),
      pixels_(static_cast<size_t>(width) * static_cast<size_t>(height), kWhite) {}

Canvas::~Canvas() = default;

TvDC Canvas::dc() const { return device_->dc; }

void Canvas::Look() { device_->Read(&pixels_); }

TvColour Canvas::At(int32_t x, int32_t y) const {
  return pixels_.at(static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x));
}

std::optional<TvRect> Canvas::Inked() const {
  TvRect around = {width_, height_, 0, 0};
  for (int32_t y = 0; y < height_; ++y) {
    for (int32_t x = 0; x < width_; ++x) {
      if (At(x, y) == kWhite) continue;
      around = {std::min(around.left, x), std::min(around.top, y), std::max(around.right, x + 1),
                std::max(around.bottom, y + 1)};
    }
  }
  if (around.right == 0) return std::nullopt;
  return around;
}

int64_t Canvas::InkedCount() const {
  return std::count_if(pixels_.begin(), pixels_.end(),
                       [](TvColour pixel) { return pixel != kWhite; });
}

}  // namespace tervalon::testing
