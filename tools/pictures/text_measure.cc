#include "tools/pictures/text_measure.h"

namespace tervalon::tools {

std::string TextMeasure::Fitting(const std::string& utf8, int32_t width, Face face) const {
  std::string text = utf8;
  std::string shown = text;
  while (!text.empty() && Width(shown, face) > width) {
    do {
      text.pop_back();
    } while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0) == 0x80);
    shown = text + "...";
  }
  return text.empty() ? "" : shown;
}

}  // namespace tervalon::tools
