// Magnified ranges: up to five intervals of the X axis in which an axes object shows Y values
// multiplied by a factor.
//
// Ranges count from 0; a point in several is magnified by the first. A range is free when its
// factor is 1 or its ends are equal, and live when it is not free and its factor is above 0.

#ifndef TERVALON_MAGNIFICATION_H_
#define TERVALON_MAGNIFICATION_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

struct AxsPlotBlock;

// Stores range `index`: from <= x < to. An active range that is no longer live passes that on to
// the range stored, or to the last live one. Returns 1; 0 for an invalid handle or index, or a
// value that is not finite.
TERVALON_API int32_t TERVALON_CALL AxsMagnifyRange(int32_t axes, double factor, double from,
                                                   double to, int32_t index);

// Returns whether x lies in a range whose factor is not 1, while one is live.
TERVALON_API int32_t TERVALON_CALL AxsMagnified(int32_t axes, float x);

// Returns the first free range, -1 when there is none; 0 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL AxsGetAvailableMagnifyRange(int32_t axes);

// Returns the active range and stores its members (each pointer is optional). 0 for an invalid
// handle.
TERVALON_API int32_t TERVALON_CALL AxsGetActiveMagnifyRange(int32_t axes, float* from, float* to,
                                                            float* factor);

// Steps the factor of range `index` by `delta`, from 1 upward always to 2, to whole numbers of 1 to
// 10000; with `reset` back to 1. Which ranges are live or active is left as it was. Returns the new
// factor; 1.0 for an invalid handle or index.
TERVALON_API float TERVALON_CALL AxsAdjustMagnifyFactor(int32_t axes, int32_t index, int32_t delta,
                                                        int32_t reset);

// Makes the range active whose bracket, as it is drawn on dc, holds the device point (x, y), or
// else range `index` (another number: none). `strip` (optional) receives the strip that the
// brackets of that row stand in, when a range was chosen that is in view. Returns the range that
// was active; 0 for an invalid handle or a dead device context, or when no range is live.
TERVALON_API int32_t TERVALON_CALL AxsSetActiveMagnifyRange(TvDC dc, int32_t axes, int32_t index,
                                                            int32_t x, int32_t y, TvRect* strip);

// Draws a bracket with the factor above each range that is live and in view, the factor in the
// colour of the plot block's labels. Returns 0, or -1 for an invalid handle or block, or when
// the device context's state cannot be saved or restored.
TERVALON_API int32_t TERVALON_CALL AxsAnnotateMagnify(TvDC dc, int32_t axes,
                                                      const struct AxsPlotBlock* plot);

TERVALON_END_DECLS

#endif  // TERVALON_MAGNIFICATION_H_
