// Which points magnified ranges apply to.

#ifndef PLOT_MAGNIFICATION_H_
#define PLOT_MAGNIFICATION_H_

#include "tervalon/axes.h"

namespace tervalon::plot {

inline bool Contains(const AxsMagnify& range, float x) { return range.from <= x && x < range.to; }

// The range whose factor multiplies the points at x; nullptr for none.
const AxsMagnify* MagnifierAt(const AxsSystem& system, float x);

}  // namespace tervalon::plot

#endif  // PLOT_MAGNIFICATION_H_
