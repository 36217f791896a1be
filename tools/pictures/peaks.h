// Which points of a plot are peaks that a label could name.

#ifndef TOOLS_PICTURES_PEAKS_H_
#define TOOLS_PICTURES_PEAKS_H_

#include <tervalon/axes.h>

#include <vector>

#include "tools/pictures/plot_series.h"

namespace tervalon::tools {

struct PeakLimits {
  Window x;                           // where to look
  float base;                         // the value that peaks rise or fall from
  float visible;                      // the least height that is seen, as drawn
  std::vector<AxsMagnify> magnified;  // ranges
};

// The factor that magnified ranges draw a place with.
float FactorAt(const std::vector<AxsMagnify>& magnified, float x);

// The numbers of points that stand out of the noise, upward or downward. Of neighbouring points of
// one peak, also where these are drawn as sticks, only the highest.
std::vector<size_t> FindPeaks(const PlotSeries& series, const PeakLimits& limits);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PEAKS_H_
