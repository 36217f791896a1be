// Texts of the program, which are UTF-8, as windows take them.

#ifndef VIEWER_WIN32_TEXT_H_
#define VIEWER_WIN32_TEXT_H_

#include <windows.h>

#include <string>
#include <string_view>

namespace tervalon::viewer {

inline std::wstring Wide(std::string_view utf8) {
  const int length = static_cast<int>(utf8.size());
  std::wstring wide(utf8.size(), L'\0');
  const int used = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), length);
  wide.resize(static_cast<size_t>(used));
  return wide;
}

inline std::string Utf8(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  std::string utf8(3 * wide.size(), '\0');
  const int used = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, utf8.data(),
                                       static_cast<int>(utf8.size()), nullptr, nullptr);
  utf8.resize(static_cast<size_t>(used));
  return utf8;
}

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_TEXT_H_
