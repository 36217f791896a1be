// The axes objects themselves, for the files of this folder.

#ifndef PLOT_AXES_H_
#define PLOT_AXES_H_

#include <cstddef>
#include <cstdint>

#include "plot/coordinate_systems.h"
#include "tervalon/axes.h"

namespace tervalon::plot {

// How far outside a range a value still counts as inside.
constexpr double kRangeTolerance = 0.0001;

struct Axes {
  AxsSystem system = {};
  bool hidden = false;  // sized without an area

  bool HasRow(int32_t row) const { return row >= 0 && row < system.row_count; }

  // A row's coordinate system; nullptr for a row that is not laid out, or when somebody deleted it.
  CoordinateSystem* Row(int32_t row) const {
    return HasRow(row) ? FindSystem(system.row_systems[static_cast<size_t>(row)]) : nullptr;
  }

  // Whether there are rows, and nobody deleted the coordinate system of one.
  bool AllRowsLive() const {
    for (int32_t row = 0; row < system.row_count; ++row) {
      if (Row(row) == nullptr) return false;
    }
    return system.row_count > 0;
  }

  // Of a row that is laid out.
  const AxsRowRange& RowRange(int32_t row) const {
    return system.row_ranges[static_cast<size_t>(row)];
  }
};

// nullptr for an invalid handle.
Axes* FindAxes(int32_t handle);

// The range of axis 0, 1 or 2; nullptr for another.
AxsRange* RangeOf(AxsSystem* system, int32_t axis);

// Divides the area into as many of the requested rows as fit, and programs their coordinate
// systems.
void LayOut(Axes* axes);

}  // namespace tervalon::plot

#endif  // PLOT_AXES_H_
