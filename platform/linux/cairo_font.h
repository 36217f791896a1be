// Fonts over Cairo and the system's font configuration.

#ifndef PLATFORM_LINUX_CAIRO_FONT_H_
#define PLATFORM_LINUX_CAIRO_FONT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/drawing.h"
#include "platform/linux/cairo_library.h"

namespace tervalon::platform {

// A text as UTF-8; those of older systems are 8-bit Latin.
std::string Utf8(std::string_view text);

// A font measured in whole pixels, for all devices alike: every glyph is put where it stands on an
// image, so that a text is as wide in a file as on the screen.
class CairoFont {
 public:
  // nullptr when the height is out of range or Cairo fails.
  static std::shared_ptr<const CairoFont> Make(const FontDescription& description);

  ~CairoFont();
  CairoFont(const CairoFont&) = delete;
  CairoFont& operator=(const CairoFont&) = delete;

  const TextMetrics& metrics() const { return metrics_; }
  int32_t Width(std::string_view text) const;  // -1 when Cairo fails

  const std::string& family() const { return family_; }
  double size() const { return size_; }  // of the characters, in pixels
  bool is_bold() const { return bold_; }

  // Writes a text with its upper left corner at (x, y) of the context's user space, in its source
  // colour. False when Cairo fails.
  bool Show(cairo_t* cairo, double x, double y, std::string_view text) const;

 private:
  CairoFont() = default;

  cairo_scaled_font_t* scaled_ = nullptr;
  TextMetrics metrics_;
  std::string family_;
  double size_ = 0;
  bool bold_ = false;
};

}  // namespace tervalon::platform

#endif  // PLATFORM_LINUX_CAIRO_FONT_H_
