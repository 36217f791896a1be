// Steps done to functions and processed data sets, and their results as new sets.

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "appsvc/export_guard.h"
#include "datamgr/raw_sources.h"
#include "processing/arrays.h"
#include "processing/new_set.h"
#include "processing/steps.h"
#include "raw/function_record.h"
#include "tervalon/linearisation.h"
#include "tervalon/memory.h"
#include "tervalon/processing_sets.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_spectra.h"

namespace tervalon::processing {
namespace {

using Floats = std::vector<float>;

// A block that an export has handed out.
class Block {
 public:
  explicit Block(TvMemory block)
      : block_(block), data_(static_cast<const float*>(TvMemLock(block))) {}
  ~Block() {
    if (data_ != nullptr) TvMemUnlock(block_);
    TvMemFree(block_);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  const float* data() const { return data_; }  // nullptr when it cannot be had

 private:
  TvMemory block_;
  const float* data_;
};

// What a step makes: points at masses or times.
struct Result {
  Floats positions;
  Floats intensities;
  bool is_trace = false;
  bool is_continuum = false;
  float mass = 0;            // of a trace
  float retention_time = 0;  // of a spectrum
};

// A function or processed data set of a directory, open with the calibration that it has.
class Source {
 public:
  explicit Source(int32_t handle) : lease_(raw::HandleDirectory(handle)) {}

  int32_t Open(int16_t function, int16_t process) {
    if (lease_.error() != RAW_OK) return lease_.error();
    function_ = function;
    process_ = process;
    int32_t data_type = -1;
    if (process != 0) {
      RawFunctionRecord record;
      const int32_t error = RawReadProcFunction(handle(), process, &function, &record);
      if (error != RAW_OK) return error;
      data_type = raw::DataTypeCode(record);
    }
    return lease_->OpenDataSet(function_, process, data_type, &data_);
  }

  int32_t Do(const PrcStep& step, Result* result) {
    if (step.type == RAW_STEP_COMBINE) return Combine(step.combining, result);
    if (step.type == RAW_STEP_CENTER) return Centroid(step, result);
    const int32_t error =
        step.trace == PRC_TRACE_NONE ? ReadSpectrum(step.scan, result) : ReadTrace(step, result);
    return error == RAW_OK ? Smooth(step, result) : error;
  }

 private:
  int32_t handle() const { return lease_->handle(); }

  int32_t Combine(const PrcCombining& how, Result* result) {
    PrcSpectrum spectrum = {};
    const int32_t error = PrcCombine(handle(), function_, process_, &how, &spectrum);
    if (error != PRC_OK) return error;
    const Block masses(spectrum.masses);
    const Block intensities(spectrum.intensities);
    if (masses.data() == nullptr || intensities.data() == nullptr) return PRC_NO_MEMORY;
    result->positions.assign(masses.data(), masses.data() + spectrum.count);
    result->intensities.assign(intensities.data(), intensities.data() + spectrum.count);
    result->is_continuum = spectrum.centroids == 0;
    result->retention_time = spectrum.retention_time;
    return PRC_OK;
  }

  int32_t Centroid(const PrcStep& step, Result* result) {
    int32_t error = ReadSpectrum(step.scan, result);
    if (error != RAW_OK) return error;
    const auto points = static_cast<int32_t>(result->positions.size());
    int32_t count = 0;
    error = PrcCentroid(&step.centroiding, result->positions.data(), result->intensities.data(),
                        points, result->positions.data(), result->intensities.data(), &count);
    if (error != PRC_OK) return error;
    result->positions.resize(static_cast<size_t>(count));
    result->intensities.resize(static_cast<size_t>(count));
    result->is_continuum = false;
    return PRC_OK;
  }

  int32_t ReadSpectrum(int32_t scan, Result* result) {
    RawScanHeader header = {};
    int32_t error = RawReadSpectrum(handle(), function_, process_, scan, 1, nullptr, &header,
                                    nullptr, nullptr, nullptr, 0);
    if (error != RAW_OK) return error;
    auto count = static_cast<int32_t>(header.points & RAW_SCAN_POINTS_MASK);
    if (count == 0) return PRC_TOO_FEW_POINTS;
    Resize(static_cast<size_t>(count), result);
    error = RawReadSpectrum(handle(), function_, process_, scan, 1, &count, nullptr,
                            result->positions.data(), result->intensities.data(), nullptr, 0);
    Resize(static_cast<size_t>(count), result);
    result->is_continuum = true;
    result->retention_time = header.retention_time;
    return error;
  }

  int32_t ReadTrace(const PrcStep& step, Result* result) {
    uint32_t scans = 0;
    const int32_t error = data_.reader->CountScans(&scans);
    if (error != RAW_OK) return error;
    Resize(scans, result);
    result->is_trace = true;
    RawTraceWindow window = {step.low, step.high, 0, 0, 0};
    if (step.trace != PRC_TRACE_MASSES)
      RawGetFuncMassRange(data_.record, &window.low, &window.high);
    result->mass = ToFloat((static_cast<double>(window.low) + window.high) / 2);
    const auto count = static_cast<int32_t>(scans);
    float* const values = result->intensities.data();
    float* const times = result->positions.data();
    if (step.trace != PRC_TRACE_MASSES) {
      const int16_t kind =
          step.trace == PRC_TRACE_BASE_PEAK ? RAW_CHROM_BASE_PEAK : RAW_CHROM_TOTAL_ION;
      return RawReadChrom(handle(), function_, process_, 1, count, values, times, kind);
    }
    RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
    return RawReadChromTraces(handle(), function_, process_, 1, count, 1, &trace, &values, &times);
  }

  static int32_t Smooth(const PrcStep& step, Result* result) {
    if (step.grid > 0) {
      const int32_t error = PlaceOnGrid(step.grid, result);
      if (error != PRC_OK) return error;
    }
    return PrcSmooth(&step.smoothing, result->positions.data(), result->intensities.data(),
                     static_cast<int32_t>(result->positions.size()), result->intensities.data());
  }

  static int32_t PlaceOnGrid(float step, Result* result) {
    const size_t points = result->positions.size();
    if (points == 0) return PRC_TOO_FEW_POINTS;
    const int32_t error = CheckPositions(result->positions.data(), points);
    if (error != PRC_OK) return error;
    const double range = static_cast<double>(result->positions.back()) - result->positions[0];
    if (range / step >= RAW_MAX_POINTS) return PRC_BAD_ARGUMENT;
    LinDataset grid = {};
    if (LineariseDataset(result->positions.data(), result->intensities.data(),
                         static_cast<int32_t>(points), step, &grid) != 0) {
      return PRC_NO_MEMORY;
    }
    const Block values(grid.values);
    if (values.data() == nullptr) return PRC_NO_MEMORY;
    Resize(grid.count, result);
    std::copy_n(values.data(), grid.count, result->intensities.begin());
    for (size_t i = 0; i < grid.count; ++i) {
      result->positions[i] =
          ToFloat(static_cast<double>(grid.first) + static_cast<double>(i) * grid.step);
    }
    return PRC_OK;
  }

  static void Resize(size_t count, Result* result) {
    result->positions.resize(count);
    result->intensities.resize(count);
  }

  datamgr::SourceLease lease_;
  int16_t function_ = 0;
  int16_t process_ = 0;
  datamgr::OpenData data_;
};

// A chromatogram has a scan of one point for each of its own.
int32_t AppendScans(const Result& result, raw::ScanWriter* writer) {
  const auto append = [&](float time, const float* masses, size_t first, size_t count) {
    const int32_t type =
        result.is_continuum && !result.is_trace ? RAW_DATA_ENHANCED_MASS : RAW_DATA_FLOAT;
    // The masses are final.
    return writer->Append({type,
                           {0, 1, 0, time, 0, 0},
                           {masses, &result.intensities[first], nullptr},
                           static_cast<uint32_t>(count)});
  };
  const size_t count = result.positions.size();
  if (!result.is_trace) return append(result.retention_time, result.positions.data(), 0, count);
  int32_t error = RAW_OK;
  for (size_t i = 0; i < count && error == RAW_OK; ++i) {
    error = append(result.positions[i], &result.mass, i, 1);
  }
  return error;
}

int32_t SaveStep(int32_t handle, const SetPlace& place, const PrcStep& step, int16_t* saved) {
  int32_t error = raw::CheckHandle(handle);
  if (error == RAW_OK) error = CheckStep(step);
  if (error != RAW_OK) return error;
  Result result;
  {
    Source source(handle);
    error = source.Open(place.function, place.source);
    if (error == RAW_OK) error = source.Do(step, &result);
  }
  if (error != PRC_OK) return error;
  if (result.positions.empty()) return PRC_TOO_FEW_POINTS;
  if (result.positions.size() > RAW_MAX_POINTS && !result.is_trace) return PRC_BAD_ARGUMENT;
  const auto append = [&](raw::ScanWriter* writer) { return AppendScans(result, writer); };
  return StoreNewSet(handle, place, ToHistory(step), append, saved);
}

int32_t ReadStep(int32_t handle, int16_t process, SetPlace* place, PrcStep* step) {
  const int32_t error = raw::CheckHandle(handle);
  if (error != RAW_OK) return error;
  if (process < 1 || process > RAW_MAX_PROCESSES) return PRC_BAD_ARGUMENT;
  RawHistoryProcess made = {};
  const int32_t found = FindSet(handle, process, place, &made);
  return found == PRC_OK ? FromHistory(made, step) : found;
}

}  // namespace
}  // namespace tervalon::processing

using tervalon::Guarded;
namespace processing = tervalon::processing;

extern "C" int32_t TERVALON_CALL PrcSaveStep(int32_t handle, int16_t function, int16_t process,
                                             const PrcStep* step, int16_t* saved) {
  if (step == nullptr || saved == nullptr || function < 1 || function > RAW_MAX_FUNCTIONS ||
      process < 0 || process > RAW_MAX_PROCESSES) {
    return PRC_BAD_ARGUMENT;
  }
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    return processing::SaveStep(handle, {function, process}, *step, saved);
  });
}

extern "C" int32_t TERVALON_CALL PrcReadStep(int32_t handle, int16_t process, int16_t* function,
                                             int16_t* source, PrcStep* step) {
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    processing::SetPlace place = {};
    PrcStep made = {};
    const int32_t error = processing::ReadStep(handle, process, &place, &made);
    if (error != PRC_OK) return error;
    if (function != nullptr) *function = place.function;
    if (source != nullptr) *source = place.source;
    if (step != nullptr) *step = made;
    return error;
  });
}

extern "C" int32_t TERVALON_CALL PrcRepeat(int32_t handle, int16_t process, int16_t* saved) {
  if (saved == nullptr) return PRC_BAD_ARGUMENT;
  return Guarded<int32_t>(PRC_NO_MEMORY, [&] {
    processing::SetPlace place = {};
    PrcStep step = {};
    const int32_t error = processing::ReadStep(handle, process, &place, &step);
    return error == PRC_OK ? processing::SaveStep(handle, place, step, saved) : error;
  });
}
