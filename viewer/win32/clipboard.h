#ifndef VIEWER_WIN32_CLIPBOARD_H_
#define VIEWER_WIN32_CLIPBOARD_H_

#include <string>

#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Both take what they are given, which may be nullptr; false when nothing was copied.
bool CopyPicture(HWND owner, HBITMAP bitmap, HENHMETAFILE metafile);
bool CopyText(HWND owner, const std::wstring& text);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_CLIPBOARD_H_
