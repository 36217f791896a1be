// Axes objects: a rectangular plotting area in device units, divided into one to five stacked rows.
// Each row shows an equal, consecutive slice of the X range against the common Y range, with an
// optional oblique Z (depth) direction for stacked traces.
//
// Handles are 1 to 49, of the whole process; rows count from 0. Every setter lays the rows out at
// once. Ranges and factors that are not finite, and rectangles that exceed 32 bits on the way, give
// the failure value. Inside areas and margins, widths and heights include both edges.

#ifndef TERVALON_AXES_H_
#define TERVALON_AXES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define AXS_MAX_ROWS 5
#define AXS_MAX_MAGNIFY_RANGES 5

#define AXS_X_AXIS 0
#define AXS_Y_AXIS 1
#define AXS_Z_AXIS 2

// The crossing is the value at which the other axis crosses this one.
typedef struct AxsRange {
  float low;
  float high;
  float crossing;
} AxsRange;

// Y values of points with from <= x < to are multiplied by factor. Unused when factor is 1.
typedef struct AxsMagnify {
  float from;
  float to;
  float factor;
} AxsMagnify;

// The slice of the X range that a row shows; origin is from.
typedef struct AxsRowRange {
  float from;
  float to;
  float origin;
} AxsRowRange;

#define AXS_FLAG_IN_USE 1
#define AXS_FLAG_MAGNIFIED 4  // at least one magnify range is live

// An axes object.
typedef struct AxsSystem {
  uint16_t flags;
  TvRect area;     // of the whole object, on the device
  TvRect margins;  // kept free on each side of every row, for ticks, labels and titles
  int32_t minimum_width;
  int32_t minimum_height;  // of a row
  AxsRange x;
  AxsRange y;
  AxsRange z;  // its crossing is not used
  int32_t requested_rows;
  int32_t row_order;  // 0: row 0 is the top row; otherwise the bottom row
  float depth_x;      // how much of the width goes to the Z direction, 0: flat
  float depth_y;      // the same for each row's height
  int32_t active_magnify;
  AxsMagnify magnify[AXS_MAX_MAGNIFY_RANGES];
  int32_t row_count;                  // rows laid out; 0 when nothing fits
  int32_t row_systems[AXS_MAX_ROWS];  // coordinate-system handles
  AxsRowRange row_ranges[AXS_MAX_ROWS];
} AxsSystem;

// Where several axes objects stand one below another.
typedef struct AxsPosition {
  TvRect area;
  TvRect margins;
  int32_t first;  // index of the first axes object shown
  int32_t count;  // how many are shown
  int32_t step;   // signed vertical distance from one to the next
  int32_t overlap;
} AxsPosition;

// Where an axis has its ticks.
typedef struct AxsTickInfo {
  float first;
  float last;
  float step;
  int32_t divisions;  // minor divisions of a step
  int32_t count;
} AxsTickInfo;

// Which parts of an axis are drawn or measured.
#define AXS_DRAW_LINE 1
#define AXS_DRAW_TICKS 2
#define AXS_DRAW_LABELS 4
#define AXS_DRAW_TITLE 8

// Where an axis starts in each row: at the lower left corner, the upper right one, or (neither)
// where it crosses the other axis.
#define AXS_PLACE_BOTTOM_LEFT 1
#define AXS_PLACE_TOP_RIGHT 2
#define AXS_PLACE_PERCENT 0x200  // a percent axis: labels are value / high end * 100

// How an axis is drawn.
typedef struct AxsStyle {
  TvPen axis_pen;     // NULL keeps the current pen
  TvPen tick_pen;     // NULL keeps the current pen; grid lines copy its width and colour
  TvFont label_font;  // NULL keeps the current font
  TvFont title_font;  // NULL keeps the current font
  TvColour label_colour;
  TvColour title_colour;
  int32_t offset;            // device units from the row's anchor to where ticks start
  const AxsTickInfo* ticks;  // NULL: chosen for the call
  int32_t tick_length;       // minor ticks have half of it; negative: inward
  int32_t decimals;          // of labels; negative: 6, on a Y axis its significant digits
  const char* title;         // NULL: none
  uint32_t placement;        // AXS_PLACE_ flags
} AxsStyle;
TERVALON_STRUCT_SIZE(AxsStyle, 48, 80);

// Creates an axes object of 1 to 5 rows with ranges 0..1 and empty area and margins. Returns its
// handle; 0 for another number of rows, when all handles are used or a row gets no coordinate
// system.
TERVALON_API int32_t TERVALON_CALL AxsCreate(int32_t rows, int32_t row_order, int32_t minimum_width,
                                             int32_t minimum_height);

// Deletes an axes object and its rows' coordinate systems. Returns 1, 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsDelete(int32_t axes);

// Returns 1 for a valid handle, else 0.
TERVALON_API int32_t TERVALON_CALL AxsValidHandle(int32_t axes);

// Sets the share of the Z direction: a width W leaves W / (depth_x + 1) to the rows. Returns the
// new row count; 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsModify(int32_t axes, double depth_x, double depth_y);

// Sets area and margins. Returns the new row count; 0 for an invalid handle. Without an area (NULL,
// margins not read) the object has no rows until it is sized again.
TERVALON_API int32_t TERVALON_CALL AxsSize(int32_t axes, const TvRect* area, const TvRect* margins);

// Sets both ranges as AxsSetAxisRange does. X crosses at its low end, Y at its low end or, when
// that is negative, at 0. Returns 1, 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsSetRanges(int32_t axes, float x_low, float x_high,
                                                float y_low, float y_high);

// Sets one range. An X range whose ends are equal is widened by 0.5 on both sides and crosses at
// its new low end, a Y range is widened by 1 upward. Returns 1, 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsSetAxisRange(int32_t axes, const AxsRange* range,
                                                   int32_t axis);

// Copies the axes object. Returns 1, 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsGetSystem(int32_t axes, AxsSystem* system);

// Returns the first row whose slice holds x, -1 for none. `point` (optional) receives the device
// position; its y is -1 when y is outside the Y range.
TERVALON_API int32_t TERVALON_CALL AxsGetAxisCoord(int32_t axes, double x, double y,
                                                   TvPoint* point);

// Returns the value at a device x (axis 0) or device y (axis 1) of a row, with `clamp` limited to
// the axes' whole X or Y range. 0.0 on failure.
TERVALON_API float TERVALON_CALL AxsGetValue(int32_t axes, int32_t row, int32_t position,
                                             int16_t axis, int32_t clamp);

// What AxsGetArea gives; 0 is the rectangle that a row's data occupy.
#define AXS_AREA_MARGINS 1       // the margins themselves, nothing else
#define AXS_AREA_WHOLE 2         // all rows in place of one
#define AXS_AREA_KEEP_LEFT 4     // with the left margin
#define AXS_AREA_KEEP_RIGHT 8    // with the right margin
#define AXS_AREA_KEEP_TOP 16     // with the top margin
#define AXS_AREA_KEEP_BOTTOM 32  // with the bottom margin

// Stores a rectangle of a row. Returns 1; 0 for an invalid handle or a row that is not laid out.
TERVALON_API int32_t TERVALON_CALL AxsGetArea(int32_t axes, int32_t row, TvRect* area,
                                              int32_t flags);

// Returns the first row whose area (with the flags of AxsGetArea) holds the point, edges included;
// -1 for none.
TERVALON_API int32_t TERVALON_CALL AxsSelectAxis(int32_t axes, int32_t x, int32_t y, int16_t flags);

// Returns how many axes objects, each of the minimum size and the margins, the block's area holds
// one above the other.
TERVALON_API int32_t TERVALON_CALL AxsMaxAxes(const AxsPosition* position, const TvRect* margins,
                                              int32_t minimum_width, int32_t minimum_height);

// Finds out how many of the position's `count` axes objects, from `first` on, have room in its area
// (each at least a quarter inch each way), and makes area and step those of one. With `overlay` set
// in `flags` all share the area, as long as there is room for one. Returns the number shown, which
// also becomes the position's count; 0 for a dead device context.
#define AXS_POSITION_OVERLAY 1
TERVALON_API int32_t TERVALON_CALL AxsGetPositionInfo(TvDC dc, int32_t flags,
                                                      AxsPosition* position);

// Sizes an axes object as number `index` of those that `position` describes, of which the first
// stands at the area itself, or with `reverse` the last. Returns 1 when it is shown; otherwise 0,
// and it is sized without an area.
TERVALON_API int32_t TERVALON_CALL AxsPositionAxis(int32_t axes, int32_t index, int32_t reverse,
                                                   AxsPosition position);

// Chooses ticks for the X or Y axis (side) at round numbers that are at least `minimum_distance`
// device units apart and need no more than `decimals` decimals (negative: as the distance asks
// for). Returns the tick count; -1 for an invalid handle, no rows, another side, a scale of 0 or a
// distance that asks for nothing.
TERVALON_API int32_t TERVALON_CALL AxsAxisAnnInfo(int32_t axes, int32_t decimals,
                                                  int32_t minimum_distance, AxsTickInfo* info,
                                                  int32_t side);

// Puts ticks at both ends of the X or Y axis. Returns 2; -1 for an invalid handle or another side.
TERVALON_API int32_t TERVALON_CALL AxsAxisAnnPercentInfo(int32_t axes, AxsTickInfo* info,
                                                         int32_t side);

// Store the length of ticks (1/16 inch) and the smallest useful axis (1/4 inch) in device units.
// Return 1, 0 for a dead device context.
TERVALON_API int32_t TERVALON_CALL AxsTickSize(TvDC dc, TvSize* size);
TERVALON_API int32_t TERVALON_CALL AxsMinLength(TvDC dc, TvSize* size);

// Measures the space that an X (side 0) or Y axis (side 1) takes for those of ticks, labels and
// title that `parts` (AXS_DRAW_ bits) names: beside an X axis `width` at its end and `height` below
// it, beside a Y axis `width` to its left and `height` above it. Returns 1; 0 when the device
// context's state cannot be saved, or for another side.
TERVALON_API int32_t TERVALON_CALL AxsBorderSize(TvDC dc, const AxsStyle* style, int32_t parts,
                                                 int32_t side, TvSize* size);

// Stores the margins that default axes need (AxsDisplayDefaultAxes): `x_title` NULL for none,
// `y_title` NULL for a percent axis. Returns the height of the X labels, 0 on failure.
TERVALON_API int32_t TERVALON_CALL AxsGetBorder(TvDC dc, TvRect* margins, const char* x_title,
                                                const char* y_title, int32_t reserved);

TERVALON_END_DECLS

#endif  // TERVALON_AXES_H_
