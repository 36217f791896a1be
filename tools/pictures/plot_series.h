// What a picture shows: chromatograms and spectra, ready to be drawn.

#ifndef TOOLS_PICTURES_PLOT_SERIES_H_
#define TOOLS_PICTURES_PLOT_SERIES_H_

#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/data/trace_reader.h"

namespace tervalon::tools {

struct PlotSeries {
  std::string title = {};    // "TIC"
  std::string x_title = {};  // "min"
  bool sticks = false;       // nothing between points
  int label_decimals = 2;
  std::vector<float> x = {};
  std::vector<float> y = {};
};

// A spectrum by its scan number, or the scan that is nearest to a time.
struct ScanRequest {
  int32_t scan = 0;
  float minutes = 0;  // where scan is 0
};

// All throw a Failure about what cannot be read.
PlotSeries ReadChromatogramSeries(const DataReader& reader, const TraceRequest& request);
PlotSeries ReadSpectrumSeries(const DataReader& reader, const ScanRequest& request);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_SERIES_H_
