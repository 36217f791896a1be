// A sheet of paper with a plot on it, on a printer or in small on the screen.

#ifndef VIEWER_WIN32_PAGE_H_
#define VIEWER_WIN32_PAGE_H_

#include <string>

#include "viewer/core/document.h"
#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Millimetres.
struct Paper {
  double width = 297;
  double height = 210;
};

// Draws a document with a line above it. The pixel at 0, 0 is the paper's corner. Returns why it
// failed; empty: it did not.
std::string DrawPage(Document& document, HDC dc, const Paper& paper, double pixels_per_inch);

// A plot that fills a device context.
std::string DrawPlot(Document& document, HDC dc, const PictureSize& size);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PAGE_H_
