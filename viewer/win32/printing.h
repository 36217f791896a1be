// Plots on paper and as metafiles, and a look at the page before.

#ifndef VIEWER_WIN32_PRINTING_H_
#define VIEWER_WIN32_PRINTING_H_

#include <windows.h>

#include <string>

#include "viewer/core/document.h"

namespace tervalon::viewer {

// Asks for a printer and prints. Both return why it failed; empty: it did not.
std::string PrintDocument(Document& document, HWND owner);
std::string PreviewDocument(Document& document, HWND owner);

// For the clipboard; the caller's. nullptr when it cannot be drawn.
HENHMETAFILE DrawMetafile(Document& document, HWND owner);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PRINTING_H_
