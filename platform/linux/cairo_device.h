// A device context over a Cairo surface: an image, or an SVG or PDF file.

#ifndef PLATFORM_LINUX_CAIRO_DEVICE_H_
#define PLATFORM_LINUX_CAIRO_DEVICE_H_

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/drawing.h"
#include "platform/file_change.h"
#include "platform/linux/cairo_font.h"

namespace tervalon::platform {

// A picture on its way to the disk. One that is not completed leaves nothing behind.
class PictureFile {
 public:
  // nullptr when no file can be written there.
  static std::unique_ptr<PictureFile> Create(const std::string& path);

  // Puts the file in its place. False when anything of it could not be written.
  bool Complete();

  // For Cairo's stream functions; the closure is the PictureFile.
  static cairo_status_t Write(void* closure, const unsigned char* data, unsigned int length);

 private:
  explicit PictureFile(const std::string& path) : replacement_(path) {}
  void Flush();

  Replacement replacement_;
  std::vector<unsigned char> buffer_;  // Cairo writes a few bytes at a time
  uint64_t written_ = 0;
  bool failed_ = false;
};

enum class DeviceKind { kImage, kSvg, kPdf };

// What is selected and set in a device context.
struct DeviceState {
  TvPen pen_handle = nullptr;
  PenDescription pen;
  TvFont font_handle = nullptr;
  std::shared_ptr<const CairoFont> font;
  TvColour text_colour = 0x000000;
  TvColour background_colour = 0xFFFFFF;
  bool opaque_background = true;
};

// User space is the device's pixels: (x, y) is the corner of a pixel, whose centre is half a pixel
// further.
class CairoDevice {
 public:
  // `path` is of no meaning for an image. nullptr when a size or the resolution is out of range,
  // the file cannot be written or memory runs out.
  static std::unique_ptr<CairoDevice> Create(DeviceKind kind, const std::string& path,
                                             const DeviceMetrics& capabilities);
  ~CairoDevice();
  CairoDevice(const CairoDevice&) = delete;
  CairoDevice& operator=(const CairoDevice&) = delete;

  // Ends drawing and completes the file.
  bool Finish();

  bool SavePng(const std::string& path);

  const DeviceMetrics& capabilities() const { return capabilities_; }

  void Save();
  bool Restore();
  void Clip(const TvRect& rect);
  DeviceState& state() { return state_; }

  void Lines(const LineSegment* lines, size_t count);
  void Polyline(const TvPoint* points, size_t count);
  void FillRectangle(const TvRect& rect, TvColour colour);
  void FillPolygon(const TvPoint* points, size_t count, TvColour colour);
  void Image(const TvRect& rect, const TvColour* pixels);
  void Text(int32_t x, int32_t y, std::string_view text);
  void TextWithin(const TvRect& rect, TextAlign align, std::string_view text);

 private:
  explicit CairoDevice(const DeviceMetrics& capabilities) : capabilities_(capabilities) {}

  void SetColour(TvColour colour);
  double PenWidth() const;
  double PenCentre() const;
  double DashUnit() const;

  DeviceMetrics capabilities_;
  std::unique_ptr<PictureFile> file_;  // outlives the surface, which writes to it
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cairo_ = nullptr;
  DeviceState state_;
  std::vector<DeviceState> saved_;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_CAIRO_DEVICE_H_
