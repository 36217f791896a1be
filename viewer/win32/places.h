// Where windows were when the program was closed, in the settings file.

#ifndef VIEWER_WIN32_PLACES_H_
#define VIEWER_WIN32_PLACES_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "viewer/win32/system.h"

namespace tervalon::viewer {

// A document window at the place of that number, or wherever the area puts it. nullptr when the
// system makes none.
HWND MakeDocumentWindow(HWND area, const char* window_class, HINSTANCE owner,
                        const std::optional<size_t>& number);

// Shows the frame where it was.
void RestoreFrame(HWND frame);
// Puts the document windows above one another as they were.
void RestoreOrder(HWND area);

// Before the frame is closed; it is hidden. Place i becomes that of window i.
void SavePlaces(HWND frame, HWND area, const std::vector<HWND>& windows);

}  // namespace tervalon::viewer

#endif  // VIEWER_WIN32_PLACES_H_
