// How large texts are in a picture: of a device context, or in a test of fixed letters.

#ifndef TOOLS_PICTURES_TEXT_MEASURE_H_
#define TOOLS_PICTURES_TEXT_MEASURE_H_

#include <cstdint>
#include <string>

namespace tervalon::tools {

enum class Face { kPlain, kTitle };

class TextMeasure {
 public:
  virtual ~TextMeasure() = default;

  // In pixels, of a UTF-8 text and of a line.
  virtual int32_t Width(const std::string& utf8, Face face) const = 0;
  virtual int32_t Height(Face face) const = 0;

  int32_t Width(const std::string& utf8) const { return Width(utf8, Face::kPlain); }
  int32_t Height() const { return Height(Face::kPlain); }

  // The beginning of a text that fits, with dots where the rest was.
  std::string Fitting(const std::string& utf8, int32_t width, Face face) const;
};

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_TEXT_MEASURE_H_
