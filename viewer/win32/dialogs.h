// The dialogs of the program.

#ifndef VIEWER_WIN32_DIALOGS_H_
#define VIEWER_WIN32_DIALOGS_H_

#include <optional>
#include <string>

#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Each gives what was chosen in UTF-8; nothing: it was cancelled.
std::optional<std::string> AskForFolder(HWND owner, const std::wstring& title,
                                        const std::wstring& begin);
std::optional<std::string> AskForSaveName(HWND owner, const std::wstring& title,
                                          const std::wstring& name);
std::optional<std::string> AskForLine(HWND owner, const std::wstring& title,
                                      const std::wstring& label, const std::wstring& text);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_DIALOGS_H_
