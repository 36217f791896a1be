// Characters and text comparison without the C locale.

#ifndef PLATFORM_TEXT_H_
#define PLATFORM_TEXT_H_

#include <algorithm>
#include <string_view>

namespace tervalon::platform {

inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsBlank(char c) { return c == ' ' || c == '\t'; }
inline bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline char LowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

inline bool EqualWithoutCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return LowerCase(x) == LowerCase(y); });
}

}  // namespace tervalon::platform

#endif  // PLATFORM_TEXT_H_
