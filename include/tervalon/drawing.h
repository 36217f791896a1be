// Drawing on axes objects: axes with ticks, labels, titles and grids, header lines, and data.
//
// Everything is drawn through a device context, so that the same calls paint a screen, a printer,
// an image or a metafile; its state is the same afterwards. Pens, font and colours that a call does
// not name come from the context's plotting resources (tervalon/plot_resources.h).
//
// Unless a result is described otherwise, exports return 0, and -1 for an invalid handle or pointer
// or when the device context's state cannot be saved or restored. Axes without rows draw nothing,
// successfully.

#ifndef TERVALON_DRAWING_H_
#define TERVALON_DRAWING_H_

#include "tervalon/axes.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Axes.

// Lines of a grid. Of several, solid counts first, then dash-dot-dot, dash-dot, dots and dashes.
#define AXS_GRID_SOLID 1
#define AXS_GRID_DASH 2
#define AXS_GRID_DOT 4
#define AXS_GRID_DASH_DOT 8
#define AXS_GRID_DASH_DOT_DOT 16

// With one of those: lines in a colour halfway from the tick pen's to white. For another ground
// name a tick pen of the wanted colour, and draw the axes after the grid.
#define AXS_GRID_LIGHT 32

// Draws the parts (AXS_DRAW_ bits) of the X (side 0) or Y axis (side 1) of every row; of the Z axis
// (side 2) there is only a line. Ticks and labels are left out where the style has no tick info and
// none can be chosen. A Y axis without tick info has labels at its two ends.
TERVALON_API int32_t TERVALON_CALL AxsDisplayAxis(TvDC dc, int32_t axes, const AxsStyle* style,
                                                  int32_t parts, int32_t side);

// Draws the ticks of an axis together with grid lines (0: none) at its major and middle ticks, in
// the tick pen's width and colour.
TERVALON_API int32_t TERVALON_CALL AxsDisplayGrid(TvDC dc, int32_t axes, const AxsStyle* style,
                                                  int32_t side, int16_t grid);

#define AXS_DEFAULT_NO_ZERO_LINE 1

// Draws the axes of a plot in the conventional way: an X axis with `x_decimals` decimals, its
// labels and title only with an X title, and a Y axis with labels at its ends, in percent of its
// high end without a Y title. A line at the Y crossing is drawn when it lies inside the Y range,
// unless `flags` has AXS_DEFAULT_NO_ZERO_LINE.
TERVALON_API int32_t TERVALON_CALL AxsDisplayDefaultAxes(TvDC dc, int32_t axes, const char* x_title,
                                                         int32_t x_decimals, const char* y_title,
                                                         int16_t flags);

// The same, with grids of both axes in one line style, and a choice of what to draw.
TERVALON_API int32_t TERVALON_CALL AxsDisplayDefaultAxesAndGrid(
    TvDC dc, int32_t axes, const char* x_title, int32_t x_decimals, const char* y_title,
    int16_t flags, int16_t grid, int32_t draw_axes, int32_t draw_grid);

// Draws axes like those of an oscilloscope, for live signals: a frame around each row with ticks
// inward on all four sides; labels and titles as for default axes.
TERVALON_API int32_t TERVALON_CALL AxsDisplayScopeAxes(TvDC dc, int32_t axes, const char* x_title,
                                                       int32_t x_decimals, const char* y_title,
                                                       int16_t flags);

// Pens and colours.

// Return the pen of data style `index` modulo 5, from the first set when `primary` is set, else
// from the second. `colour` and `style` (both optional) receive its colour and style value. The pen
// stays the resources' own. NULL for a negative index or a dead device context. Without a device
// context the resources are those for a screen.
TERVALON_API TvPen TERVALON_CALL AxsGetDataPenDC(TvDC dc, int32_t index, TvColour* colour,
                                                 int32_t* style, int32_t primary);
TERVALON_API TvPen TERVALON_CALL AxsGetDataPen(int32_t index, TvColour* colour, int32_t* style);
TERVALON_API TvPen TERVALON_CALL AxsGetDataPenExt(int32_t index, TvColour* colour, int32_t* style,
                                                  int32_t primary);

// Returns the colour number 0..4 that the `count` style numbers in use have least, the lowest of
// several.
TERVALON_API int32_t TERVALON_CALL AxsGetDataColourNum(const int32_t* used, int32_t count);

// Data.

// A peak label: at the point (x, y), y not magnified. Without a text the label is x.
typedef struct AxsPlotLabel {
  float x;
  float y;
  const char* text;
} AxsPlotLabel;
TERVALON_STRUCT_SIZE(AxsPlotLabel, 12, 16);

#define AXS_PLOT_TRACE 1     // the data
#define AXS_PLOT_ANNOTATE 2  // brackets of magnified ranges, and peak labels

// How they are drawn; without these as the data style and the mode say.
#define AXS_PLOT_LABEL_COLOUR 4    // labels and factors are written in label_colour
#define AXS_PLOT_LABEL_GROUND 8    // on a rectangle of ground_colour, over what is drawn by then
#define AXS_PLOT_LABELS_PLACED 16  // labels stand where label_rects says, not where there is room
#define AXS_PLOT_FILL_COLOUR \
  32                           // fill_colour down to the Y crossing, also under a joined trace,
                               // where it hides the traces behind; not for sticks
#define AXS_PLOT_BASE_LINE 64  // a line along the Y crossing, in the trace's pen

#define AXS_PLOT_JOINED 0  // points joined by lines: chromatograms, continuum spectra
#define AXS_PLOT_STICKS 1  // a line from the Y crossing to each point: centroids
#define AXS_PLOT_FILLED 2  // points joined by lines, filled down to the Y crossing

// A trace. Points are joined in the order given; one whose x or y is not a number ends a line.
// Outside a row's slice of the X range lines are cut at its edge, outside the Y range they are not
// seen. Magnified ranges multiply y.
typedef struct AxsPlotBlock {
  uint32_t flags;  // AXS_PLOT_TRACE, AXS_PLOT_ANNOTATE
  int32_t mode;    // AXS_PLOT_JOINED, _STICKS or _FILLED
  const float* x;
  const float* y;
  int32_t count;
  float z;         // depth of the trace
  int32_t style;   // number of its data style, taken modulo 5
  int32_t second;  // not 0: of the second set of data styles
  const AxsPlotLabel* labels;
  int32_t label_count;
  int32_t label_decimals;  // of labels without a text
  // Room for one rectangle a label, which receives where it was written, all 0 where it was left
  // out; NULL: not wanted. With AXS_PLOT_LABELS_PLACED it is read: a label is written in the upper
  // left corner of its rectangle, and left out where that is all 0.
  TvRect* label_rects;
  // Each is read only where its flag is set: blocks of programs that do not know them end above.
  TvColour label_colour;
  TvColour ground_colour;
  TvColour fill_colour;
} AxsPlotBlock;
TERVALON_STRUCT_SIZE(AxsPlotBlock, 60, 80);

// Moves the rows to the block's depth and draws what its flags name. Labels avoid each other, the
// headers and the edges of the axes object; where there is no room for all, the higher peaks have
// theirs. Returns -1 also for an unknown mode, negative counts, or placed labels without places.
TERVALON_API int32_t TERVALON_CALL AxsPlotData(TvDC dc, int32_t axes, AxsPlotBlock* plot);

// Fills an area of the rows with columns by rows equal rectangles of a colour each, row after row,
// the lowest first: a map, and with a single one a ground or a marked range. `x` and `y` are the
// ranges that it covers, crossings not used; what of it lies outside the rows is not seen. The rows
// stay at their depth. Returns -1 also for counts below 1, more than 2^26 rectangles, or a range
// without an extent.
TERVALON_API int32_t TERVALON_CALL AxsPlotImage(TvDC dc, int32_t axes, const TvColour* colours,
                                                int32_t columns, int32_t rows, const AxsRange* x,
                                                const AxsRange* y);

// Plots a trace with everything that a plot block holds at its default: depth at the low end of the
// Z range, trace and brackets, no labels.
TERVALON_API int32_t TERVALON_CALL AxsDisplayDefaultData(TvDC dc, int32_t axes, const float* x,
                                                         const float* y, int32_t count,
                                                         int32_t mode, int32_t style);

// Draws a check mark, as tall as two ticks are long, that stands on the point (x, y), in the data
// style of that number. Nothing is drawn where the point is out of range.
TERVALON_API int32_t TERVALON_CALL AxsDisplayCheckMark(TvDC dc, int32_t axes, double x, double y,
                                                       int32_t style);

// Headers: lines of text at the top of an axes object.

#define AXS_HEADER_RIGHT 2
#define AXS_HEADER_CENTRE 4

// Write a header line `offset` device units below the top, left-aligned without a flag, in `font`
// (NULL keeps the current one) and `colour`, on the window's or the given background colour. Return
// the height of the text, 0 on failure.
TERVALON_API int32_t TERVALON_CALL AxsDisplayHeader(TvDC dc, int32_t axes, TvFont font,
                                                    TvColour colour, int16_t flags,
                                                    const char* text, int16_t offset);
TERVALON_API int32_t TERVALON_CALL AxsDisplayHeaderBkColour(TvDC dc, int32_t axes, TvFont font,
                                                            TvColour colour, int16_t flags,
                                                            const char* text, int16_t offset,
                                                            TvColour background);

// The same as AxsDisplayHeader, for several plots on a page: a header that would touch an earlier
// one is not written, which gives its height negated. Where written it is remembered, for those
// that follow and, with an offset above 0, for peak labels, which avoid it.
TERVALON_API int32_t TERVALON_CALL AxsDisplayHeaderAndExclude(TvDC dc, int32_t axes, TvFont font,
                                                              TvColour colour, int16_t flags,
                                                              const char* text, int16_t offset);

#define AXS_MAX_HEADER_RECTS 15

// Remembers rectangles that headers avoid; what exceeds 15 is dropped. Without a rectangle (count
// below 1 or NULL) everything that headers and peak labels avoid is forgotten, as for a new page.
TERVALON_API void TERVALON_CALL AxsHdrExcludeRect(int32_t count, const TvRect* rects);

// Returns 1 when a rectangle touches no remembered one, else 0.
TERVALON_API int32_t TERVALON_CALL AxsCheckHeaderRect(const TvRect* rect);

TERVALON_END_DECLS

#endif  // TERVALON_DRAWING_H_
