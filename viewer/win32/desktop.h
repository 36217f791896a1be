// What the desktop asks of windows: resolution, colours, sizes of text.

#ifndef VIEWER_WIN32_DESKTOP_H_
#define VIEWER_WIN32_DESKTOP_H_

#include "viewer/win32/system.h"

namespace tervalon::viewer {

// Of the monitor that a window is on.
int PixelsPerInch(HWND window);
// Pixels at 96 per inch as those of the window.
int Scaled(HWND window, int pixels);
// The plots' theme that goes with the desktop's colours.
const char* ThemeName();
// A control of the system in the desktop's colours, which its theme may not know.
void FollowColours(HWND control);
// How large people want to read.
double TextPoints();
// The font of messages, for a window; the caller's.
HFONT MakeMessageFont(HWND window);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_DESKTOP_H_
