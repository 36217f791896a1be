// The coordinate systems themselves, for code that converts many points.

#ifndef PLOT_COORDINATE_SYSTEMS_H_
#define PLOT_COORDINATE_SYSTEMS_H_

#include <cstdint>

#include "plot/truncate.h"
#include "tervalon/types.h"

namespace tervalon::plot {

struct CoordinateSystem {
  int32_t origin_x = 0;
  int32_t origin_y = 0;
  float x_offset = 0.0F;
  float y_offset = 0.0F;
  float z_offset = 0.0F;
  float x_scale = 1.0F;
  float y_scale = 1.0F;
  float z_to_x_scale = 0.0F;
  float z_to_y_scale = 0.0F;
  int32_t z_shift_x = 0;
  int32_t z_shift_y = 0;

  // The half is added before truncation, so that negative distances round toward zero.
  int32_t XPosition(double value) const {
    return Saturate(int64_t{Truncate((value - x_offset) * x_scale + 0.5)} + origin_x + z_shift_x);
  }
  int32_t YPosition(double value) const {
    return Saturate(int64_t{origin_y} - Truncate((value - y_offset) * y_scale + 0.5) + z_shift_y);
  }
  double XValue(int32_t x) const {
    return static_cast<double>(int64_t{x} - origin_x - z_shift_x) / x_scale + x_offset;
  }
  double YValue(int32_t y) const {
    return static_cast<double>(int64_t{origin_y} - y + z_shift_y) / y_scale + y_offset;
  }

  // The origin at depth z.
  int32_t ZPositionX(double z) const;
  int32_t ZPositionY(double z) const;

  // Moves the system to depth z.
  void SetZ(double z);
  void SetZAxis(double offset, double scale_x, double scale_y);
};

// nullptr for a handle that is not in use.
CoordinateSystem* FindSystem(int32_t handle);

}  // namespace tervalon::plot

#endif  // PLOT_COORDINATE_SYSTEMS_H_
