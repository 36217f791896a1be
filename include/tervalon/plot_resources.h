// What plots are drawn with: axis pen, tick pen, axis font, text colour and two sets of five data
// styles, per device context.
//
// Every device context starts with the library's own: black axes with grey ticks, a plain font and
// pens whose sizes follow the device's resolution, a first set of solid pens in five colours that
// are told apart on white paper and on a screen, and a second set of five line styles in black for
// devices and copies without colour. Trace k of a plot is drawn with style k modulo 5.

#ifndef TERVALON_PLOT_RESOURCES_H_
#define TERVALON_PLOT_RESOURCES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define PLT_DATA_STYLES 5

// How a trace is drawn: the pen, its line style (0 solid, 1 dashes, 2 dots, 3 dashes and dots, 4
// dashes and two dots), and its colour, in which the trace's labels are written too.
typedef struct PltDataStyle {
  TvPen pen;
  int32_t style;
  uint8_t red;
  uint8_t green;
  uint8_t blue;
} PltDataStyle;
TERVALON_STRUCT_SIZE(PltDataStyle, 12, 16);

// What a device context draws plots with.
typedef struct PltResources {
  TvPen axis_pen;
  TvPen tick_pen;
  TvFont axis_font;
  TvColour text_colour;
  PltDataStyle first[PLT_DATA_STYLES];
  PltDataStyle second[PLT_DATA_STYLES];
} PltResources;
TERVALON_STRUCT_SIZE(PltResources, 136, 192);

// Stores the resources in use for a device context; NULL stands for the resources that are used
// where none is named, and have the resolution of a screen. The pens and fonts stay the library's
// or the application's who set them. Returns 1, or 0 when dc is not live or memory runs out.
TERVALON_API int32_t TERVALON_CALL PltGetResources(TvDC dc, PltResources* resources);

// Replaces the resources of a device context (or of NULL). A pen or font of NULL stands for the
// library's own; a style with a NULL pen is the library's altogether. The pens and fonts stay the
// caller's, who deletes them after the device context or after replacing them here. Returns 1, or 0
// when dc is not live or memory runs out.
TERVALON_API int32_t TERVALON_CALL PltSetResources(TvDC dc, const PltResources* resources);

// Takes a device context's resources back to the library's own, and deletes what the library made
// for it; it is made again when needed. Done by itself where this library deletes the device
// context (TvDeleteDC); on Windows to be called before a device context is deleted, and before one
// whose resources were replaced is given back. Returns 1, also when there is nothing to release.
TERVALON_API int32_t TERVALON_CALL PltReleaseResources(TvDC dc);

TERVALON_END_DECLS

#endif  // TERVALON_PLOT_RESOURCES_H_
