#include "raw/trace_extractor.h"

#include <algorithm>
#include <array>

#include "raw/point_blocks.h"

namespace tervalon::raw {
namespace {

constexpr int32_t kUncalibrated = 16;  // no segment number: those have four bits

// The points whose 1-based number lies from the integer part of `low` to that of `high`.
std::vector<PointRun> PointRange(float low, float high) {
  constexpr float kBeyond = 1 << 23;  // behind every point
  if (!(low < kBeyond) || !(high >= 1)) return {};
  const auto first = static_cast<uint32_t>(std::max(low, 1.0f));
  const auto last = static_cast<uint32_t>(std::min(high, kBeyond));
  if (last < first) return {};
  return {{first - 1, last - first + 1}};
}

}  // namespace

std::vector<PointRun> ChannelRuns(const FunctionReader& reader, float low, float high) {
  std::vector<PointRun> runs;
  for (uint32_t channel = 0; channel < reader.channels(); ++channel) {
    const float mass = reader.ChannelMass(channel);
    if (mass >= low && mass <= high) AppendPoint(channel, &runs);
  }
  return runs;
}

void TraceExtractor::AddTrace(const RawTrace& trace, float* values) {
  const size_t number = values_.size();
  values_.push_back(values);
  for (int32_t i = 0; i < trace.window_count; ++i) {
    windows_.push_back(MakeWindow(trace, trace.windows[i]));
    windows_.back().trace = number;
  }
  totals_.resize(values_.size());
  lane_sums_.resize(windows_.size());
}

TraceExtractor::Window TraceExtractor::MakeWindow(const RawTrace& trace,
                                                  const RawTraceWindow& window) const {
  Window made = {};
  made.low = window.low;
  made.high = window.high;
  made.subtract = window.subtract != 0;
  if (trace.kind == RAW_TRACE_POINTS) {
    made.selection = Selection::kRuns;
    made.runs = PointRange(window.low, window.high);
  } else if (reader_->has_channels()) {
    made.selection = Selection::kRuns;
    made.runs = ChannelRuns(*reader_, window.low, window.high);
  } else {
    made.selection = reader_->type().stores_masses() ? Selection::kMasses : Selection::kSpacedRuns;
  }
  return made;
}

bool TraceExtractor::has(Selection selection) const {
  return std::any_of(windows_.begin(), windows_.end(),
                     [selection](const Window& window) { return window.selection == selection; });
}

int32_t TraceExtractor::Extract(const IndexRecord& scan, size_t i) {
  int32_t error = PrepareFor(scan);
  if (error == RAW_OK) error = SumRuns(scan);
  if (error == RAW_OK && has(Selection::kMasses)) error = SumMasses(scan);
  if (error != RAW_OK) return error;
  std::fill(totals_.begin(), totals_.end(), 0.0);
  for (const Window& window : windows_) {
    totals_[window.trace] += window.subtract ? -window.sum : window.sum;
  }
  for (size_t trace = 0; trace < values_.size(); ++trace) {
    values_[trace][i] = static_cast<float>(totals_[trace]);
  }
  return RAW_OK;
}

// Brings mass windows back to stored masses or points, when the calibration or the number of points
// is not that of the scan before.
int32_t TraceExtractor::PrepareFor(const IndexRecord& scan) {
  uint32_t stored_points = 0;
  const int32_t error = reader_->FindStoredPoints(scan, &stored_points);
  if (error != RAW_OK) return error;
  const MassCalibration& calibration = reader_->CalibrationOf(scan);
  const int32_t segment =
      calibration.identity() ? kUncalibrated : static_cast<int32_t>(scan.segment());
  const bool same_segment = segment == prepared_segment_;
  const bool same_points =
      scan.points() == prepared_points_ && stored_points == prepared_stored_points_;
  if (!same_segment) growing_ = std::make_unique<GrowingCalibration>(calibration, reader_->range());
  prepared_segment_ = segment;
  prepared_points_ = scan.points();
  prepared_stored_points_ = stored_points;
  for (Window& window : windows_) {
    if (window.selection == Selection::kMasses && !same_segment) {
      window.stored = growing_->StoredWindow(window.low, window.high);
    }
    if (window.selection == Selection::kSpacedRuns && !(same_segment && same_points)) {
      window.runs = FindRuns(*growing_, MassAxis(reader_->range(), scan.points()), stored_points,
                             window.low, window.high);
    }
  }
  return RAW_OK;
}

int32_t TraceExtractor::SumRuns(const IndexRecord& scan) {
  const DataType& type = reader_->type();
  for (Window& window : windows_) {
    if (window.selection == Selection::kMasses) continue;
    LaneSum sum;
    for (const PointRun& run : window.runs) {
      const int32_t error =
          ForEachBlock(reader_, scan, run.first, run.count, [&](const PointBlock& block) {
            std::array<float, kBlockPoints> intensities;
            type.decoder().intensities(block.bytes, type.Units(block.skip + block.points),
                                       intensities.data());
            sum.Add(intensities.data() + block.skip, block.points);
            return true;
          });
      if (error != RAW_OK) return error;
    }
    window.sum = sum.Total();
  }
  return RAW_OK;
}

int32_t TraceExtractor::SumMasses(const IndexRecord& scan) {
  const DataType& type = reader_->type();
  std::array<float, kBlockPoints> intensities;
  std::array<float, kBlockPoints> masses;
  std::fill(lane_sums_.begin(), lane_sums_.end(), LaneSum());
  const int32_t error = ForEachBlock(reader_, scan, 0, scan.points(), [&](const PointBlock& block) {
    type.decoder().intensities(block.bytes, block.units, intensities.data());
    type.decoder().masses(block.bytes, block.units, masses.data());
    const bool stored = growing_->CoversAll(masses.data(), block.points);
    if (!stored) growing_->calibration().Apply(masses.data(), block.points);
    for (size_t i = 0; i < windows_.size(); ++i) {
      const Window& window = windows_[i];
      if (window.selection != Selection::kMasses) continue;
      const MassRange range = stored ? window.stored : MassRange{window.low, window.high};
      lane_sums_[i].AddInside(masses.data(), intensities.data(), block.points, range.low,
                              range.high);
    }
    return true;
  });
  for (size_t i = 0; i < windows_.size(); ++i) {
    if (windows_[i].selection == Selection::kMasses) windows_[i].sum = lane_sums_[i].Total();
  }
  return error;
}

}  // namespace tervalon::raw
