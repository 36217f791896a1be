// Scans of a function combined.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <tuple>
#include <vector>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "platform/float_block.h"
#include "processing/arrays.h"
#include "processing/options.h"
#include "processing/scan_sums.h"
#include "raw/function_reader.h"
#include "tervalon/processing_spectra.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::processing {
namespace {

constexpr int32_t kScansBetweenYields = 6;

// A function or processed data set that is open for reading. Who is called back meanwhile may end
// it: it is looked for anew at each scan.
struct DataSet {
  int32_t handle;
  int16_t function;
  int16_t process;

  int32_t Find(raw::FunctionReader** reader) const {
    return raw::GetScanBufferAs(handle, function, process, reader);
  }
  int32_t FindScan(int32_t scan, raw::FunctionReader** reader, raw::IndexRecord* record) const {
    const int32_t error = Find(reader);
    return error != RAW_OK ? error : (*reader)->ReadIndex(static_cast<uint32_t>(scan), record);
  }
};

enum class PointKind : uint8_t { kContinuum, kChannels, kCentroids };

PointKind KindOf(const raw::FunctionReader& reader, int32_t points) {
  if (reader.has_channels()) return PointKind::kChannels;
  const bool continuum =
      points == PRC_POINTS_BY_TYPE
          ? reader.has_spaced_masses() || reader.type_code() == RAW_DATA_ENHANCED_MASS
          : points == PRC_POINTS_CONTINUUM;
  return continuum ? PointKind::kContinuum : PointKind::kCentroids;
}

// Runs in ascending order, without overlaps.
std::vector<PrcScans> InOrder(const PrcScans* begin, const PrcScans* end) {
  std::vector<PrcScans> runs;
  std::copy_if(begin, end, std::back_inserter(runs),
               [](const PrcScans& run) { return run.first != 0; });
  std::sort(runs.begin(), runs.end(),
            [](const PrcScans& a, const PrcScans& b) { return a.first < b.first; });
  std::vector<PrcScans> joined;
  for (const PrcScans& run : runs) {
    if (joined.empty() || run.first > joined.back().last) {
      joined.push_back(run);
    } else {
      joined.back().last = std::max(joined.back().last, run.last);
    }
  }
  return joined;
}

int64_t CountScans(const std::vector<PrcScans>& runs) {
  int64_t count = 0;
  for (const PrcScans& run : runs) count += int64_t{run.last} - run.first + 1;
  return count;
}

// What decides the masses of a scan whose type stores none.
using AxisKey = std::tuple<uint32_t, uint32_t, bool>;  // points, segment, whether they are final

class Combiner {
 public:
  Combiner(const DataSet& data, const PrcCombining& how)
      : data_(data),
        how_(how),
        scans_(InOrder(std::begin(how.scans), std::end(how.scans))),
        background_(InOrder(std::begin(how.background), std::end(how.background))) {}

  int32_t Read() {
    raw::FunctionReader* reader = nullptr;
    if (const int32_t error = data_.Find(&reader); error != RAW_OK) return error;
    if (scans_.empty()) return PRC_NO_SCANS;
    kind_ = KindOf(*reader, how_.points);
    total_ = CountScans(scans_) + CountScans(background_);
    raw::ReportProgress(0, 1);
    int32_t error = AddRuns(scans_, Addend::kScan);
    if (error == PRC_OK) error = AddRuns(background_, Addend::kBackground);
    return error;
  }

  int32_t Combine(CombinedPoints* points) {
    const auto count = static_cast<double>(CountScans(scans_));
    Factors factors = {how_.method == PRC_COMBINE_MEAN ? 1 / count : 1, 0};
    if (!background_.empty()) {
      factors.background = how_.factor / static_cast<double>(CountScans(background_));
    }
    if (kind_ != PointKind::kCentroids) return continuum_.Combine(factors, points);
    centroids_.Combine(factors, {how_.tolerance, how_.tolerance_in_ppm != 0}, points);
    return PRC_OK;
  }

  void Describe(PrcSpectrum* result) const {
    const int64_t count = CountScans(scans_);
    result->scan_count = static_cast<int32_t>(count);
    result->centroids = kind_ == PointKind::kCentroids ? 1 : 0;
    result->retention_time = ToFloat(times_ / static_cast<double>(count));
  }

 private:
  int32_t AddRuns(const std::vector<PrcScans>& runs, Addend addend) {
    for (const PrcScans& run : runs) {
      for (int32_t scan = run.first;; ++scan) {
        const int32_t error = AddScan(scan, addend);
        if (error != PRC_OK) return error;
        Report();
        if (scan == run.last) break;
      }
    }
    return PRC_OK;
  }

  void Report() {
    ++done_;
    if (done_ % kScansBetweenYields == 0) appsvc::YieldToApplication();
    const auto fitting = [](int64_t count) {
      return static_cast<int32_t>(std::min<int64_t>(count, INT32_MAX));
    };
    raw::ReportProgress(fitting(done_), fitting(total_));
  }

  int32_t AddScan(int32_t scan, Addend addend) {
    raw::FunctionReader* reader = nullptr;
    raw::IndexRecord record;
    int32_t error = data_.FindScan(scan, &reader, &record);
    if (error != RAW_OK) return error;
    if (addend == Addend::kScan) times_ += static_cast<double>(record.retention_time);
    if (record.points() == 0) return PRC_OK;
    ScanPoints points = {};
    error = ReadPoints(scan, record.points(), false, &points);
    if (error != RAW_OK || points.count == 0) return error;

    // Mostly all scans have one axis, and its masses need not be read again.
    const AxisKey key = {static_cast<uint32_t>(points.count), record.segment(), record.flag_b()};
    if (reader->has_spaced_masses() && key == axis_ && kind_ == PointKind::kContinuum) {
      continuum_.AddAlike(points.intensities, points.count, addend);
      return PRC_OK;
    }
    error = ReadPoints(scan, record.points(), true, &points);
    if (error != RAW_OK) return error;
    if (kind_ == PointKind::kCentroids) return centroids_.Add(points, addend);
    if (!continuum_.has_axis()) axis_ = key;
    if (kind_ == PointKind::kChannels || !continuum_.has_axis() || continuum_.IsOnAxis(points)) {
      continuum_.Add(points, addend);
      return PRC_OK;
    }
    return continuum_.AddResampled(points, addend);
  }

  int32_t ReadPoints(int32_t scan, uint32_t count, bool with_masses, ScanPoints* points) {
    intensities_buffer_.resize(count);
    if (with_masses) masses_buffer_.resize(count);
    auto delivered = static_cast<int32_t>(count);
    const int32_t error = RawReadSpectrum(
        data_.handle, data_.function, data_.process, scan, 1, &delivered, nullptr,
        with_masses ? masses_buffer_.data() : nullptr, intensities_buffer_.data(), nullptr, 0);
    *points = {masses_buffer_.data(), intensities_buffer_.data(), static_cast<size_t>(delivered)};
    return error;
  }

  const DataSet data_;
  const PrcCombining& how_;
  const std::vector<PrcScans> scans_;
  const std::vector<PrcScans> background_;
  PointKind kind_ = PointKind::kContinuum;
  int64_t done_ = 0;
  int64_t total_ = 0;
  double times_ = 0;
  std::optional<AxisKey> axis_;
  std::vector<float> masses_buffer_;
  std::vector<float> intensities_buffer_;
  ContinuumSum continuum_;
  CentroidSum centroids_;
};

bool AreRuns(const PrcScans* begin, const PrcScans* end) {
  return std::all_of(begin, end, [](const PrcScans& run) {
    return run.first == 0 || (run.first > 0 && run.last >= run.first);
  });
}

}  // namespace

bool IsValid(const PrcCombining& how) {
  return (how.method == PRC_COMBINE_MEAN || how.method == PRC_COMBINE_SUM) &&
         how.points >= PRC_POINTS_BY_TYPE && how.points <= PRC_POINTS_CENTROIDS &&
         AreRuns(std::begin(how.scans), std::end(how.scans)) &&
         AreRuns(std::begin(how.background), std::end(how.background)) &&
         std::isfinite(how.factor) && how.tolerance >= 0 && std::isfinite(how.tolerance);
}

namespace {

int32_t Combine(const DataSet& data, const PrcCombining& how, PrcSpectrum* result) {
  Combiner combiner(data, how);
  CombinedPoints points;
  int32_t error = combiner.Read();
  if (error == PRC_OK) error = combiner.Combine(&points);
  if (error != PRC_OK) return error;
  const size_t count = points.masses.size();
  platform::FloatBlock masses(std::max<size_t>(count, 1));
  platform::FloatBlock intensities(std::max<size_t>(count, 1));
  if (masses.data() == nullptr || intensities.data() == nullptr) return PRC_NO_MEMORY;
  std::copy_n(points.masses.data(), count, masses.data());
  std::copy_n(points.intensities.data(), count, intensities.data());
  *result = {masses.HandOut(), intensities.HandOut(), static_cast<int32_t>(count), 0, 0, 0};
  combiner.Describe(result);
  return PRC_OK;
}

int32_t FindScans(const DataSet& data, float from, float to, PrcScans* scans) {
  raw::FunctionReader* reader = nullptr;
  int32_t error = data.Find(&reader);
  uint32_t count = 0;
  if (error == RAW_OK) error = reader->CountScans(&count);
  PrcScans found = {};
  for (uint32_t scan = 1; error == RAW_OK && scan <= count; ++scan) {
    raw::IndexRecord record;
    error = reader->ReadIndex(scan, &record);
    if (error != RAW_OK || !(record.retention_time >= from && record.retention_time <= to))
      continue;
    if (found.first == 0) found.first = static_cast<int32_t>(scan);
    found.last = static_cast<int32_t>(scan);
  }
  if (error != RAW_OK) return error;
  if (found.first == 0) return PRC_NO_SCANS;
  *scans = found;
  return PRC_OK;
}

}  // namespace
}  // namespace tervalon::processing

using tervalon::Guarded;
namespace processing = tervalon::processing;

extern "C" int32_t TERVALON_CALL PrcFindScans(int32_t handle, int16_t function, int16_t process,
                                              float from_time, float to_time, PrcScans* scans) {
  if (scans == nullptr) return PRC_BAD_ARGUMENT;
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::FindScans({handle, function, process}, from_time, to_time, scans);
  });
}

extern "C" int32_t TERVALON_CALL PrcCombine(int32_t handle, int16_t function, int16_t process,
                                            const PrcCombining* combining, PrcSpectrum* result) {
  if (combining == nullptr || result == nullptr || !processing::IsValid(*combining)) {
    return PRC_BAD_ARGUMENT;
  }
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::Combine({handle, function, process}, *combining, result);
  });
}
