#include "tools/pictures/found_peaks.h"

#include <tervalon/number_format.h>

#include "tools/processing/peak_search.h"
#include "tools/processing/results.h"

namespace tervalon::tools {

void AddPeaks(const std::string& subject, const PrcPeakSearch& search, PlotSeries& series) {
  constexpr size_t kFewest = 3;
  if (series.x.size() < kFewest) return;
  float noise = 0;
  for (const PrcPeak& peak :
       FindPeaks(subject + ", " + series.title, series.x, series.y, {.search = search}, &noise)) {
    char area[40];
    series.peaks.push_back({.x = peak.time,
                            .y = peak.height,
                            .start = peak.start_time,
                            .end = peak.end_time,
                            .start_y = peak.start_intensity,
                            .end_y = peak.end_intensity,
                            .note = std::string(", area ") + etoa(peak.area, area, 2)});
  }
}

void AddCentroids(const std::string& subject, const PrcCentroiding& centroiding,
                  PlotSeries& series) {
  constexpr int kDecimals = 4;
  if (series.x.empty()) return;
  series.label_decimals = kDecimals;
  std::vector<float> masses = series.x;
  std::vector<float> heights = series.y;
  int32_t count = 0;
  CheckProcessing(
      PrcCentroid(&centroiding, masses.data(), heights.data(), static_cast<int32_t>(masses.size()),
                  masses.data(), heights.data(), &count),
      subject + ", " + series.title);
  for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
    series.peaks.push_back({.x = masses[i], .y = heights[i]});
  }
}

}  // namespace tervalon::tools
