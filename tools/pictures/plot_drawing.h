// Plots of chromatograms and spectra on a device context.

#ifndef TOOLS_PICTURES_PLOT_DRAWING_H_
#define TOOLS_PICTURES_PLOT_DRAWING_H_

#include <tervalon/axes.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

enum class Layout {
  kStacked,   // each in its own axes, one below another
  kOverlaid,  // all in the same axes
  kDepth,     // one behind another
};

struct PictureStyle {
  std::string title = {};
  Layout layout = Layout::kStacked;
  int32_t rows = 1;  // that the X range is divided into
  std::optional<Window> x_range = {};
  std::vector<AxsMagnify> magnified = {};
  bool counts = false;      // Y axis in the data's own unit instead of percent
  bool normalised = false;  // each series relative to its own highest point
  bool filled = false;
  bool labels = true;
  bool grid = false;
};

// Series that do not share axes may have different X axes. Throws a Failure when the picture,
// of width by height pixels, is too small.
void DrawPlots(TvDC dc, int32_t width, int32_t height, std::vector<PlotSeries> series,
               const PictureStyle& style);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_DRAWING_H_
