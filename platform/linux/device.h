// A device context: what is selected and set in it, and what it draws on.

#ifndef PLATFORM_LINUX_DEVICE_H_
#define PLATFORM_LINUX_DEVICE_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/drawing.h"
#include "platform/linux/cairo_font.h"

namespace tervalon::platform {

constexpr int32_t kLongestSide = 32767;

constexpr int32_t kMostPixelsPerInch = 9600;

// Whether a device context may have that size and resolution.
inline bool CanBeMade(const DeviceMetrics& metrics) {
  const auto in_range = [](int32_t value, int32_t most) { return value >= 1 && value <= most; };
  return in_range(metrics.width, kLongestSide) && in_range(metrics.height, kLongestSide) &&
         in_range(metrics.pixels_per_inch_x, kMostPixelsPerInch) &&
         in_range(metrics.pixels_per_inch_y, kMostPixelsPerInch);
}

// Beyond this coordinates overflow, in Cairo and in viewers of files.
constexpr int32_t kFarthest = 1 << 20;
inline double Coordinate(int32_t value) { return std::clamp(value, -kFarthest, kFarthest); }

// Dashes and gaps in pixels of a screen, by pen style.
struct DashPattern {
  int count;
  std::array<double, 6> lengths;
};
inline constexpr std::array<DashPattern, 5> kDashes = {{
    {0, {}},                  // solid
    {2, {9, 4}},              // dash
    {2, {2, 3}},              // dot
    {4, {9, 4, 2, 4}},        // dash dot
    {6, {9, 4, 2, 4, 2, 4}},  // dash dot dot
}};

// A place between pixels, or the way from one to another.
struct Vector {
  double x = 0;
  double y = 0;
  double Length() const { return std::hypot(x, y); }
  friend Vector operator+(Vector a, Vector b) { return {a.x + b.x, a.y + b.y}; }
  friend Vector operator-(Vector a, Vector b) { return {a.x - b.x, a.y - b.y}; }
  friend Vector operator*(double factor, Vector a) { return {factor * a.x, factor * a.y}; }
};

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

// Coordinates are the device's pixels: (x, y) is the corner of a pixel, whose centre is half a
// pixel further.
class Device {
 public:
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  // Ends drawing and completes the file. False when the picture lacks something.
  virtual bool Finish() = 0;

  // False where there is only one page.
  virtual bool NextPage() { return false; }

  // False where nothing can be stored.
  virtual bool SavePng(const std::string& /*path*/) { return false; }

  const DeviceMetrics& capabilities() const { return capabilities_; }
  DeviceState& state() { return state_; }

  // What could not be drawn makes the picture fail in the end.
  void Fail() { failed_ = true; }
  bool failed() const { return failed_; }

  int32_t Width(std::string_view text) {
    const int32_t width = state_.font->Width(text);
    if (width < 0) Fail();
    return std::max(width, 0);
  }

  virtual void Save() = 0;
  virtual bool Restore() = 0;
  virtual void Clip(const TvRect& rect) = 0;
  virtual void Lines(const LineSegment* lines, size_t count) = 0;
  virtual void Polyline(const TvPoint* points, size_t count) = 0;
  virtual void FillRectangle(const TvRect& rect, TvColour colour) = 0;
  virtual void FillPolygon(const TvPoint* points, size_t count, TvColour colour) = 0;
  virtual void Image(const TvRect& rect, const TvColour* pixels) = 0;

  void Text(int32_t x, int32_t y, std::string_view text) {
    if (state_.opaque_background) {
      const TvSize size = {Width(text), state_.font->metrics().height};
      const auto left = static_cast<int32_t>(Coordinate(x));
      const auto top = static_cast<int32_t>(Coordinate(y));
      FillRectangle({left, top, left + size.width, top + size.height}, state_.background_colour);
    }
    ShowText(Coordinate(x), Coordinate(y), text);
  }
  void TextWithin(const TvRect& rect, TextAlign align, std::string_view text) {
    Save();
    Clip(rect);
    Text(AlignedLeft(rect, align, Width(text)), rect.top, text);
    Restore();
  }

 protected:
  Device(const DeviceMetrics& capabilities, bool has_pixels)
      : capabilities_(capabilities), has_pixels_(has_pixels) {}

  // Writes a text with its upper left corner at (x, y).
  virtual void ShowText(double x, double y, std::string_view text) = 0;

  // Where there are no pixels, a hairline is seen at every resolution and nowhere thick.
  double PenWidth() const {
    constexpr double kThinnest = 1.0 / 288;  // inch
    constexpr double kThickest = 1.0 / 96;
    const int32_t per_inch = capabilities_.pixels_per_inch_x;
    if (has_pixels_ || state_.pen.width > 1) return std::clamp(state_.pen.width, 1, kLongestSide);
    return std::clamp(1.0, kThinnest * per_inch, kThickest * per_inch);
  }

  // Where a line through a pixel lies in it, so that its edges are edges of pixels: an even number
  // of them cannot be centred.
  double PenCentre() const { return std::max(state_.pen.width, 1) % 2 == 0 ? 0 : 0.5; }

  // Of a unit of the dash patterns, in pixels.
  double DashUnit() const {
    constexpr double kScreenPixelsPerInch = 96;
    return std::max({1.0, std::round(capabilities_.pixels_per_inch_x / kScreenPixelsPerInch),
                     PenWidth() * (2.0 / 3)});
  }

  // A line is what the pen covers as it moves from the first pixel to the last but one: it reaches
  // half the pen's width beyond both.
  std::array<Vector, 2> EndsOf(const LineSegment& line) const {
    const double centre = PenCentre();
    const Vector start = {line.from.x + centre, line.from.y + centre};
    const Vector end = {line.to.x + centre, line.to.y + centre};
    const double reach = PenWidth() / 2;
    const Vector direction = (1 / (end - start).Length()) * (end - start);
    return {start - reach * direction, end + (reach - 1) * direction};
  }

  bool has_pixels() const { return has_pixels_; }

  DeviceState state_;

 private:
  const DeviceMetrics capabilities_;
  const bool has_pixels_;
  bool failed_ = false;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_DEVICE_H_
