// What an application supplies in place of a screen: the answers of message boxes and, on a
// platform that has no screen of its own, those of file dialogs, and string resources.

#ifndef TERVALON_DESKTOP_H_
#define TERVALON_DESKTOP_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Answers a message box: text, caption (NULL: none), the box's style (the desktop platform's
// numbers: buttons in bits 0-3, icon in bits 4-7, default button in bits 8-11) and its owner (may
// be NULL). Returns the pressed button: 1 OK, 2 Cancel, 3 Abort, 4 Retry, 5 Ignore, 6 Yes, 7 No.
typedef int32_t(TERVALON_CALL* TvMessageHandler)(void* user, const char* text, const char* caption,
                                                 uint32_t style, TvWindow owner);

// Sets what answers message boxes; user is handed to the handler. A program that nobody sits in
// front of sets one. NULL restores the default: on Windows the box is shown, elsewhere the message
// is written to standard error and answered with the box's default button. Returns 1.
TERVALON_API int32_t TERVALON_CALL TvSetMessageHandler(TvMessageHandler handler, void* user);

#if !defined(_WIN32)

// Chooses a file in place of a dialog of the given title. `path` holds the initial name, in `size`
// bytes, and takes the chosen path. Returns whether one was chosen.
typedef int32_t(TERVALON_CALL* TvFileChooser)(void* user, const char* title, char* path,
                                              uint32_t size);

// Sets what answers file dialogs; without one (NULL) they count as cancelled. Returns 1.
TERVALON_API int32_t TERVALON_CALL TvSetFileChooser(TvFileChooser chooser, void* user);

// Returns an application's string resource of that number (NULL: there is none); `instance` is the
// module whose strings are asked for, as the application's windows were created with.
typedef const char*(TERVALON_CALL* TvStringProvider)(void* user, TvInstance instance,
                                                     uint16_t number);

// Sets where an application's string resources come from; without one (NULL) it has none.
// Returns 1.
TERVALON_API int32_t TERVALON_CALL TvSetStringProvider(TvStringProvider provider, void* user);

#endif

TERVALON_END_DECLS

#endif  // TERVALON_DESKTOP_H_
