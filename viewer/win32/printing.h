// Plots on paper and as metafiles, and a look at the page before.

#ifndef VIEWER_WIN32_PRINTING_H_
#define VIEWER_WIN32_PRINTING_H_

#include <string>

#include "viewer/core/document.h"
#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Asks for a printer and prints. Both return why it failed; empty: it did not.
std::string PrintDocument(Document& document, HWND owner);
std::string PreviewDocument(Document& document, HWND owner);

// For the clipboard, as large as the window shows it; the caller's. nullptr when it cannot be
// drawn.
HENHMETAFILE DrawMetafile(Document& document, HWND window);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PRINTING_H_
