// What a document window shows of a plot: painted once, and shown until something changes.

#ifndef VIEWER_WIN32_PLOT_WINDOW_H_
#define VIEWER_WIN32_PLOT_WINDOW_H_

#include <windows.h>

#include <optional>
#include <string>

#include "viewer/core/workspace.h"

namespace tervalon::viewer {

class PlotWindow {
 public:
  PlotWindow(Workspace* workspace, Document* document, HWND window)
      : workspace_(*workspace), document_(*document), window_(window) {}
  ~PlotWindow();
  PlotWindow(const PlotWindow&) = delete;
  PlotWindow& operator=(const PlotWindow&) = delete;

  void Redraw();
  // True when the message is done with.
  bool Handle(UINT message, WPARAM first, LPARAM second);
  // The picture as a bitmap of the caller's; nullptr: none.
  HBITMAP CopyBitmap();

 private:
  void Paint();
  void MakePicture(HDC dc, int width, int height);
  void Move(Place place);
  static Place PlaceOf(LPARAM at);

  Workspace& workspace_;
  Document& document_;
  const HWND window_;
  HBITMAP picture_ = nullptr;
  std::optional<Box> mark_;
  std::string failure_;
};

// The desktop's resolution, and the theme and size of text that it asks for.
int PixelsPerInch(HDC dc);
const char* ThemeName();
double TextPoints(HDC dc);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PLOT_WINDOW_H_
