// What a picture shows: chromatograms and spectra, ready to be planned.

#ifndef TOOLS_PICTURES_PLOT_SERIES_H_
#define TOOLS_PICTURES_PLOT_SERIES_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/data/trace_reader.h"

namespace tervalon::tools {

// A peak that was found in a series, with what it stands on: of a chromatogram from `start` to
// `end`; of a spectrum a centroid, at one place.
struct PlotPeak {
  float x = 0;
  float y = 0;  // of a centroid
  float start = 0;
  float end = 0;
  float start_y = 0;  // of the baseline
  float end_y = 0;
  std::string note = {};  // behind its label

  bool has_area() const { return start < end; }
};

struct PlotSeries {
  std::string title = {};    // "TIC"
  std::string x_title = {};  // "Time (min)"
  std::string y_title = "Intensity";
  std::string y_unit = {};           // "mAU"
  std::string depth_title = {};      // what it is one of: "scan 130"
  std::string empty = "no data";     // said in place of a plot without points
  std::optional<Window> range = {};  // of x, where there are no points
  bool sticks = false;               // nothing between points
  int label_decimals = 2;
  std::vector<float> x = {};
  std::vector<float> y = {};
  std::vector<float> noise_sample = {};  // of y, when points are left out
  std::vector<PlotPeak> peaks = {};      // labelled, instead of what is seen as peaks
};

// A spectrum by its scan number, or the scan that is nearest to a time.
struct ScanRequest {
  int32_t scan = 0;
  float minutes = 0;  // where scan is 0
};

// Without its points.
PlotSeries EmptyChromatogramSeries(const DataReader& reader, const TraceRequest& request);

// All throw a Failure about what cannot be read.
PlotSeries ReadChromatogramSeries(const DataReader& reader, const TraceRequest& request);
PlotSeries ReadSpectrumSeries(const DataReader& reader, const ScanRequest& request);

// What is left of the first when the second is taken away: at each point of either, of sticks those
// that are nearer than 0.25 being the same.
PlotSeries Difference(const PlotSeries& from, const PlotSeries& taken);

}  // namespace tervalon::tools

#endif  // TOOLS_PICTURES_PLOT_SERIES_H_
