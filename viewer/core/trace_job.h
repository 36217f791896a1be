// Chromatograms that take a pass over all spectra, read piece by piece: who waits sees how far it
// is and may end it.

#ifndef VIEWER_CORE_TRACE_JOB_H_
#define VIEWER_CORE_TRACE_JOB_H_

#include <cstdint>
#include <vector>

#include "tools/data/trace_reader.h"
#include "tools/pictures/plot_series.h"

namespace tervalon::viewer {

class TraceJob {
 public:
  // Throws a Failure when the data set does not have a trace. The reader must outlive the job.
  TraceJob(const tools::DataReader& reader, std::vector<tools::TraceRequest> traces);

  // Reads for about as long as somebody does not notice. False when all is read. Throws a Failure.
  bool Step();

  double part() const;
  // In the order of the requests; of those that are not read to the end what there is.
  std::vector<tools::PlotSeries> Series() const;

 private:
  const tools::DataReader& reader_;
  const std::vector<tools::TraceRequest> traces_;
  const int32_t scans_;
  int32_t read_ = 0;
  int32_t scans_of_step_ = 1;
  std::vector<size_t> sums_of_;  // of which traces the sums are
  std::vector<tools::WindowSum> sums_;
  std::vector<tools::PlotSeries> series_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_TRACE_JOB_H_
