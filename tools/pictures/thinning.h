// What a picture shows of a series of millions of points.

#ifndef TOOLS_PICTURES_THINNING_H_
#define TOOLS_PICTURES_THINNING_H_

#include <cstdint>
#include <optional>

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

// Puts the points into the order of x; those without one are left out. Leaves of very many points
// those that can be seen: in each of so many equal parts of the view, or of all, the first, the
// lowest, the highest and the last.
void Thin(PlotSeries& series, const std::optional<Window>& view, int32_t columns);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_THINNING_H_
