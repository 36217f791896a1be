#include "raw/trace_extractor.h"

#include <algorithm>
#include <array>
#include <cmath>

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
  exact_sums_.resize(windows_.size());
  has_masses_ = std::any_of(windows_.begin(), windows_.end(), [](const Window& window) {
    return window.selection == Selection::kMasses;
  });
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

int32_t TraceExtractor::Extract(const IndexRecord& scan, size_t i) {
  std::fill(lane_sums_.begin(), lane_sums_.end(), LaneSum());
  std::fill(exact_sums_.begin(), exact_sums_.end(), 0);
  int32_t error = PrepareFor(scan);
  if (error == RAW_OK) error = SumRuns(scan);
  if (error == RAW_OK && has_masses_) error = SumMasses(scan);
  if (error != RAW_OK) return error;
  std::fill(totals_.begin(), totals_.end(), 0.0);
  for (size_t w = 0; w < windows_.size(); ++w) {
    const double sum = lane_sums_[w].Total() + static_cast<double>(exact_sums_[w]);
    totals_[windows_[w].trace] += windows_[w].subtract ? -sum : sum;
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
  if (same_segment && same_points) return RAW_OK;
  if (!same_segment) growing_ = std::make_unique<GrowingCalibration>(calibration, reader_->range());
  prepared_segment_ = segment;
  prepared_points_ = scan.points();
  prepared_stored_points_ = stored_points;
  for (Window& window : windows_) {
    if (window.selection == Selection::kMasses && !same_segment) {
      window.stored = growing_->StoredWindow(window.low, window.high);
    }
    if (window.selection == Selection::kSpacedRuns) {
      window.runs = FindRuns(*growing_, MassAxis(reader_->range(), scan.points()), stored_points,
                             window.low, window.high);
    }
  }
  if (!same_segment) PrepareCodes();
  PrepareSteps();
  return RAW_OK;
}

void TraceExtractor::PrepareCodes() {
  code_windows_.clear();
  const double codes = reader_->type().codes_per_mass;
  for (size_t i = 0; codes > 0 && i < windows_.size(); ++i) {
    if (windows_[i].selection != Selection::kMasses) continue;
    const double low = std::ceil(windows_[i].stored.low * codes);
    const double high = std::floor(windows_[i].stored.high * codes);
    constexpr double kLargest = INT32_MAX;  // above every code
    if (!(low <= high && low <= kLargest && high >= 0)) continue;
    code_windows_.push_back({{static_cast<uint32_t>(std::max(low, 0.0)),
                              static_cast<uint32_t>(std::min(high, kLargest))},
                             i});
  }
  std::sort(code_windows_.begin(), code_windows_.end(),
            [](const CodeWindow& a, const CodeWindow& b) { return a.range.low < b.range.low; });
}

// Puts the runs of all windows in order, and those together that lie close to each other.
void TraceExtractor::PrepareSteps() {
  constexpr uint32_t kSmallGap = 2048;  // costs less to read than another call
  constexpr uint32_t kLongest = 128 * 1024;
  const DataType& type = reader_->type();
  const auto points_in = [&](uint32_t bytes) { return bytes / type.unit_bytes * type.unit_points; };
  steps_.clear();
  for (size_t i = 0; i < windows_.size(); ++i) {
    for (const PointRun& run : windows_[i].runs) steps_.push_back({run, i, 0});
  }
  std::stable_sort(steps_.begin(), steps_.end(),
                   [](const Step& a, const Step& b) { return a.run.first < b.run.first; });
  Step* reading = nullptr;
  for (Step& step : steps_) {
    const uint32_t end = step.run.first + step.run.count;
    if (reading != nullptr && step.run.first <= reading->end + points_in(kSmallGap) &&
        end - reading->run.first <= points_in(kLongest)) {
      reading->end = std::max(reading->end, end);
    } else {
      reading = &step;
      reading->end = end;
    }
  }
}

// Points first .. end - 1 at once, as far as they go: those who need them find them read.
int32_t TraceExtractor::Read(const IndexRecord& scan, uint32_t first, uint32_t end) {
  const DataType& type = reader_->type();
  const uint64_t begin = uint64_t{type.UnitOf(first)} * type.unit_bytes;
  const uint64_t wanted = uint64_t{type.Units(std::min(end, scan.points()))} * type.unit_bytes;
  if (wanted <= begin) return RAW_OK;
  const uint8_t* bytes = nullptr;
  uint64_t available = 0;
  return reader_->data().Fetch(scan.offset + begin, wanted - begin,
                               static_cast<uint32_t>(wanted - begin), &bytes, &available);
}

int32_t TraceExtractor::SumRuns(const IndexRecord& scan) {
  const DataType& type = reader_->type();
  for (const auto& [run, window, end] : steps_) {
    const bool with_others = end > run.first + run.count;
    int32_t error = with_others ? Read(scan, run.first, end) : RAW_OK;
    if (error != RAW_OK) return error;
    LaneSum& sum = lane_sums_[window];
    uint64_t& exact = exact_sums_[window];
    error = ForEachBlock(reader_, scan, run.first, run.count, [&](const PointBlock& block) {
      if (type.stores_words()) {
        exact += Kernels().sum_words(block.bytes, block.points);
        return true;
      }
      std::array<float, kBlockPoints> intensities;
      type.decoder().intensities(block.bytes, type.Units(block.skip + block.points),
                                 intensities.data());
      sum.Add(intensities.data() + block.skip, block.points);
      return true;
    });
    if (error != RAW_OK) return error;
  }
  return RAW_OK;
}

int32_t TraceExtractor::SumMasses(const IndexRecord& scan) {
  return ForEachBlock(reader_, scan, 0, scan.points(), [&](const PointBlock& block) {
    if (!SumCodes(block)) SumBlock(block);
    return true;
  });
}

void TraceExtractor::SumBlock(const PointBlock& block) {
  const DataType& type = reader_->type();
  std::array<float, kBlockPoints> intensities;
  std::array<float, kBlockPoints> masses;
  type.decoder().intensities(block.bytes, block.units, intensities.data());
  type.decoder().masses(block.bytes, block.units, masses.data());
  const bool stored = growing_->CoversAll(masses.data(), block.points);
  if (!stored) growing_->calibration().Apply(masses.data(), block.points);
  for (size_t i = 0; i < windows_.size(); ++i) {
    const Window& window = windows_[i];
    if (window.selection != Selection::kMasses) continue;
    const auto [low, high] = stored ? window.stored : MassRange{window.low, window.high};
    lane_sums_[i].AddInside(masses.data(), intensities.data(), block.points, low, high);
  }
}

// Sums over the integers that are stored. Most windows meet few of the parts in which the codes are
// looked at: all others are passed over. False when masses have to be compared after calibration.
bool TraceExtractor::SumCodes(const PointBlock& block) {
  const DataType& type = reader_->type();
  if (type.code_sums == nullptr) return false;
  constexpr uint32_t kPart = CodeSums::kRangePoints;
  const CodeSums& sums = Kernels().*type.code_sums;
  std::array<CodeRange, kBlockPoints / kPart> parts;
  const size_t count = (block.points + kPart - 1) / kPart;
  sums.find_ranges(block.bytes, block.points, parts.data());
  CodeRange all = parts[0];
  bool ascending = true;
  for (size_t p = 1; p < count; ++p) {
    ascending &= parts[p].low >= parts[p - 1].low && parts[p].high >= parts[p - 1].high;
    all = {std::min(all.low, parts[p].low), std::max(all.high, parts[p].high)};
  }
  const auto mass = [&](uint32_t code) { return static_cast<float>(code / type.codes_per_mass); };
  if (!growing_->Covers(mass(all.low), mass(all.high))) return false;

  size_t start = 0;
  for (const auto& [code_range, window] : code_windows_) {
    const CodeRange& range = code_range;
    const auto meets = [&range](const CodeRange& part) {
      return part.low <= range.high && part.high >= range.low;
    };
    while (ascending && start < count && parts[start].high < range.low) ++start;
    for (size_t p = start; p < count;) {
      size_t end = p;
      while (end < count && meets(parts[end])) ++end;
      if (end > p) {
        const auto points = std::min<size_t>(kPart * end, block.points) - kPart * p;
        exact_sums_[window] += sums.sum_inside(
            block.bytes + kPart * p / type.unit_points * type.unit_bytes, points, range);
      } else if (ascending) {
        break;
      }
      p = end + 1;
    }
  }
  return true;
}

}  // namespace tervalon::raw
