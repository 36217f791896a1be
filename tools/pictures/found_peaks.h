// Peaks and centroids that the library finds in what is drawn.

#ifndef TOOLS_PICTURES_FOUND_PEAKS_H_
#define TOOLS_PICTURES_FOUND_PEAKS_H_

#include <tervalon/processing_peaks.h>

#include <string>

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

// Both throw a Failure about `subject`; a series with too few points has none.
void AddPeaks(const std::string& subject, const PrcPeakSearch& search, PlotSeries& series);
void AddCentroids(const std::string& subject, const PrcCentroiding& centroiding,
                  PlotSeries& series);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_FOUND_PEAKS_H_
