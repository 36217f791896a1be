#include "viewer/core/trace_job.h"

#include <algorithm>
#include <chrono>

namespace tervalon::viewer {
namespace {

// What a step may take; the shell answers the mouse between them.
constexpr std::chrono::milliseconds kStepTime(10);

}  // namespace

TraceJob::TraceJob(const tools::DataReader& reader, std::vector<tools::TraceRequest> traces)
    : reader_(reader), traces_(std::move(traces)), scans_(reader.ScanCount()) {
  for (size_t i = 0; i < traces_.size(); ++i) {
    const tools::TraceRequest& trace = traces_[i];
    const uint32_t type = trace.trace.type;
    if (type == DM_TRACE_TIC || type == DM_TRACE_BPI || trace.is_analog()) {
      series_.push_back(tools::ReadChromatogramSeries(reader, trace));
      continue;
    }
    sums_of_.push_back(i);
    sums_.push_back(SumOf(reader, trace));
    series_.push_back(tools::EmptyChromatogramSeries(reader, trace));
  }
}

bool TraceJob::Step() {
  if (sums_.empty() || read_ == scans_) return false;
  const auto begin = std::chrono::steady_clock::now();
  const int32_t count = std::min(scans_of_step_, scans_ - read_);
  const tools::Chromatogram piece = reader_.ReadSums(sums_, read_ + 1, count);
  for (size_t i = 0; i < sums_.size(); ++i) {
    tools::PlotSeries& series = series_[sums_of_[i]];
    series.x.insert(series.x.end(), piece.times.begin(), piece.times.end());
    series.y.insert(series.y.end(), piece.traces[i].begin(), piece.traces[i].end());
  }
  read_ += count;
  const bool was_short = 2 * (std::chrono::steady_clock::now() - begin) < kStepTime;
  scans_of_step_ = was_short ? std::min(2 * scans_of_step_, scans_) : std::max(count / 2, 1);
  return read_ < scans_;
}

double TraceJob::part() const {
  return sums_.empty() || scans_ == 0 ? 1 : static_cast<double>(read_) / scans_;
}

std::vector<tools::PlotSeries> TraceJob::Series() const { return series_; }

}  // namespace tervalon::viewer
