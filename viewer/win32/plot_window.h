// What a document window shows of a plot: painted once, and shown until something changes.

#ifndef VIEWER_WIN32_PLOT_WINDOW_H_
#define VIEWER_WIN32_PLOT_WINDOW_H_

#include <optional>
#include <string>

#include "viewer/core/workspace.h"
#include "viewer/win32/system.h"

namespace tervalon::viewer {

class PlotWindow {
 public:
  PlotWindow(Workspace* workspace, Document* document, HWND window);
  ~PlotWindow();
  PlotWindow(const PlotWindow&) = delete;
  PlotWindow& operator=(const PlotWindow&) = delete;

  void Redraw();
  // Paints now what is to be painted, so that the mouse and commands meet what is seen.
  void Update();
  // True when the message is done with.
  bool Handle(UINT message, WPARAM first, LPARAM second);
  // The picture as a bitmap of the caller's; nullptr: none.
  HBITMAP CopyBitmap();

 private:
  void Paint();
  void PaintPicture(HDC dc, const RECT& part) const;
  void PaintMark(HDC dc, const RECT& mark) const;
  void MakePicture(HDC dc, int width, int height);
  void Press(Button button, Place place);
  // False when that meant nothing.
  bool Release(Place place);
  void PointAt(Place place);
  void Leave();
  void Mark(const std::optional<Box>& mark);
  void TurnWheel(WPARAM keys, Place place, bool sideways);
  bool ShowCursor() const;
  void DoLater();

  Workspace& workspace_;
  Document& document_;
  const HWND window_;
  const DWORD made_;  // the time, as messages have it
  HBITMAP picture_ = nullptr;
  bool is_painted_ = false;  // the picture, as things are now
  std::optional<Box> mark_;
  std::optional<Gesture> later_;  // done unless it turns out to begin a double click
  Place pointed_;                 // where the mouse was last
  bool is_followed_ = false;      // the mouse, until it leaves
  std::string failure_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PLOT_WINDOW_H_
