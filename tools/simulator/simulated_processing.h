// What somebody would make of a simulated run: the scans of its strongest peak combined, that
// spectrum smoothed, and its centroids. Three processed data sets of one scan, and their history.

#ifndef TOOLS_SIMULATOR_SIMULATED_PROCESSING_H_
#define TOOLS_SIMULATOR_SIMULATED_PROCESSING_H_

#include <cstdint>
#include <vector>

#include "tools/simulator/simulation_model.h"

namespace tervalon::tools {

class SimulatedProcessing {
 public:
  // The function holds `scans` continuum scans over `range`, with the peak's top near scan `apex`.
  SimulatedProcessing(int16_t function, MassRange range, int32_t scans, int32_t apex);

  // Takes note of a scan (from 1); any order.
  void Add(int32_t scan, const std::vector<float>& intensities);

  // Writes data sets 1 to 3 and the history to a directory that is being created; `time` (minutes)
  // is the spectra's. Returns a Raw error code.
  int32_t Write(int32_t handle, float time) const;

 private:
  struct Scans {
    int32_t first;
    int32_t last;
    std::vector<double> sum = {};

    void Add(int32_t scan, const std::vector<float>& intensities);
    double Mean(size_t point) const { return sum[point] / (last - first + 1); }
  };

  Points Combined() const;
  Points Centroids(const Points& continuum) const;
  int32_t WriteHistory(int32_t handle) const;

  const int16_t function_;
  const MassRange range_;
  Scans peak_;
  Scans background_;  // none when its first scan is 0
};

}  // namespace tervalon::tools

#endif  // TOOLS_SIMULATOR_SIMULATED_PROCESSING_H_
