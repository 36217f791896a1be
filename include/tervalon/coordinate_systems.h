// Coordinate systems: map data values to device positions and back. Each has an X axis to the
// right, a Y axis upward, and an oblique Z (depth) direction that shifts the whole system right and
// up, so that the traces of a stacked plot stand one behind the other.
//
// Handles are 1 to 119, of the whole process. Mind the results: the setters and CosValidHandle
// return 0 for success and -1 for failure. Values are stored as floats. A position beyond 32 bits
// is the nearest that 32 bits hold.

#ifndef TERVALON_COORDINATE_SYSTEMS_H_
#define TERVALON_COORDINATE_SYSTEMS_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Creates a system whose offsets and Z scales are 0 and whose X and Y scales are 1. Returns the
// lowest free handle, 0 when none is free.
TERVALON_API int32_t TERVALON_CALL CosCreate(int32_t origin_x, int32_t origin_y);

// Frees a system. Returns 0, -1 for an invalid handle.
TERVALON_API int32_t TERVALON_CALL CosDelete(int32_t system);

// Returns 0 for a valid handle, -1 otherwise.
TERVALON_API int32_t TERVALON_CALL CosValidHandle(int32_t system);

// Returns the number of free handles.
TERVALON_API int32_t TERVALON_CALL CosAvailable(void);

// Set the device position of the origin, and for each axis the value there and the device units per
// data unit. Return 0, or -1 for an invalid handle or a value that is not finite. CosModifyZAxis
// also moves the system back to depth shift 0.
TERVALON_API int32_t TERVALON_CALL CosModifyOrigin(int32_t system, int32_t origin_x,
                                                   int32_t origin_y);
TERVALON_API int32_t TERVALON_CALL CosModifyXAxis(int32_t system, double offset, double scale);
TERVALON_API int32_t TERVALON_CALL CosModifyYAxis(int32_t system, double offset, double scale);
TERVALON_API int32_t TERVALON_CALL CosModifyZAxis(int32_t system, double offset, double scale_x,
                                                  double scale_y);

// Moves the system to depth z. Returns 0 or -1 as the setters do.
TERVALON_API int32_t TERVALON_CALL CosSetZValue(int32_t system, double z);

// Returns the device coordinate of the origin moved to depth z: x for `which` 0, else y. 0 for an
// invalid handle.
TERVALON_API int32_t TERVALON_CALL CosPosOfZValue(int32_t system, double z, int32_t which);

// Return the device position of a value; 0 for an invalid handle. A scale of 0, and a value that is
// not a number, give the position of the axis's offset.
TERVALON_API int32_t TERVALON_CALL CosXPosOfValue(int32_t system, double value);
TERVALON_API int32_t TERVALON_CALL CosYPosOfValue(int32_t system, double value);

// Return the value at a device position; 0.0 for an invalid handle. With a scale of 0 it is
// infinite or not a number.
TERVALON_API double TERVALON_CALL CosValueAtXPos(int32_t system, int32_t x);
TERVALON_API double TERVALON_CALL CosValueAtYPos(int32_t system, int32_t y);

TERVALON_END_DECLS

#endif  // TERVALON_COORDINATE_SYSTEMS_H_
