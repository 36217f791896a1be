#include "tools/print/text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include "tools/print/console.h"

namespace tervalon::tools {
namespace {

// The largest double in fixed form has 309 digits before the point.
using NumberBuffer = std::array<char, 400>;

template <typename... Arguments>
std::string NumberText(Arguments... arguments) {
  NumberBuffer buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), arguments...);
  return {buffer.data(), result.ptr};
}

bool IsUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    const size_t more = lead < 0x80                    ? 0
                        : lead >= 0xC2 && lead <= 0xDF ? 1
                        : lead >= 0xE0 && lead <= 0xEF ? 2
                        : lead >= 0xF0 && lead <= 0xF4 ? 3
                                                       : text.size();
    if (more > text.size() - i) return false;
    if (more > 1) {  // forms longer than needed, halves of pairs, beyond the last character
      const auto second = static_cast<unsigned char>(text[i]);
      if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
          (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
        return false;
      }
    }
    for (const size_t end = i + more; i < end; ++i) {
      if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) return false;
    }
  }
  return true;
}

bool IsControl(unsigned char c) { return c < 0x20 || c == 0x7F; }

}  // namespace

std::string ExactText(float value) { return NumberText(value); }
std::string ExactText(double value) { return NumberText(value); }

std::string RoundedText(double value, int decimals) {
  return decimals < 0 ? NumberText(value, std::chars_format::general, 7)
                      : NumberText(value, std::chars_format::fixed, decimals);
}

std::optional<double> ParseNumber(std::string_view text) {
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size() ||
      !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::string Utf8FromLatin1(const char* text, size_t size) {
  std::string utf8;
  for (size_t i = 0; i < size && text[i] != '\0'; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      utf8 += text[i];
    } else {
      utf8 += static_cast<char>(0xC0 | (c >> 6));
      utf8 += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return utf8;
}

std::optional<std::string> Latin1FromUtf8(std::string_view utf8) {
  std::string text;
  for (size_t i = 0; i < utf8.size(); ++i) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    if (c < 0x80) {
      text += utf8[i];
      continue;
    }
    const auto next = static_cast<unsigned char>(i + 1 < utf8.size() ? utf8[i + 1] : 0);
    if ((c != 0xC2 && c != 0xC3) || (next & 0xC0) != 0x80) return std::nullopt;
    text += static_cast<char>((c << 6) | (next & 0x3F));
    ++i;
  }
  return text;
}

std::string Utf8FromSystem(const std::string& text) {
  return IsUtf8(text) ? text : console::Utf8FromCodePage(text);
}

std::string Printable(std::string_view utf8) {
  std::string printable;
  for (size_t i = 0; i < utf8.size(); ++i) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    const auto next = static_cast<unsigned char>(i + 1 < utf8.size() ? utf8[i + 1] : 0);
    if (c == 0xC2 && next >= 0x80 && next < 0xA0) {  // the second set of controls
      printable += '?';
      ++i;
    } else {
      printable += IsControl(c) ? '?' : utf8[i];
    }
  }
  return printable;
}

size_t DisplayWidth(std::string_view utf8) {
  size_t width = 0;
  for (const char c : utf8) {
    width += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }
  return width;
}

}  // namespace tervalon::tools
