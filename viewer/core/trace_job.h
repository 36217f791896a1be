// Chromatograms, of which some take a pass over all spectra: read piece by piece, so that who waits
// sees how far it is and may end it.

#ifndef VIEWER_CORE_TRACE_JOB_H_
#define VIEWER_CORE_TRACE_JOB_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "tools/data/trace_reader.h"
#include "tools/pictures/plot_series.h"

namespace tervalon::viewer {

class TraceJob {
 public:
  // What an earlier one (nullptr: none) of the same data has read of the same traces is not read
  // again. Throws a Failure when the data set does not have a trace.
  TraceJob(std::shared_ptr<const tools::DataReader> reader, std::vector<tools::TraceRequest> traces,
           const TraceJob* before);

  // Reads for about as long as somebody does not notice. False when all is read. Throws a Failure.
  bool Step();
  // What is not read yet will not be.
  void Stop() { stopped_ = true; }

  // 1 also when it was stopped.
  double part() const;
  // In the order of the requests; of those that are not read to the end what there is.
  const std::vector<tools::PlotSeries>& series() const { return series_; }

 private:
  const std::shared_ptr<const tools::DataReader> reader_;
  const std::vector<tools::TraceRequest> traces_;
  const size_t scans_;
  size_t scans_of_step_ = 1;
  bool stopped_ = false;
  std::vector<tools::WindowSum> sums_;  // of each trace; without windows: it is read at once
  std::vector<tools::PlotSeries> series_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_TRACE_JOB_H_
