// The peaks of traces, and what is known of them.

#ifndef TOOLS_PROCESSING_PEAK_SEARCH_H_
#define TOOLS_PROCESSING_PEAK_SEARCH_H_

#include <tervalon/processing_peaks.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/data/trace_reader.h"
#include "tools/print/document.h"

namespace tervalon::tools {

// What was looked for, of which one peak at most is wanted.
struct Target {
  std::string name = {};
  double mass = 0;
  MassTolerance tolerance = {};
  std::optional<float> time = {};  // minutes, as far as the window to both sides
  float window = 0;
};

struct FoundPeak {
  std::string trace = {};
  std::optional<double> mass = {};  // of a trace of one
  std::optional<Target> target = {};
  std::optional<PrcPeak> peak = {};  // nothing where a target was not found
  bool has_scans = true;             // its points are scans
  float noise = 0;                   // of the trace
};

// What a peak is looked for with.
struct PeakSearch {
  PrcPeakSearch search = {};
  std::optional<RTCalibration> calibration = {};
};

// Throw a Failure about what cannot be read.
std::vector<PrcPeak> FindPeaks(const std::string& subject, const std::vector<float>& times,
                               const std::vector<float>& values, const PeakSearch& search,
                               float* noise);
std::vector<FoundPeak> FindTracePeaks(const DataReader& reader,
                                      const std::vector<TraceRequest>& traces,
                                      const PeakSearch& search);
std::vector<FoundPeak> FindTargets(const DataReader& reader, const std::vector<Target>& targets,
                                   const PeakSearch& search);

// CSV with a line of column names: name, mz, and where wanted tolerance ("0.05", "20ppm"), time and
// window (minutes). What the file does not say is `usual`. Throws a Failure.
std::vector<Target> ReadTargets(const std::string& file, const Target& usual);

// A table; for people it has what they look at first. Retention indices are in it when any is
// known.
Section PeakSection(const std::string& title, const std::vector<FoundPeak>& peaks, bool for_people);

}  // namespace tervalon::tools

#endif  // TOOLS_PROCESSING_PEAK_SEARCH_H_
