// What a picture shows of a series of millions of points.

#ifndef TOOLS_PICTURES_THINNING_H_
#define TOOLS_PICTURES_THINNING_H_

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

// Leaves of very many points, in the order of x, those that can be seen: in each of so many equal
// parts of the view the first, the lowest, the highest and the last. Other series stay as they are.
void Thin(PlotSeries& series, const Window& view, int32_t columns);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_THINNING_H_
