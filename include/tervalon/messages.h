// Message boxes whose text comes from numbered string resources. The text of a resource carries its
// severity or box style in front of the message, so that a message's look is decided where the
// message is written.
//
// Formats are printf's for 8-bit text and decimal numbers, always with "." as the decimal point; a
// conversion of another kind (%ls, %a) and what follows it stand as they are. An expanded text is
// cut to 255 characters. Message number 30000 means "Out of memory" and needs no resource; a number
// without a resource shows "Application Error: " and the number. Both have the stop icon.
//
// Sounds are the desktop platform's message sounds, sent just before the box is shown. A platform
// without a desktop of its own is silent.

#ifndef TERVALON_MESSAGES_H_
#define TERVALON_MESSAGES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Shows this library's string `number` expanded with the arguments that its format asks for. The
// text begins with a severity (MsgGetErrorLevel), which decides the icon. `caption` is optional. No
// sound goes with the box, whatever its icon. Always returns 1.
TERVALON_API int32_t TERVALON_VARARGS_CALL MsgReport(uint16_t number, const char* caption, ...);

// Shows string `number` of a module (NULL: that of the application's main window) expanded with the
// arguments that its format asks for. The text begins with style keywords separated by blanks, tabs
// or "|", then ",", then the message. In each group the first keyword counts; others are ignored:
//   icon     NONE, EXCLAMATION (the default), INFORMATION, ASTERISK, QUESTION, STOP, HAND
//   buttons  OK (the default), OKCANCEL, ABORTRETRYIGNORE, YESNO, YESNOCANCEL, RETRYCANCEL
//   default  DEFBUTTON1 (the default), DEFBUTTON2, DEFBUTTON3
//   log      LOG, NOLOG: without effect
// The plain beep sounds first when the icon is exclamation, question or stop, for "Out of memory"
// and for a number without a resource; INFORMATION and NONE are silent.
// `caption` is optional ("Attention"). Returns the pressed button: 1 OK, 2 Cancel, 3 Abort, 4
// Retry, 5 Ignore, 6 Yes, 7 No; 0 without a box when there is no application or the text has no
// ",".
TERVALON_API int32_t TERVALON_VARARGS_CALL MsgReportMsg(TvInstance instance, uint16_t number,
                                                        const char* caption, ...);

// Takes the severity in front of a text apart: style receives its icon (1 information 0x40,
// 2 exclamation 0x30, 3 stop 0x10, else 0), level the severity (3 for all others). Both are
// optional. Returns where the message begins in `text`, behind all leading digits and white space;
// NULL for NULL.
TERVALON_API const char* TERVALON_CALL MsgGetErrorLevel(const char* text, int16_t* style,
                                                        int16_t* level);

// Shows `text`, followed by lines with the limits that are neither NULL nor empty, in a box of the
// given style owned by `owner`. The exclamation sound goes with the icons exclamation, question and
// stop (any of the style's bits 0x30), and after it the stop sound with exclamation and stop (bit
// 0x10): those two beep twice.
// Returns the pressed button; -1, without sound or box, when `owner` is no window or `text` is
// NULL.
TERVALON_API int32_t TERVALON_CALL GenMessage(TvWindow owner, const char* text, const char* caption,
                                              uint32_t style, const char* minimum,
                                              const char* maximum);

// Sends a message to every window registered with AppSetWindow. Always returns 0.
TERVALON_API int32_t TERVALON_CALL BroadcastMessage(uint16_t message, uint16_t first,
                                                    uint32_t second);

TERVALON_END_DECLS

#endif  // TERVALON_MESSAGES_H_
