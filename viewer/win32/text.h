// Texts of the program, which are UTF-8, as windows take them.

#ifndef VIEWER_WIN32_TEXT_H_
#define VIEWER_WIN32_TEXT_H_

#include <string>
#include <string_view>

#include "viewer/win32/system.h"

namespace tervalon::viewer {

inline std::wstring Wide(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(utf8.size(), L'\0');
  const int used = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), length);
  wide.resize(static_cast<size_t>(used));
  return wide;
}

inline std::string Narrow(std::wstring_view wide, UINT code_page) {
  const int length = static_cast<int>(wide.size());
  std::string text(4 * wide.size(), '\0');
  const int used = WideCharToMultiByte(code_page, 0, wide.data(), length, text.data(),
                                       static_cast<int>(text.size()), nullptr, nullptr);
  text.resize(static_cast<size_t>(used));
  return text;
}

inline std::string Utf8(std::wstring_view wide) { return Narrow(wide, CP_UTF8); }

// As the library's message boxes take them.
inline std::string SystemText(std::string_view utf8) { return Narrow(Wide(utf8), CP_ACP); }

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_TEXT_H_
