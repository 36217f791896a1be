// Chromatograms from the index.

#include <algorithm>
#include <memory>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "platform/little_endian.h"
#include "raw/function_reader.h"
#include "raw/trace_extractor.h"
#include "tervalon/raw_chromatograms.h"

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

constexpr int32_t kScansBetweenYields = 6;

// A function that is being read. Whoever is called back meanwhile may end it: the reader lives on
// until the call returns, but its files are gone.
class Reading {
 public:
  Reading(int32_t handle, int16_t function, int16_t process)
      : handle_(handle),
        function_(function),
        process_(process),
        held_(HoldScanBuffer(handle, function, process)) {}

  // The reader, unless it has been ended. Returns RAW_OK, RAW_SCAN_BUFFER_ABSENT or what is wrong
  // with the handle.
  int32_t Find(FunctionReader** reader) const {
    const int32_t error = GetScanBufferAs(handle_, function_, process_, reader);
    if (error != RAW_OK) return error;
    return *reader == held_.get() ? RAW_OK : RAW_SCAN_BUFFER_ABSENT;
  }

  // Calls step(i, run) for the records of the scans first .. first + count - 1, the first of a run
  // being the i-th, and reports progress as after each scan.
  template <typename Step>
  int32_t ForEachRun(int32_t first, int32_t count, Step step) const {
    for (int32_t i = 0; i < count;) {
      FunctionReader* reader = nullptr;
      IndexRun run = {};
      int32_t error = Find(&reader);
      if (error == RAW_OK) {
        error = reader->ReadIndexRun(static_cast<uint32_t>(first) + static_cast<uint32_t>(i), &run);
      }
      if (error != RAW_OK) return error;
      const int32_t together = std::min(count - i, 1 + ItemsWithoutProgress(i + 1, count));
      run.records = std::min(run.records, static_cast<size_t>(together));
      step(i, std::as_const(run));
      i += static_cast<int32_t>(run.records);
      ReportProgress(i, count);
    }
    return RAW_OK;
  }

  // Calls step(i, record) for the scans first .. first + count - 1, reporting progress after each.
  template <typename Step>
  int32_t ForEachScan(int32_t first, int32_t count, Step step) const {
    FunctionReader* reader = nullptr;
    int32_t silent = 0;  // scans until somebody may be called back
    bool called_back = true;
    for (int32_t i = 0; i < count; ++i) {
      IndexRecord record;
      int32_t error = called_back ? Find(&reader) : RAW_OK;
      called_back = false;
      if (error == RAW_OK) {
        error = reader->ReadIndex(static_cast<uint32_t>(first) + static_cast<uint32_t>(i), &record);
      }
      if (error == RAW_OK) error = step(i, record);
      if (error != RAW_OK) return error;
      if (silent-- > 0) continue;
      ReportProgress(i + 1, count);
      called_back = true;
      // A callback may be given while others run.
      silent = std::min(ItemsWithoutProgress(i + 1, count), kScansBetweenYields);
    }
    return RAW_OK;
  }

 private:
  int32_t handle_;
  int16_t function_;
  int16_t process_;
  std::shared_ptr<ScanBuffer> held_;
};

// One value of each record.
void CopyFloats(const IndexRun& run, size_t place, float* values) {
  for (size_t i = 0; i < run.records; ++i) {
    values[i] = Load<float>(run.bytes + i * IndexRecord::kSize + place);
  }
}

bool IsValidTrace(const RawTrace& trace) {
  return trace.window_count >= 0 && (trace.window_count == 0 || trace.windows != nullptr);
}

// The points that stand for a window of channels: their first and last number, 1 and 0 for none.
// False when no one range does.
bool FindChannelRange(const FunctionReader& reader, const RawTraceWindow& window,
                      std::pair<float, float>* range) {
  const std::vector<PointRun> runs = ChannelRuns(reader, window.low, window.high);
  *range = {1.0f, 0.0f};
  if (runs.size() != 1) return runs.empty();
  const uint32_t first = runs[0].first + 1;
  *range = {static_cast<float>(first), static_cast<float>(first + runs[0].count - 1)};
  return true;
}

// Turns the mass-window traces of selected-ion data into point-range traces, where that can be.
// Windows may serve several traces: all are looked at before one is changed.
void ConvertToPoints(const FunctionReader& reader, std::span<RawTrace> traces) {
  std::vector<std::pair<RawTraceWindow*, std::pair<float, float>>> changes;
  for (RawTrace& trace : traces) {
    if (trace.kind == RAW_TRACE_POINTS) continue;
    const size_t before = changes.size();
    bool converted = true;
    for (int32_t w = 0; converted && w < trace.window_count; ++w) {
      changes.emplace_back(&trace.windows[w], std::pair<float, float>());
      converted = FindChannelRange(reader, trace.windows[w], &changes.back().second);
    }
    if (converted) {
      trace.kind = RAW_TRACE_POINTS;
    } else {
      changes.resize(before);
    }
  }
  for (const auto& [window, range] : changes) std::tie(window->low, window->high) = range;
}

float* ArrayOf(float* const* arrays, int32_t index) {
  return arrays != nullptr ? arrays[index] : nullptr;
}

}  // namespace

extern "C" int32_t TERVALON_CALL RawReadChrom(int32_t handle, int16_t function, int16_t process,
                                              int32_t first, int32_t count, float* values,
                                              float* times, int16_t kind) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (count < 0) return RAW_BAD_ARGUMENT;
    const Reading reading(handle, function, process);
    FunctionReader* reader = nullptr;
    int32_t error = reading.Find(&reader);
    if (error != RAW_OK) return error;
    ReportProgress(0, 1);
    error = reading.ForEachRun(first, count, [&](int32_t i, const IndexRun& run) {
      if (values != nullptr && kind == RAW_CHROM_BASE_PEAK) {
        DecodeBasePeakIntensities(reader->type_code(), run.bytes + IndexRecord::kBasePeak,
                                  IndexRecord::kSize, run.records, values + i);
      } else if (values != nullptr) {
        CopyFloats(run, IndexRecord::kTotalIonCurrent, values + i);
      }
      if (times != nullptr) CopyFloats(run, IndexRecord::kRetentionTime, times + i);
    });
    if (error == RAW_OK) ReportProgress(count, count);
    return error;
  });
}

extern "C" int32_t TERVALON_CALL RawReadChromTraces(int32_t handle, int16_t function,
                                                    int16_t process, int32_t first, int32_t count,
                                                    int16_t trace_count, RawTrace* traces,
                                                    float* const* values, float* const* times) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_SCAN_BUFFER, [&]() -> int32_t {
    if (count < 0 || trace_count < 0 || (trace_count > 0 && traces == nullptr)) {
      return RAW_BAD_ARGUMENT;
    }
    const Reading reading(handle, function, process);
    FunctionReader* reader = nullptr;
    const int32_t error = reading.Find(&reader);
    if (error != RAW_OK) return error;

    const std::span<RawTrace> all(traces, static_cast<size_t>(trace_count));
    if (!std::all_of(all.begin(), all.end(), IsValidTrace)) return RAW_BAD_ARGUMENT;
    TraceExtractor extractor(reader);
    for (int32_t t = 0; t < trace_count; ++t) {
      for (int32_t w = 0; w < traces[t].window_count; ++w) traces[t].windows[w].started = 1;
      if (ArrayOf(values, t) != nullptr) extractor.AddTrace(traces[t], ArrayOf(values, t));
    }
    if (reader->has_channels()) ConvertToPoints(*reader, all);
    return reading.ForEachScan(first, count, [&](int32_t i, const IndexRecord& record) {
      if (i % kScansBetweenYields == kScansBetweenYields - 1) {
        appsvc::YieldToApplication();
        const int32_t ended = reading.Find(&reader);
        if (ended != RAW_OK) return ended;
      }
      for (int32_t t = 0; t < trace_count; ++t) {
        float* trace_times = ArrayOf(times, t);
        if (trace_times != nullptr) trace_times[i] = record.retention_time;
      }
      return extractor.Extract(record, static_cast<size_t>(i));
    });
  });
}
