#include "viewer/core/trace_job.h"

#include <algorithm>
#include <chrono>

namespace tervalon::viewer {
namespace {

// What a step may take; the shell answers the mouse between them.
constexpr std::chrono::milliseconds kStepTime(10);

bool IsReadAtOnce(const tools::TraceRequest& trace) {
  const uint32_t type = trace.trace.type;
  return type == DM_TRACE_TIC || type == DM_TRACE_BPI || trace.is_analog();
}

}  // namespace

TraceJob::TraceJob(std::shared_ptr<const tools::DataReader> reader,
                   std::vector<tools::TraceRequest> traces, const TraceJob* before)
    : reader_(std::move(reader)),
      traces_(std::move(traces)),
      scans_(static_cast<size_t>(std::max(reader_->ScanCount(), 0))),
      stopped_(before != nullptr && before->stopped_) {
  for (const tools::TraceRequest& trace : traces_) {
    if (IsReadAtOnce(trace)) {
      sums_.emplace_back();
      series_.push_back(tools::ReadChromatogramSeries(*reader_, trace));
      continue;
    }
    sums_.push_back(SumOf(*reader_, trace));
    series_.push_back(tools::EmptyChromatogramSeries(*reader_, trace));
    if (before == nullptr) continue;
    const auto same = std::ranges::find(before->traces_, trace.key, &tools::TraceRequest::key);
    if (same == before->traces_.end()) {
      stopped_ = false;  // somebody wants to see it
      continue;
    }
    const auto& read = before->series_[static_cast<size_t>(same - before->traces_.begin())];
    const size_t count = std::min(read.x.size(), scans_);
    series_.back().x.assign(read.x.begin(), read.x.begin() + static_cast<ptrdiff_t>(count));
    series_.back().y.assign(read.y.begin(), read.y.begin() + static_cast<ptrdiff_t>(count));
  }
}

bool TraceJob::Step() {
  if (part() >= 1) return false;
  const auto begin = std::chrono::steady_clock::now();
  // Those that are the least far catch up with the next.
  size_t first = scans_;
  for (size_t i = 0; i < sums_.size(); ++i) {
    if (!sums_[i].windows.empty()) first = std::min(first, series_[i].x.size());
  }
  size_t end = std::min(first + scans_of_step_, scans_);
  std::vector<size_t> together;
  std::vector<tools::WindowSum> sums;
  for (size_t i = 0; i < sums_.size(); ++i) {
    const size_t has = series_[i].x.size();
    if (sums_[i].windows.empty()) continue;
    if (has == first) {
      together.push_back(i);
      sums.push_back(sums_[i]);
    } else {
      end = std::min(end, has);
    }
  }
  const size_t count = end - first;
  const tools::Chromatogram piece =
      reader_->ReadSums(sums, static_cast<int32_t>(first) + 1, static_cast<int32_t>(count));
  for (size_t i = 0; i < together.size(); ++i) {
    tools::PlotSeries& series = series_[together[i]];
    series.x.insert(series.x.end(), piece.times.begin(), piece.times.end());
    series.y.insert(series.y.end(), piece.traces[i].begin(), piece.traces[i].end());
  }
  const bool was_short = 2 * (std::chrono::steady_clock::now() - begin) < kStepTime;
  scans_of_step_ =
      was_short ? std::min(2 * scans_of_step_, scans_) : std::max<size_t>(count / 2, 1);
  return part() < 1;
}

double TraceJob::part() const {
  size_t read = 0;
  size_t wanted = 0;
  for (size_t i = 0; i < sums_.size() && !stopped_; ++i) {
    if (sums_[i].windows.empty()) continue;
    read += series_[i].x.size();
    wanted += scans_;
  }
  return wanted == 0 ? 1 : static_cast<double>(read) / static_cast<double>(wanted);
}

}  // namespace tervalon::viewer
