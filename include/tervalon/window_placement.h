// Where windows were: one line of the settings file for each window, and the list of the document
// windows of a frame.
//
// A line is visible,state,left,top,right,bottom with "TRUE" or "FALSE" and one of the words
// SW_SHOWNORMAL, SW_SHOWMINIMIZED, SW_SHOWMAXIMIZED:
//   Browser=TRUE,SW_SHOWNORMAL,10,20,410,320
//
// A document window that IniCreateMDIWnd makes carries the section and key of its line as atoms in
// the window properties "IniParagraph" and "IniLine".

#ifndef TERVALON_WINDOW_PLACEMENT_H_
#define TERVALON_WINDOW_PLACEMENT_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// The show states, with the desktop platform's numbers.
#define TV_PLACEMENT_NORMAL 1
#define TV_PLACEMENT_MINIMIZED 2
#define TV_PLACEMENT_MAXIMIZED 3

// A window's placement. 24 bytes.
typedef struct IniWindPos {
  int32_t visible;     // 1 or 0
  int32_t show_state;  // TV_PLACEMENT_
  // The window's rectangle when it is neither minimised nor maximised: of a window with a parent in
  // the parent's client coordinates, else in screen coordinates.
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
} IniWindPos;

// The operations of IniSaveDesktop.
#define TV_SAVE_DESKTOP 1
#define TV_SAVE_WINDOW 2

// Reads a placement; `fallback` (optional) is the one when there is no such key. A text of one part
// only is a minimised window at 0, 0, 100, 100; a state word that is not known is normal; a missing
// number is 0. An empty part counts as missing.
// Returns 1; 0 and a zeroed placement when there is no text, or no first part in it.
TERVALON_API int32_t TERVALON_CALL GetIniWindPos(const char* section, const char* key,
                                                 const IniWindPos* fallback, IniWindPos* placement);

// Writes a placement. The last argument is handed to SetIniString. Returns 1, also when the file
// cannot be written.
TERVALON_API int32_t TERVALON_CALL SetIniWindPos(const char* section, const char* key,
                                                 const IniWindPos* placement, int32_t flag);

// Takes a window's placement. To measure its normal rectangle, a minimised or maximised window is
// brought back to normal: a document window stays so, any other is left hidden. What is no window
// is not visible, normal, with an empty rectangle. Returns 1.
TERVALON_API int32_t TERVALON_CALL ObtainWindPos(TvWindow window, IniWindPos* placement);

// Minimises or maximises a window, without moving it, or moves it to its place and shows it.
// Returns 1; 0 for what is no window.
TERVALON_API int32_t TERVALON_CALL RestoreWindPos(TvWindow window, const IniWindPos* placement);

// Makes a document window in a frame's document area, at the place that stands under section and
// key; at a place of the area's choosing when nothing stands there. Position, size and style of the
// caller's record are set accordingly. IniSaveDesktop saves the window under the same names.
// Returns the window, NULL when the area makes none.
TERVALON_API TvWindow TERVALON_CALL IniCreateMDIWnd(TvWindow area, const char* section,
                                                    const char* key, TvDocumentCreate* create);

// Saves the placements of a frame's document windows, and with them restores those that are
// minimised or maximised; meant for a frame that is about to close.
//  - TV_SAVE_DESKTOP: `window` is the document area, all its windows are saved, and the list of
//    their keys, the last visited first, each but the last followed by ",", is written under
//    section and key. A minimised frame is restored and hidden. Windows that IniCreateMDIWnd did
//    not make are left out. Names that are too many for a line of the settings file are dropped at
//    the list's end.
//  - TV_SAVE_WINDOW: `window` is the one window to be saved.
// When there is no window, an empty list is written under section and key.
// Returns 1; 0 without a section, without a known flag, without a key where a list would be
// written, and when a line could not be written. The last argument is ignored.
TERVALON_API int32_t TERVALON_CALL IniSaveDesktop(TvWindow window, int32_t flags,
                                                  const char* section, const char* key,
                                                  int32_t ignored);

TERVALON_END_DECLS

#endif  // TERVALON_WINDOW_PLACEMENT_H_
