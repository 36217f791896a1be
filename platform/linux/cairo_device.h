// A device context over Cairo: an image, a PDF file, an SVG file with outlines of texts, or what a
// caller draws on.

#ifndef PLATFORM_LINUX_CAIRO_DEVICE_H_
#define PLATFORM_LINUX_CAIRO_DEVICE_H_

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/device.h"
#include "platform/linux/picture_file.h"

namespace tervalon::platform {

enum class DeviceKind { kImage, kSvg, kSvgOutlines, kPdf, kCallers };

class CairoDevice : public Device {
 public:
  // `path` is of no meaning for an image; a kSvg is no CairoDevice. nullptr when a size or the
  // resolution is out of range, the file cannot be written or memory runs out.
  static std::unique_ptr<CairoDevice> Create(DeviceKind kind, const std::string& path,
                                             const DeviceMetrics& capabilities);
  // On what the caller draws on. The context is kept, and at the end as it was.
  static std::unique_ptr<CairoDevice> CreateOn(cairo_t* cairo, const DeviceMetrics& capabilities);
  ~CairoDevice() override;

  bool Finish() override;
  bool NextPage() override;
  bool SavePng(const std::string& path) override;

  void Save() override;
  bool Restore() override;
  void Clip(const TvRect& rect) override;
  void Lines(const LineSegment* lines, size_t count) override;
  void Polyline(const TvPoint* points, size_t count) override;
  void FillRectangle(const TvRect& rect, TvColour colour) override;
  void FillPolygon(const TvPoint* points, size_t count, TvColour colour) override;
  void Image(const TvRect& rect, const TvColour* pixels) override;

 private:
  CairoDevice(DeviceKind kind, const DeviceMetrics& capabilities, bool has_pixels)
      : Device(capabilities, has_pixels), kind_(kind) {}

  void ShowText(double x, double y, std::string_view text) override;
  void SetColour(TvColour colour);
  bool HasRoom(size_t bytes);
  bool CanRasterise(size_t lines);

  const DeviceKind kind_;
  std::unique_ptr<PictureFile> file_;  // outlives the surface, which writes to it
  cairo_surface_t* surface_ = nullptr;
  cairo_t* cairo_ = nullptr;
  std::vector<DeviceState> saved_;
};

// A Cairo surface with the pixels of an image, one row after the other. The caller destroys it.
cairo_surface_t* SurfaceOf(int32_t width, int32_t height, const TvColour* pixels);

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_CAIRO_DEVICE_H_
