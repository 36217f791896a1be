// Places peak labels so that they touch nothing that has a place already.

#ifndef PLOT_PEAK_LABELS_H_
#define PLOT_PEAK_LABELS_H_

#include <cstdint>
#include <vector>

#include "plot/axes.h"
#include "tervalon/drawing.h"

namespace tervalon::plot {

// Selects the font and the colours of a plot block's labels and factors.
void SelectForLabels(TvDC dc, const AxsPlotBlock& plot);

// Writes labels where label_rects says, with the font and colours that are selected.
void DrawPlacedLabels(TvDC dc, const AxsPlotBlock& plot);

// Writes the labels of a plot block with the font and colours that are selected, and stores where
// to label_rects. They keep clear of the brackets and the headers.
void DrawPeakLabels(TvDC dc, int32_t handle, const Axes& axes, const AxsPlotBlock& plot,
                    const std::vector<TvRect>& brackets);

}  // namespace tervalon::plot

#endif  // PLOT_PEAK_LABELS_H_
