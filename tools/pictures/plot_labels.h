// Which peaks of a plot are worth a label.

#ifndef TOOLS_PICTURES_PLOT_LABELS_H_
#define TOOLS_PICTURES_PLOT_LABELS_H_

#include <tervalon/axes.h>
#include <tervalon/drawing.h>

#include <vector>

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

// Peaks within the X range of the axes that stand out from their neighbours on its Y range, with
// the factors of magnified ranges applied; of too many the highest.
std::vector<AxsPlotLabel> FindPeaks(const PlotSeries& series, const AxsSystem& axes);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_LABELS_H_
