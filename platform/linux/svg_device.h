// A device context that writes an SVG file in which texts are texts: with the names of their fonts,
// to be searched and edited. Coordinates are pixels.

#ifndef PLATFORM_LINUX_SVG_DEVICE_H_
#define PLATFORM_LINUX_SVG_DEVICE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/device.h"
#include "platform/linux/picture_file.h"

namespace tervalon::platform {

class SvgDevice : public Device {
 public:
  // nullptr when a size or the resolution is out of range or the file cannot be written.
  static std::unique_ptr<SvgDevice> Create(const std::string& path,
                                           const DeviceMetrics& capabilities);

  bool Finish() override;

  void Save() override;
  bool Restore() override;
  void Clip(const TvRect& rect) override;
  void Lines(const LineSegment* lines, size_t count) override;
  void Polyline(const TvPoint* points, size_t count) override;
  void FillRectangle(const TvRect& rect, TvColour colour) override;
  void FillPolygon(const TvPoint* points, size_t count, TvColour colour) override;
  void Image(const TvRect& rect, const TvColour* pixels) override;

 private:
  using MaybeRect = std::optional<TvRect>;
  struct Saved {
    DeviceState state;
    MaybeRect clip;
  };

  SvgDevice(std::unique_ptr<PictureFile> file, const DeviceMetrics& capabilities)
      : Device(capabilities, false), file_(std::move(file)) {}

  void ShowText(double x, double y, std::string_view text) override;

  // Writes an element that is cut off at the clip.
  void Element(const std::string& element);
  void CloseGroup();
  std::string Stroke(bool is_joined) const;

  const std::unique_ptr<PictureFile> file_;
  std::vector<Saved> saved_;
  MaybeRect clip_;     // as set
  MaybeRect group_;    // of the group that is open, if one is
  int32_t clips_ = 0;  // defined so far
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_SVG_DEVICE_H_
