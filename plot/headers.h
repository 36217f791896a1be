// What headers and peak labels on a page leave free.

#ifndef PLOT_HEADERS_H_
#define PLOT_HEADERS_H_

#include <span>

#include "tervalon/types.h"

namespace tervalon::plot {

// Sharing an edge counts.
inline bool Touch(const TvRect& a, const TvRect& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

// The headers that peak labels avoid.
std::span<const TvRect> LabelExclusions();

}  // namespace tervalon::plot

#endif  // PLOT_HEADERS_H_
